// Where each source's downloaded index and its HTTP validators are kept on disk, and the name rules
// that turn links and other texts into folder names.
// Path arithmetic on values; localCandidates() also creates the cache root. Any thread.
#pragma once

#include <QString>

// The four paths of one source's cache, in the order the download worker uses them.
struct RepoPaths
{
    QString folder; // the per-source folder, named by slug()
    QString gz;     // "Packages.gz": the index as downloaded, when the download was compressed
    QString plain;  // "Packages": the index text
    QString meta;   // "meta.json": the RepoMeta validators
};

// "RepoPackages" inside the app's per-user data folder. Without such a folder the app cannot work at
// all, so its absence ends the process.
[[nodiscard]] QString defaultCacheRoot();

// The cache root joined with a data folder chosen by the caller (tests, the command line).
[[nodiscard]] QString cacheRootIn(const QString &dataFolder);

// The paths of a link's cache under the given root. Creates the root (not the per-source folder) when
// it is missing, ignoring a failure: the write that follows will report it.
[[nodiscard]] RepoPaths localCandidates(const QString &cacheRoot, const QString &link);

// Link to cache folder name: trimmed, lower-cased, every "https://" then every "http://" removed, one
// trailing "/" dropped, the other "/" turned into "_". So letter case, the scheme and one trailing slash
// do not matter, while a query string is kept as it stands.
[[nodiscard]] QString slug(const QString &link);

// Any text to a folder name: trimmed, each of / \ : * ? " < > | # % replaced by "_"; "Unnamed" if empty.
[[nodiscard]] QString safeFolderName(const QString &text);
