#include "index/cachepaths.h"

#include <QDir>
#include <QStandardPaths>

QString defaultCacheRoot()
{
    const QString dataFolder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    if (dataFolder.isEmpty())
        qFatal("no per-user data folder for the index cache");
    return cacheRootIn(dataFolder);
}

QString cacheRootIn(const QString &dataFolder)
{
    return QDir(dataFolder).filePath(QStringLiteral("RepoPackages"));
}

RepoPaths localCandidates(const QString &cacheRoot, const QString &link)
{
    QDir().mkpath(cacheRoot);
    const QDir folder(QDir(cacheRoot).filePath(slug(link)));
    return RepoPaths{
        folder.path(),
        folder.filePath(QStringLiteral("Packages.gz")),
        folder.filePath(QStringLiteral("Packages")),
        folder.filePath(QStringLiteral("meta.json")),
    };
}

QString slug(const QString &link)
{
    // trimmed() drops the same characters as the platform's "white space and newlines" set.
    QString text = link.trimmed().toLower();
    text.remove(QLatin1String("https://"));
    text.remove(QLatin1String("http://"));
    if (text.endsWith(QLatin1Char('/')))
        text.chop(1);
    text.replace(QLatin1Char('/'), QLatin1Char('_'));
    return text;
}

QString safeFolderName(const QString &text)
{
    static constexpr QStringView unsafe = u"/\\:*?\"<>|#%";
    QString name = text.trimmed();
    for (QChar &c : name) {
        if (unsafe.contains(c))
            c = QLatin1Char('_');
    }
    return name.isEmpty() ? QStringLiteral("Unnamed") : name;
}
