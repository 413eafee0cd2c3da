#include "device/deviceroot.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

namespace {

enum class Kind { Missing, Directory, Other };

// stat() rather than QFileInfo: one system call, no caching, and it follows links the way the device's
// existence test does (a dangling link does not exist).
Kind kindOf(const QString &hostPath)
{
    struct stat info
    {};
    if (::stat(QFile::encodeName(hostPath).constData(), &info) != 0) {
        return Kind::Missing;
    }
    return S_ISDIR(info.st_mode) ? Kind::Directory : Kind::Other;
}

} // namespace

DeviceRoot::DeviceRoot(const QString &hostDirectory)
{
    if (hostDirectory.isEmpty()) {
        return;
    }
    QString prefix = QDir(hostDirectory).absolutePath();
    while (prefix.endsWith(QLatin1Char('/'))) {
        prefix.chop(1);
    }
    m_prefix = prefix;
}

QString DeviceRoot::hostDirectory() const
{
    return isRealRoot() ? QStringLiteral("/") : m_prefix;
}

QString DeviceRoot::hostPath(const QString &devicePath) const
{
    if (devicePath.startsWith(QLatin1Char('/'))) {
        return m_prefix + devicePath;
    }
    return m_prefix + QLatin1Char('/') + devicePath;
}

bool DeviceRoot::isFile(const QString &devicePath) const
{
    return kindOf(hostPath(devicePath)) == Kind::Other;
}

bool DeviceRoot::isDirectory(const QString &devicePath) const
{
    return kindOf(hostPath(devicePath)) == Kind::Directory;
}

bool DeviceRoot::exists(const QString &devicePath) const
{
    return kindOf(hostPath(devicePath)) != Kind::Missing;
}

QStringList DeviceRoot::entryNames(const QString &devicePath) const
{
    return QDir(hostPath(devicePath))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}
