// Where each source's downloaded index and its HTTP validators are kept on disk, and the name rules
// that turn links and other texts into folder names.
// Path arithmetic on values; localCandidates() also creates the cache root. Any thread.
#pragma once

#include <QString>

#include <optional>

// The four paths of one source's cache, in the order the download worker uses them. All four are empty
// for a source that has no cache.
struct RepoPaths
{
    QString folder; // the per-source folder, named by cacheFolderName()
    QString gz;     // "Packages.gz": the index as downloaded, when the download was compressed
    QString plain;  // "Packages": the index text
    QString meta;   // "meta.json": the RepoMeta validators

    [[nodiscard]] bool isCached() const { return !folder.isEmpty(); }
};

// "RepoPackages" inside the app's per-user data folder. Without such a folder the app cannot work at
// all, so its absence ends the process.
[[nodiscard]] QString defaultCacheRoot();

// The cache root joined with a data folder chosen by the caller (tests, the command line).
[[nodiscard]] QString cacheRootIn(const QString &dataFolder);

// The paths of a link's cache under the given root, or empty paths when the link has no cache folder
// name. Creates the root (not the per-source folder) when it is missing, ignoring a failure: the write
// that follows will report it.
[[nodiscard]] RepoPaths localCandidates(const QString &cacheRoot, const QString &link);

// Link to cache folder name: trimmed, lower-cased, every "https://" then every "http://" removed, one
// trailing "/" dropped, the other "/" turned into "_". So letter case, the scheme and one trailing slash
// do not matter, while a query string is kept as it stands.
[[nodiscard]] QString slug(const QString &link);

// The slug when it is one plain folder name; none for "", ".", "..", a name holding NUL (which would
// end the path early) or one longer than the file system allows. Such a source loads all the same,
// only without a cache: its files would otherwise land in the cache root, where sources collide, or
// beside it in the data folder.
[[nodiscard]] std::optional<QString> cacheFolderName(const QString &link);

// Any text to a folder name: trimmed, each of / \ : * ? " < > | # % replaced by "_"; "Unnamed" if empty.
[[nodiscard]] QString safeFolderName(const QString &text);
