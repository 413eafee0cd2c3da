// The outside world as the state object reaches it: settings store, clipboard, URL opening,
// cache folder, device root and network time-outs.
// Built on the main thread; tests hand in recorders and a settings file of their own.
#pragma once

#include "device/deviceroot.h"
#include "handoff/clipboard.h"
#include "handoff/urlopener.h"
#include "index/indexdownload.h"
#include "sources/reposource.h"

#include <QSettings>

#include <cstdio>
#include <functional>
#include <memory>

struct Platform
{
    std::shared_ptr<QSettings> settings;
    std::shared_ptr<Clipboard> clipboard;
    std::shared_ptr<UrlOpener> urlOpener;
    // The folder that holds the "RepoPackages" cache; empty means the app's own data folder.
    QString dataDirectory;
    // Where the device's files are; the real root unless a test or --root says otherwise.
    DeviceRoot deviceRoot;
    DownloadTimeouts timeouts;
    // Replaces the built-in catalogue; lets tests run every operation against loopback sources only.
    std::optional<QList<RepoSource>> catalogue;
    // Where the app's diagnostic lines go: standard output, as the desktop app writes them; the
    // command line keeps its own output clean by sending them to standard error.
    std::FILE *diagnostics = stdout;
    // Loads never touch the network; the cache and the package managers' lists still serve.
    bool offline = false;
    // Seconds since 1970; tests fix it so ages and times read the same on every run.
    std::function<double()> now;

    // What a state object made without arguments (the one the main screen creates) uses.
    // The app sets it before loading its screens; unset parts fall back to the user's settings
    // store and to a clipboard and opener that do nothing.
    static void setDefault(Platform platform);
    [[nodiscard]] static Platform defaultPlatform();
};
