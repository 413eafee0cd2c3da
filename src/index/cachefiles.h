// Replacing the files of one source's cache so that a reader only ever finds the old set or the new one:
// never a half-written "Packages", "Packages.gz" or "meta.json", whatever the disk or the process does.
// Blocking file I/O: worker threads.
#pragma once

#include <QByteArrayView>
#include <QList>
#include <QString>

#include <functional>

class QFileDevice;

struct CacheFileContent
{
    QString path;
    QByteArrayView bytes;
};

// Writes every file in full beside its final name and renames them into place only once all are on
// disk, so a full or read-only disk leaves the previous files as they were. With several files the
// last one (the validators) is removed before the first rename and comes back last: a process killed
// in between leaves an index without validators, asked for again in full next time, never validators
// that belong to another index. Creates the folder. False when nothing was replaced, or (rarely) when a
// rename failed part-way.
[[nodiscard]] bool replaceCacheFiles(const QString &folder, const QList<CacheFileContent> &files);

// One file too large to hold whole in memory: `write` fills the staged file (it may seek in it, and
// should write through writeCacheBytes()), returning false to give up. Then the same all-or-nothing
// replacement as above.
[[nodiscard]] bool replaceCacheFileWith(const QString &path,
                                        const std::function<bool(QFileDevice &out)> &write);

// Writes the bytes in slices short enough that the thread gives up its core between them.
[[nodiscard]] bool writeCacheBytes(QFileDevice &out, QByteArrayView bytes);

// Test-only: called once every file is written and before the first rename, so a test can end the
// process exactly there. Null (the default) in the app.
void setBeforeCacheRenameHookForTests(void (*hook)());
