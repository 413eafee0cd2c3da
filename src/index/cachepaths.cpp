#include "index/cachepaths.h"

#include "device/locallists.h"

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
    // The cache folder is named like the package manager's list of the same link, only trimmed first;
    // trimmed() drops the same characters as the platform's "white space and newlines" set.
    return convertedListLink(link.trimmed());
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
