// A throw-away device file system in a temporary folder, built entry by entry with device paths.
// Test thread only.
#pragma once

#include "../testfiles.h"
#include "device/deviceroot.h"

#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class FakeDevice
{
public:
    [[nodiscard]] DeviceRoot root() const { return DeviceRoot(m_dir.path()); }
    [[nodiscard]] QString hostPath(const QString &devicePath) const { return root().hostPath(devicePath); }

    bool addDir(const QString &devicePath) { return QDir().mkpath(hostPath(devicePath)); }

    bool addFile(const QString &devicePath, const QByteArray &content = {})
    {
        return writeFile(hostPath(devicePath), content);
    }

    // A relative link stays inside the fake tree, as an absolute one would not.
    bool addLink(const QString &devicePath, const QString &relativeTarget)
    {
        const QString path = hostPath(devicePath);
        return QDir().mkpath(QFileInfo(path).path()) && QFile::link(relativeTarget, path);
    }

    bool addFifo(const QString &devicePath)
    {
        const QString path = hostPath(devicePath);
        if (!QDir().mkpath(QFileInfo(path).path()) ||
            ::mkfifo(QFile::encodeName(path).constData(), 0644) != 0) {
            return false;
        }
        m_fifos.append(path);
        return true;
    }

    // Gives every FIFO of the tree a writer that leaves at once, so a reader stuck opening one gets an end of
    // file and its thread can finish.
    void releaseFifos() const
    {
        for (const QString &path : m_fifos) {
            const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_NONBLOCK);
            if (fd >= 0) {
                ::close(fd);
            }
        }
    }

    // Rows of test data describe trees as "path" (a file), "path/" (a folder), "path -> target" (a link) or
    // "path |" (a FIFO).
    bool build(const QStringList &entries)
    {
        for (const QString &entry : entries) {
            const qsizetype arrow = entry.indexOf(QLatin1String(" -> "));
            bool ok = false;
            if (arrow >= 0) {
                ok = addLink(entry.left(arrow), entry.mid(arrow + 4));
            } else if (entry.endsWith(QLatin1String(" |"))) {
                ok = addFifo(entry.chopped(2));
            } else if (entry.endsWith(QLatin1Char('/'))) {
                ok = addDir(entry);
            } else {
                ok = addFile(entry, QByteArrayLiteral("x"));
            }
            if (!ok) {
                qWarning("could not create %s", qPrintable(entry));
                return false;
            }
        }
        return true;
    }

private:
    QTemporaryDir m_dir;
    QStringList m_fifos; // host paths
};
