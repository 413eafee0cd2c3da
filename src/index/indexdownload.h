// The steps of getting one source's index the way the app does: the server with a conditional
// request, else the source's own cache, else the list a package manager on the device already
// downloaded. The network part runs in SourceLoader; these are the blocking disk and CPU steps
// around it, as functions on values.
// Blocking file I/O and parsing: called on worker threads, never on the main thread.
#pragma once

#include "device/deviceroot.h"
#include "index/cachepaths.h"
#include "index/loadhealth.h"
#include "index/packageinfo.h"
#include "index/repometa.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

class SearchIndex;
class SnapshotStore;

struct DownloadTimeouts
{
    int requestMilliseconds = 25000; // a whole request, and a transfer that stops moving
    int waitMilliseconds = 30000;    // how long a candidate may take before it is given up
};

// A body past this size is not an index (the decoder's own ceiling): reading stops there and the
// candidate counts as failed.
inline constexpr qint64 kMaxIndexBodyBytes = qint64(128) * 1024 * 1024;

struct LoadEnvironment
{
    QString cacheRoot; // the "RepoPackages" folder
    DeviceRoot deviceRoot;
    DownloadTimeouts timeouts;
    // No network at all: the cache and the package managers' lists still serve.
    bool offline = false;
    // Where a cached index that is unchanged since the last load of every source is read from,
    // parsed already; none: every cached index is parsed.
    std::shared_ptr<SnapshotStore> snapshots = {};
};

enum class ServedFrom {
    Network,     // a fresh index from the server
    NotModified, // the server said 304 and the cache answered
    Cache,       // the server could not be used; the cache answered
    Lists,       // a package manager's list answered
    Nothing,     // no index anywhere: an empty list
};

struct LoadResult
{
    PackageList packages;
    ServedFrom servedFrom = ServedFrom::Nothing;
    // What the package filter scans, built beside the parse so that the first keystroke after a load
    // only scans. Null for an empty list.
    std::shared_ptr<const SearchIndex> searchIndex;
    LoadHealth health;
    // The cacheFileStamp() of the cached "Packages" that holds these packages; empty when they are in no
    // cache (a list file served them, or the cache could not be written).
    QByteArray cacheStamp = {};
};

[[nodiscard]] QString servedFromName(ServedFrom servedFrom);

// The index URLs tried for a link, in order; empty for links that are not https.
[[nodiscard]] QList<QUrl> indexCandidates(const QString &link);

// Everything the network part of one load needs, read from disk before the first request.
struct FetchPlan
{
    QString link;
    RepoPaths paths;
    QList<QUrl> candidates;             // empty: no network step (offline, or not https)
    std::optional<RepoMeta> validators; // sent with every candidate; none when forced
    std::shared_ptr<SnapshotStore> snapshots = {};
};
[[nodiscard]] FetchPlan planFetch(const QString &link, bool force, const LoadEnvironment &environment);

// A 200 answer with a non-empty body, as it came off the wire.
struct IndexResponse
{
    QUrl url;                 // the candidate asked for, not where a redirect led
    QList<QByteArray> chunks; // the body in the pieces it arrived in
    QByteArray etag;          // null when the header was missing
    QByteArray lastModified;
    QByteArray contentEncoding;
};

// Whether a body is handled as a compressed index: the candidate's name ends in ".gz", the response
// says its content is gzip-encoded, or the body begins with the gzip magic bytes.
[[nodiscard]] bool looksCompressed(const QUrl &url, QByteArrayView contentEncoding, QByteArrayView body);

// True once the first two bytes show that a body can never decode: it is handled as compressed, and
// its first byte (0x1f, as in every gzip file) announces DEFLATE's reserved block type, which the
// raw decoder rejects at once. Such a download need not go on: read whole, it would only have been
// kept as a "Packages.gz" that no later step can read either.
[[nodiscard]] bool cannotDecode(const QUrl &url, QByteArrayView contentEncoding, QByteArrayView start);

// Stores the body as this source's cache, decodes it and parses it. No value when it cannot be
// stored or does not decode: the next candidate is tried. Takes the response by value so its
// buffers are let go as soon as they are used.
[[nodiscard]] std::optional<LoadResult> acceptIndexResponse(const FetchPlan &plan, IndexResponse response);

// The end of the chain once the network has nothing (or said 304): the cache, then the lists.
// Never fails: the end is an empty list.
[[nodiscard]] LoadResult loadWithoutNetwork(const FetchPlan &plan, const DeviceRoot &deviceRoot,
                                            bool notModified);
