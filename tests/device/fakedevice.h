// A throw-away device file system in a temporary folder, built entry by entry with device paths.
// Test thread only.
#pragma once

#include "../testfiles.h"
#include "device/deviceroot.h"

#include <QDeadlineTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QtConcurrent>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class FakeDevice
{
public:
    [[nodiscard]] DeviceRoot root() const { return DeviceRoot(m_dir.path()); }
    [[nodiscard]] QString hostPath(const QString &devicePath) const { return root().hostPath(devicePath); }

    bool addFile(const QString &devicePath, const QByteArray &content = {})
    {
        return writeFile(hostPath(devicePath), content);
    }

    // Gives every FIFO of the tree a writer that leaves at once, so a reader stuck opening one gets an end of
    // file and its thread can finish.
    void releaseFifos() const
    {
        for (const QString &path : m_fifos) {
            const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_NONBLOCK);
            if (fd >= 0)
                ::close(fd);
        }
    }

    // Runs the call on a pool thread and gives its result, or nothing when it has not returned in time. A
    // call stuck on one of the tree's FIFOs is then released, so the test fails instead of hanging.
    template<typename Call> auto finishesInTime(Call call) const -> std::optional<decltype(call())>
    {
        QFuture<decltype(call())> future = QtConcurrent::run(call);
        const QDeadlineTimer deadline(20000);
        while (!future.isFinished() && !deadline.hasExpired())
            QThread::msleep(2);
        if (future.isFinished())
            return future.result();
        while (!future.isFinished()) {
            releaseFifos();
            QThread::msleep(10);
        }
        return std::nullopt;
    }

    // Rows of test data describe trees as "path" (a file), "path/" (a folder), "path -> target" (a link) or
    // "path |" (a FIFO).
    bool build(const QStringList &entries)
    {
        for (const QString &entry : entries) {
            const qsizetype arrow = entry.indexOf(QLatin1String(" -> "));
            const bool fifo = entry.endsWith(QLatin1String(" |"));
            const QString path = hostPath(arrow >= 0 ? entry.left(arrow) : fifo ? entry.chopped(2) : entry);
            // A relative link target stays inside the fake tree, as an absolute one would not.
            bool ok = QDir().mkpath(entry.endsWith(QLatin1Char('/')) ? path : QFileInfo(path).path());
            if (arrow >= 0)
                ok = ok && QFile::link(entry.mid(arrow + 4), path);
            else if (fifo)
                ok = ok && ::mkfifo(QFile::encodeName(path).constData(), 0644) == 0 &&
                     (m_fifos.append(path), true);
            else if (!entry.endsWith(QLatin1Char('/')))
                ok = ok && writeFile(path, QByteArrayLiteral("x"));
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
