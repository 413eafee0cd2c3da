// The catalogue snapshot of one data folder as the loaders share it: opened once, on the first worker
// that asks, and replaced whole after a load of every source. Also the stamp that ties a source's
// snapshot records to the cached index they were parsed from.
// Thread-safe: asked by the load workers, saved from a worker the main thread starts.
#pragma once

#include "index/catalogsnapshot.h"

#include <QString>

#include <memory>
#include <mutex>

// What identifies a cached index file as it is on disk now (size, change time, inode, device): the
// cache writer replaces files by renaming, so any new content has a new stamp. Empty when there is no
// such regular file.
[[nodiscard]] QByteArray cacheFileStamp(const QString &path);

class SnapshotStore
{
public:
    explicit SnapshotStore(QString path);

    // The snapshot as the file holds it now; null when there is none, or it is refused. The first call
    // after construction or a save opens and checks the file; the others share what it found.
    [[nodiscard]] std::shared_ptr<const CatalogSnapshot> current();

    // The packages this source had when its cache file had `stamp`, if the snapshot holds them.
    [[nodiscard]] std::optional<PackageList> packages(const QString &link, const QByteArray &stamp);

    // Writes the sources as the new snapshot unless the current one already holds exactly them, same
    // stamps and counts in the same order. Blocking disk I/O: a worker thread. True when the file holds
    // them afterwards.
    bool save(const QList<SnapshotSource> &sources);

private:
    const QString m_path;
    std::mutex m_mutex;
    bool m_opened = false;                             // guarded by m_mutex
    std::shared_ptr<const CatalogSnapshot> m_snapshot; // guarded by m_mutex
    std::mutex m_saving;                               // one writer at a time
};
