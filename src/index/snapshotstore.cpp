#include "index/snapshotstore.h"

#include "index/indexlog.h"

#include <QFile>

#include <sys/stat.h>

QByteArray cacheFileStamp(const QString &path)
{
    struct stat status = {};
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &status) != 0 ||
        !S_ISREG(status.st_mode))
        return {};
    return QByteArray::number(qint64(status.st_size)) + ' ' +
           QByteArray::number(qint64(status.st_ctim.tv_sec)) + '.' +
           QByteArray::number(qint64(status.st_ctim.tv_nsec)) + ' ' +
           QByteArray::number(quint64(status.st_ino)) + ' ' + QByteArray::number(quint64(status.st_dev));
}

SnapshotStore::SnapshotStore(QString path)
    : m_path(std::move(path))
{}

std::shared_ptr<const CatalogSnapshot> SnapshotStore::current()
{
    // Held while the file is checked, so the workers that ask at the same time wait for one check
    // rather than each reading the whole file.
    const std::lock_guard lock(m_mutex);
    if (!m_opened) {
        m_snapshot = CatalogSnapshot::open(m_path);
        m_opened = true;
    }
    return m_snapshot;
}

std::optional<PackageList> SnapshotStore::packages(const QString &link, const QByteArray &stamp)
{
    if (stamp.isEmpty())
        return std::nullopt;
    const std::shared_ptr<const CatalogSnapshot> snapshot = current();
    if (!snapshot)
        return std::nullopt;
    const std::optional<qsizetype> source = snapshot->find(link);
    if (!source || snapshot->validators(*source) != stamp)
        return std::nullopt;
    return snapshot->packages(*source);
}

bool SnapshotStore::save(const QList<SnapshotSource> &sources)
{
    const std::lock_guard saving(m_saving);
    if (const std::shared_ptr<const CatalogSnapshot> snapshot = current();
        snapshot && snapshot->sourceCount() == sources.size()) {
        bool same = true;
        for (qsizetype s = 0; same && s < sources.size(); ++s) {
            same = snapshot->link(s) == sources[s].link && snapshot->validators(s) == sources[s].validators &&
                   snapshot->packageCount(s) == sources[s].packages.size();
        }
        if (same)
            return true;
    }
    const bool written = writeCatalogSnapshot(m_path, sources);
    if (!written)
        qCDebug(lcIndex) << "cannot write the catalogue snapshot" << m_path;
    const std::lock_guard lock(m_mutex);
    m_opened = false; // the next load opens what is on disk now
    m_snapshot.reset();
    return written;
}
