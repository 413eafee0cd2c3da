// Turns a path relative to the jailbreak root ("var/lib/dpkg/status") into the device paths to try, and
// picks the first that exists. Pure functions on values plus file tests through a DeviceRoot; any thread.
#pragma once

#include "device/deviceroot.h"

#include <QString>
#include <QStringList>

#include <optional>

// The folders whose first level may hold a RootHide ".jbroot-<random>" directory, in the order searched.
[[nodiscard]] QStringList rhContainerDirectories();

// The fixed bases, then the discovered RootHide directories, each followed by its "/private" form unless it
// already has one; first occurrence wins.
[[nodiscard]] QStringList rhBasesFrom(const QStringList &discovered);

// rhBasesFrom() over the ".jbroot-" directories found under the containers right now. Nothing is cached:
// each call lists both containers again.
[[nodiscard]] QStringList rhDynamicJbrootBases(const DeviceRoot &root);

// Every base, then "/", joined with the relative path; each joined path is followed by its other "/private"
// form (added or removed). The relative path is used as given, so a leading '/' makes a "//".
[[nodiscard]] QStringList rhCandidatePathsFromBases(const QStringList &bases, const QString &relative);
[[nodiscard]] QStringList rhCandidatePaths(const DeviceRoot &root, const QString &relative);

// The first candidate that exists and is not a folder (File) or is one (Dir), as a device path. Use
// DeviceRoot::hostPath() before opening it, or the resolve* helpers below.
[[nodiscard]] std::optional<QString> rhFirstExistingFile(const DeviceRoot &root,
                                                         const QStringList &candidates);
[[nodiscard]] std::optional<QString> rhFirstExistingDir(const DeviceRoot &root,
                                                        const QStringList &candidates);

// The candidate search and the first-existing test in one, answering with the host path to open.
[[nodiscard]] std::optional<QString> resolveDeviceFile(const DeviceRoot &root, const QString &relative);
[[nodiscard]] std::optional<QString> resolveDeviceDirectory(const DeviceRoot &root, const QString &relative);

// The main screen's simpler resolver: fixed roots only, any kind of entry, and "/" + path when nothing
// exists. A leading '/' on the argument is ignored. Answers with a device path.
[[nodiscard]] QString rhDisplayPath(const DeviceRoot &root, const QString &path);
