#include "device/locallists.h"

#include "device/devicelog.h"
#include "device/jailbreakroot.h"
#include "device/knownrepos.h"

#include <QFile>

#include <algorithm>

#include <sys/stat.h>

namespace {

bool isPackagesListName(const QString &lowerName)
{
    // Release files, translations and the like share the folder; only Packages lists are indexes.
    return lowerName.endsWith(QLatin1String("_packages")) ||
           lowerName.endsWith(QLatin1String("_packages.gz"));
}

bool isRegularFile(const QString &hostPath)
{
    struct stat info
    {};
    return ::stat(QFile::encodeName(hostPath).constData(), &info) == 0 && S_ISREG(info.st_mode);
}

} // namespace

QString strippedListLink(const QString &link)
{
    QString text = link.toLower();
    text.remove(QLatin1String("https://"));
    text.remove(QLatin1String("http://"));
    if (text.endsWith(QLatin1Char('/'))) {
        text.chop(1);
    }
    return text;
}

QString convertedListLink(const QString &link)
{
    return strippedListLink(link).replace(QLatin1Char('/'), QLatin1Char('_'));
}

QString packagesFileName(const QString &link)
{
    using namespace KnownRepos;
    // The order matters: a RootHide Procursus link is tested before the general Procursus rule, and the
    // bootstrap folder before the root-hosted repository on the same host.
    if (link.contains(kRootHideProcursus)) {
        return convertedListLink(kRootHideProcursus) + kRootHideProcursusSuffix;
    }
    if (link.contains(kProcursusHost)) {
        return convertedListLink(kProcursusHost) + kProcursusSuffix;
    }
    if (link.contains(kBootstrap)) {
        return convertedListLink(kBootstrap) + kBootstrapSuffix;
    }
    if (link.contains(kRootHostedFlat)) {
        return convertedListLink(kRootHostedFlat) + kRootHostedFlatSuffix;
    }
    if (link.contains(kBigBoss)) {
        return convertedListLink(kBigBoss) + kBigBossSuffix;
    }
    // APT's name for a flat repository, whose distribution is "./".
    return convertedListLink(link) + QLatin1String("_._Packages");
}

bool isGzipListName(const QString &fileName)
{
    return fileName.toLower().endsWith(QLatin1String(".gz"));
}

std::optional<QString> pickPackagesListFile(const QStringList &fileNames, const ListKeys &keys)
{
    struct Candidate
    {
        QString name;
        bool compressed = false;
    };
    QList<Candidate> kept;
    for (const QString &name : fileNames) {
        // Package managers do not agree on letter case, so every test is made on the lower-cased name.
        const QString lower = name.toLower();
        if (isPackagesListName(lower) && keys.matches(lower)) {
            kept.append({name, lower.endsWith(QLatin1String(".gz"))});
        }
    }
    if (kept.isEmpty()) {
        return std::nullopt;
    }
    // A plain list needs no inflating; among lists of one kind the longer name has the more specific
    // distribution path.
    const auto better = [](const Candidate &a, const Candidate &b) {
        if (a.compressed != b.compressed) {
            return !a.compressed;
        }
        if (a.name.size() != b.name.size()) {
            return a.name.size() > b.name.size();
        }
        return a.name < b.name;
    };
    return std::min_element(kept.cbegin(), kept.cend(), better)->name;
}

std::optional<QString> findStrictPackagesListFile(const QString &listsHostDirectory, const ListKeys &keys)
{
    // Only regular files can be read whole: a dangling link, a link loop, a folder or a FIFO under a list
    // name would fail the read, or block it for ever, and hide a good list of the same source behind it.
    QStringList readable;
    for (const QString &name : DeviceRoot().entryNames(listsHostDirectory)) {
        if (isPackagesListName(name.toLower()) &&
            isRegularFile(listsHostDirectory + QLatin1Char('/') + name)) {
            readable.append(name);
        }
    }
    return pickPackagesListFile(readable, keys);
}

std::optional<QString> findListsDirectory(const DeviceRoot &root)
{
    return resolveDeviceDirectory(root, kAptListsRelativePath);
}

std::optional<QString> findLocalPackagesList(const DeviceRoot &root, const QString &link)
{
    const std::optional<QString> directory = findListsDirectory(root);
    if (!directory) {
        return std::nullopt;
    }
    const std::optional<QString> name = findStrictPackagesListFile(*directory, listKeys(link));
    qCDebug(lcDevice) << "list for" << link << "->" << (name ? *name : QStringLiteral("(none)"));
    return name ? std::optional(*directory + QLatin1Char('/') + *name) : std::nullopt;
}
