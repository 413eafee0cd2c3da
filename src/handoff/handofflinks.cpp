#include "handoff/handofflinks.h"

#include "handoff/stricturl.h"

QString Handoff::sileoSource(const QString &link)
{
    const bool hasScheme =
        link.startsWith(QLatin1String("http://")) || link.startsWith(QLatin1String("https://"));
    return QStringLiteral("sileo://source/") + (hasScheme ? link : QStringLiteral("https://") + link);
}

QString Handoff::zebraSource(const QString &link)
{
    return QStringLiteral("zbra://sources/add/") + link;
}

QString Handoff::cydiaSource(const QString &link)
{
    return QStringLiteral("cydia://url/") + cydiaShareBase + link;
}

QString Handoff::sileoPackage(const QString &packageId)
{
    return QStringLiteral("sileo://package/") + packageId;
}

bool Handoff::openAddress(UrlOpener &opener, const QString &address)
{
    const std::optional<QUrl> url = strictUrl(address);
    if (!url)
        return false;
    opener.open(*url);
    return true;
}
