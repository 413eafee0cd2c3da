#include "index/cachefiles.h"

#include "index/indexlog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include <unistd.h>

namespace {

void (*beforeRenameHook)() = nullptr;

// The kernel copies one write() into the page cache without giving up the core, whatever the thread's
// priority: a 50 MB index in one call held the screen's thread off its core for up to 26 ms. Pieces
// this size end well inside a millisecond, and each return from the kernel lets it preempt us.
constexpr qint64 writeSlice = 256 * 1024;

// Unbuffered, and synced here rather than in commit(): a full disk must show before any file is
// renamed, not half-way through the renames. A file system that cannot sync at all says EINVAL.
bool stage(QSaveFile &out, const std::function<bool(QFileDevice &out)> &write)
{
    if (!out.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || !write(out) ||
        (::fdatasync(out.handle()) != 0 && errno != EINVAL)) {
        qCDebug(lcIndex) << "cannot write" << out.fileName() << out.errorString();
        return false; // the staged file goes with its QSaveFile object
    }
    return true;
}

} // namespace

bool writeCacheBytes(QFileDevice &out, QByteArrayView bytes)
{
    for (qint64 at = 0; at < bytes.size(); at += writeSlice) {
        const qint64 length = std::min(writeSlice, bytes.size() - at);
        if (out.write(bytes.constData() + at, length) != length)
            return false;
    }
    return true;
}

bool replaceCacheFileWith(const QString &path, const std::function<bool(QFileDevice &out)> &write)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QSaveFile out(path);
    return stage(out, write) && out.commit();
}

bool replaceCacheFiles(const QString &folder, const QList<CacheFileContent> &files)
{
    if (files.isEmpty() || !QDir().mkpath(folder))
        return false;
    std::vector<std::unique_ptr<QSaveFile>> staged;
    for (const CacheFileContent &file : files) {
        auto &out = staged.emplace_back(std::make_unique<QSaveFile>(file.path));
        if (!stage(*out, [&file](QFileDevice &device) { return writeCacheBytes(device, file.bytes); }))
            return false; // the staged files go with their QSaveFile objects
    }
    if (beforeRenameHook)
        beforeRenameHook();
    if (staged.size() > 1)
        QFile::remove(files.constLast().path);
    // Stops at the first failure, so the validators never come back beside an index they do not describe.
    for (const auto &out : staged) {
        if (!out->commit())
            return false;
    }
    return true;
}

void setBeforeCacheRenameHookForTests(void (*hook)())
{
    beforeRenameHook = hook;
}
