// The outside world as the state object reaches it: settings store, clipboard, URL opening.
// Built on the main thread; tests hand in recorders and a settings file of their own.
#pragma once

#include "handoff/clipboard.h"
#include "handoff/urlopener.h"

#include <QSettings>

#include <memory>

struct Platform
{
    std::shared_ptr<QSettings> settings;
    std::shared_ptr<Clipboard> clipboard;
    std::shared_ptr<UrlOpener> urlOpener;

    // What a state object made without arguments (the one the main screen creates) uses.
    // The app sets it before loading its screens; unset parts fall back to the user's settings
    // store and to a clipboard and opener that do nothing.
    static void setDefault(Platform platform);
    [[nodiscard]] static Platform defaultPlatform();
};
