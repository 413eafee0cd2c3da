// Reusing the Packages lists that a package manager on the device already downloaded: the file name APT
// gives a source, and which file of the lists folder serves it. Pure functions plus lookups; any thread.
#pragma once

#include "device/deviceroot.h"
#include "device/listkeys.h"

#include <QString>
#include <QStringList>

#include <optional>

// The lists folder, relative to the jailbreak root.
inline constexpr QLatin1String kAptListsRelativePath("var/lib/apt/lists");

// Lower-cased, every "https://" then every "http://" removed, one trailing '/' removed.
[[nodiscard]] QString strippedListLink(const QString &link);
// strippedListLink() with '/' turned into '_': the first part of every list file name of that source.
[[nodiscard]] QString convertedListLink(const QString &link);

// The one list file name expected for a link: the flat-repository name, except for the repositories in
// knownrepos.h, tested in a fixed order on the link as stored.
[[nodiscard]] QString packagesFileName(const QString &link);

// Whether a chosen list file is compressed and must be inflated before parsing.
[[nodiscard]] bool isGzipListName(const QString &fileName);

// The best of these file names for the keys: only Packages lists that match a key; a plain list before a
// compressed one, then the longer (more specific) name; ties by name, so the answer never depends on the
// order of the listing.
[[nodiscard]] std::optional<QString> pickPackagesListFile(const QStringList &fileNames, const ListKeys &keys);

// pickPackagesListFile() over the regular files of a host folder (links followed); the file name only.
[[nodiscard]] std::optional<QString> findStrictPackagesListFile(const QString &listsHostDirectory,
                                                                const ListKeys &keys);

// The host path of the first lists folder among the jailbreak-root candidates.
[[nodiscard]] std::optional<QString> findListsDirectory(const DeviceRoot &root);

// The host path of the list file that would serve this source link, if any.
[[nodiscard]] std::optional<QString> findLocalPackagesList(const DeviceRoot &root, const QString &link);
