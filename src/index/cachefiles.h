// Replacing the files of one source's cache so that a reader only ever finds the old set or the new one:
// never a half-written "Packages", "Packages.gz" or "meta.json", whatever the disk or the process does.
// Blocking file I/O: worker threads.
#pragma once

#include <QByteArrayView>
#include <QList>
#include <QString>

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

// Test-only: called once every file is written and before the first rename, so a test can end the
// process exactly there. Null (the default) in the app.
void setBeforeCacheRenameHookForTests(void (*hook)());
