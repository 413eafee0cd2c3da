// Where the device's absolute paths ("/var/jb", "/var/mobile/...") live on this machine: the real root, or
// a folder that stands in for it. A value; any thread.
#pragma once

#include <QString>
#include <QStringList>

// The jailbreak rules speak in device paths; everything that touches the disk goes through here, so a
// fake device tree in a temporary folder behaves exactly like the real one.
class DeviceRoot
{
public:
    // The real root: device paths are host paths.
    DeviceRoot() = default;
    // "" and "/" mean the real root; anything else is made absolute and stands for the device's "/".
    explicit DeviceRoot(const QString &hostDirectory);

    [[nodiscard]] bool isRealRoot() const { return m_prefix.isEmpty(); }
    // The host folder that plays the device's "/"; "/" for the real root.
    [[nodiscard]] QString hostDirectory() const;

    // The host path of a device path, joined as text: nothing is cleaned, so a "//" stays as it is. A path
    // without a leading '/' is taken as relative to the device's root.
    [[nodiscard]] QString hostPath(const QString &devicePath) const;

    // Existence tests follow symbolic links, and anything that exists and is not a folder counts as a file.
    [[nodiscard]] bool isFile(const QString &devicePath) const;
    [[nodiscard]] bool isDirectory(const QString &devicePath) const;
    [[nodiscard]] bool exists(const QString &devicePath) const;

    // Every entry name of a folder, hidden ones included, sorted by name so results do not depend on the
    // file system's order; empty when the folder is missing or unreadable.
    [[nodiscard]] QStringList entryNames(const QString &devicePath) const;

private:
    QString m_prefix; // no trailing '/'; empty for the real root
};
