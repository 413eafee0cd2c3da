// Gets one source's index the way the app does: the server with a conditional request, else the
// source's own cache, else the list a package manager on the device already downloaded.
// Blocking network and file I/O: runs on a loader thread, never on the main thread.
#pragma once

#include "device/deviceroot.h"
#include "index/packageinfo.h"

#include <QString>

#include <atomic>
#include <memory>

struct DownloadTimeouts {
    int requestMilliseconds = 25000; // one request, and a transfer that stops moving
    int waitMilliseconds = 30000;    // how long a candidate may take before it is given up
};

struct LoadEnvironment {
    QString cacheRoot; // the "RepoPackages" folder
    DeviceRoot deviceRoot;
    DownloadTimeouts timeouts;
    // Set when nobody will read the result any more (the app is closing): waits end early.
    std::shared_ptr<const std::atomic_bool> cancelled;
    // No network at all: the cache and the package managers' lists still serve.
    bool offline = false;
};

enum class ServedFrom {
    Network,     // a fresh index from the server
    NotModified, // the server said 304 and the cache answered
    Cache,       // the server could not be used; the cache answered
    Lists,       // a package manager's list answered
    Nothing,     // no index anywhere: an empty list
};

struct LoadResult {
    PackageList packages;
    ServedFrom servedFrom = ServedFrom::Nothing;
};

[[nodiscard]] QString servedFromName(ServedFrom servedFrom);

// Never fails: the end of the chain is an empty list. Plain-http sources never touch the network;
// they are served from the cache and the lists only.
[[nodiscard]] LoadResult loadSourceIndex(const QString &link, bool force, const LoadEnvironment &environment);

// The index URLs tried for a link, in order; empty for links that are not https.
[[nodiscard]] QList<QUrl> indexCandidates(const QString &link);
