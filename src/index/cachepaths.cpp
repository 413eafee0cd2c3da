#include "index/cachepaths.h"

#include "device/locallists.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <climits>

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
    const std::optional<QString> name = cacheFolderName(link);
    if (!name)
        return {};
    QDir().mkpath(cacheRoot);
    const QDir folder(QDir(cacheRoot).filePath(*name));
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

std::optional<QString> cacheFolderName(const QString &link)
{
    const QString name = slug(link);
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..") ||
        name.contains(QLatin1Char('/')) || name.contains(QChar(0)) ||
        QFile::encodeName(name).size() > NAME_MAX)
        return std::nullopt;
    return name;
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
