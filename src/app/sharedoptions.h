// The options the app and every command-line command share: which settings store, cache folder,
// device root and extra certificate authority to use.
// Main thread, before any network access manager exists.
#pragma once

#include "app/platform.h"

#include <QCommandLineParser>

#include <optional>

void addSharedOptions(QCommandLineParser &parser);

// Fills in the platform from the parsed options. The CA file adds to the system's authorities for
// the whole process; verification itself is never relaxed. Returns a one-line message when an
// option cannot be used.
[[nodiscard]] std::optional<QString> applySharedOptions(const QCommandLineParser &parser, Platform &platform);
