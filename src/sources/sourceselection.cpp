#include "sources/sourceselection.h"

QList<RepoSource> favoriteSources(const QList<RepoSource> &sources, const QSet<QString> &favorites)
{
    QList<RepoSource> result;
    for (const RepoSource &source : sources) {
        if (favorites.contains(source.link))
            result.append(source);
    }
    return result;
}

QList<RepoSource> searchSources(const QList<RepoSource> &base, const QString &text)
{
    if (text.isEmpty())
        return base;
    const QString needle = text.toLower();
    QList<RepoSource> result;
    for (const RepoSource &source : base) {
        if (source.name.toLower().contains(needle))
            result.append(source);
    }
    return result;
}

bool isAllSelected(qsizetype selectedCount, qsizetype filteredCount)
{
    return filteredCount > 0 && selectedCount == filteredCount;
}

QStringList selectedLinks(const QList<RepoSource> &filtered, const QSet<QString> &selected)
{
    QStringList links;
    for (const RepoSource &source : filtered) {
        if (selected.contains(source.link))
            links.append(source.link);
    }
    return links;
}

QString SelectionAlerts::favoriteAdded(const QString &name)
{
    return QStringLiteral("تمت إضافة ") + name + QStringLiteral(" إلى المفضلة Added to favourites.");
}

QString SelectionAlerts::favoriteRemoved(const QString &name)
{
    return QStringLiteral("تم إزالة ") + name + QStringLiteral(" من المفضلة Removed from favorites.");
}

QString SelectionAlerts::sourcesCopied(qsizetype count)
{
    return QStringLiteral("تم نسخ ") + QString::number(count) +
           QStringLiteral(" سورسات محددة Specific sources have been copied.");
}

QString SelectionAlerts::linkCopied(const QString &link)
{
    return QStringLiteral("تم نسخ copied ") + link;
}
