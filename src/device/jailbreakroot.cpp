#include "device/jailbreakroot.h"

#include "device/devicelog.h"

#include <QSet>

namespace {

const QString kPrivate = QStringLiteral("/private");
const QString kJbrootPrefix = QStringLiteral(".jbroot-");

// The fixed roots come before any discovered RootHide folder: a rootless "/var/jb" or RootHide's own
// "/.jbroot" link is the normal case, and a stale ".jbroot-" folder left by an old install must not win.
const QStringList kFixedBases{QStringLiteral("/.jbroot"), QStringLiteral("/var/jb")};

class UniqueList
{
public:
    void add(const QString &path)
    {
        if (!m_seen.contains(path)) {
            m_seen.insert(path);
            m_list.append(path);
        }
    }
    [[nodiscard]] QStringList take() { return std::move(m_list); }

private:
    QSet<QString> m_seen;
    QStringList m_list;
};

template<typename Accept> std::optional<QString> firstExisting(const QStringList &candidates, Accept accept)
{
    for (const QString &candidate : candidates) {
        if (accept(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

} // namespace

QStringList rhContainerDirectories()
{
    return {QStringLiteral("/var/mobile/Containers/Shared/AppGroup"),
            QStringLiteral("/var/mobile/Containers/Data/Application")};
}

QStringList rhBasesFrom(const QStringList &discovered)
{
    UniqueList bases;
    for (const QStringList *list : {&kFixedBases, &discovered}) {
        for (const QString &base : *list) {
            bases.add(base);
            bases.add(base.startsWith(kPrivate) ? base : kPrivate + base);
        }
    }
    return bases.take();
}

QStringList rhDynamicJbrootBases(const DeviceRoot &root)
{
    QStringList discovered;
    for (const QString &container : rhContainerDirectories()) {
        for (const QString &name : root.entryNames(container)) {
            if (!name.startsWith(kJbrootPrefix)) {
                continue;
            }
            const QString path = container + QLatin1Char('/') + name;
            if (root.isDirectory(path)) {
                discovered.append(path);
            }
        }
    }
    return rhBasesFrom(discovered);
}

QStringList rhCandidatePathsFromBases(const QStringList &bases, const QString &relative)
{
    UniqueList candidates;
    const auto addBase = [&](const QString &base) {
        const QString path =
            base.endsWith(QLatin1Char('/')) ? base + relative : base + QLatin1Char('/') + relative;
        candidates.add(path);
        // Unlike the base list, a path that already has "/private" also yields its form without it: on the
        // device both spellings name the same file, and either may be the one that is reachable.
        candidates.add(path.startsWith(kPrivate) ? path.mid(kPrivate.size()) : kPrivate + path);
    };
    for (const QString &base : bases) {
        addBase(base);
    }
    addBase(QStringLiteral("/"));
    return candidates.take();
}

QStringList rhCandidatePaths(const DeviceRoot &root, const QString &relative)
{
    return rhCandidatePathsFromBases(rhDynamicJbrootBases(root), relative);
}

std::optional<QString> rhFirstExistingFile(const DeviceRoot &root, const QStringList &candidates)
{
    return firstExisting(candidates, [&](const QString &path) { return root.isFile(path); });
}

std::optional<QString> rhFirstExistingDir(const DeviceRoot &root, const QStringList &candidates)
{
    return firstExisting(candidates, [&](const QString &path) { return root.isDirectory(path); });
}

std::optional<QString> resolveDeviceFile(const DeviceRoot &root, const QString &relative)
{
    const std::optional<QString> found = rhFirstExistingFile(root, rhCandidatePaths(root, relative));
    qCDebug(lcDevice) << relative << "->" << (found ? *found : QStringLiteral("(none)"));
    return found ? std::optional(root.hostPath(*found)) : std::nullopt;
}

std::optional<QString> resolveDeviceDirectory(const DeviceRoot &root, const QString &relative)
{
    const std::optional<QString> found = rhFirstExistingDir(root, rhCandidatePaths(root, relative));
    qCDebug(lcDevice) << relative << "->" << (found ? *found : QStringLiteral("(none)"));
    return found ? std::optional(root.hostPath(*found)) : std::nullopt;
}

QString rhDisplayPath(const DeviceRoot &root, const QString &path)
{
    const QString relative = path.startsWith(QLatin1Char('/')) ? path.mid(1) : path;
    static const QStringList roots{QStringLiteral("/.jbroot/"), QStringLiteral("/private/.jbroot/"),
                                   QStringLiteral("/var/jb/"), QStringLiteral("/private/var/jb/"),
                                   QStringLiteral("/")};
    for (const QString &prefix : roots) {
        if (root.exists(prefix + relative)) {
            return prefix + relative;
        }
    }
    return QLatin1Char('/') + relative;
}
