#include "sources/sourceediting.h"

#include "handoff/stricturl.h"
#include "sources/sourcelinks.h"

#include <algorithm>

QString SourceAlerts::deleted(const QString &name)
{
    return QStringLiteral("تم حذف السورس ") + name + QLatin1Char('.');
}

SourceEdit addSource(const QList<RepoSource> &sources, const QString &link)
{
    if (link.isEmpty())
        return {std::nullopt, SourceAlerts::emptyLink};

    const std::optional<QUrl> url = strictUrl(link);
    if (!url || !canOpenSourceUrl(*url))
        return {std::nullopt, SourceAlerts::invalidLink};

    const QString lowered = link.toLower();
    const bool exists = std::any_of(sources.cbegin(), sources.cend(),
                                    [&](const RepoSource &s) { return s.link.toLower() == lowered; });
    if (exists)
        return {std::nullopt, SourceAlerts::duplicate};

    QList<RepoSource> updated;
    updated.reserve(sources.size() + 1);
    updated.append(RepoSource{link, extractName(link), link, QStringLiteral("Repos.png"), false});
    updated.append(sources);
    return {std::move(updated), SourceAlerts::added};
}

SourceEdit deleteSource(const QList<RepoSource> &sources, const RepoSource &source)
{
    if (source.isDefault)
        return {std::nullopt, SourceAlerts::cannotDeleteDefault};

    const qsizetype index = sources.indexOf(source);
    if (index < 0)
        return {};

    QList<RepoSource> updated = sources;
    updated.removeAt(index);
    return {std::move(updated), SourceAlerts::deleted(source.name)};
}
