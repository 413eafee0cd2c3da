// Reading and writing a file that holds a list of sources, with the limits that keep a careless pick
// (a FIFO, a device, a huge log) from stalling the screen or filling memory.
// Free functions; any thread, though the app calls them on the main thread because they never wait.
#pragma once

#include <QString>

// A real list of sources is a few kilobytes; anything much larger was picked by mistake.
inline constexpr qint64 maxSourceListFileSize = 1024 * 1024;

struct SourceListFileText
{
    QString text;
    // Empty when the file was read; otherwise one sentence naming the file and the problem.
    QString error;
};

// A local path, or a "file:" URL as a file dialog hands it over.
[[nodiscard]] QString sourceListLocalPath(const QString &pathOrUrl);

// Regular files only, at most maxSourceListFileSize bytes, UTF-8. The file is opened without
// blocking and checked on the open handle, so a FIFO swapped in under the name cannot make it wait.
[[nodiscard]] SourceListFileText readSourceListFile(const QString &pathOrUrl);

// Atomic: the old file stays whole until the new one is complete. Empty on success, else the error.
[[nodiscard]] QString writeSourceListFile(const QString &pathOrUrl, const QString &text);
