// Opening a file for reading when something may have put a FIFO, a device or a folder under its name,
// even after it was looked at.
// Blocking file I/O; any thread.
#pragma once

#include <QFile>
#include <QString>

// Opens the path for reading and keeps it open only when it is a regular file. The open itself never
// waits: on a FIFO a plain open blocks until a writer comes, possibly for ever. False leaves file closed.
[[nodiscard]] bool openRegularFile(QFile &file, const QString &path,
                                   QIODevice::OpenMode extraMode = QIODevice::NotOpen);
