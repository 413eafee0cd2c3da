// The options the app and every command-line command share: which settings store, cache folder,
// device root and extra certificate authority to use.
// Main thread, before the first request.
#pragma once

#include "app/platform.h"

#include <QCommandLineParser>

#include <optional>

void addSharedOptions(QCommandLineParser &parser);

// True when the arguments parse and ask for the help or version text. Those need no display, so the
// app can answer them before its GUI application (and the platform plugin) exists. Arguments that do
// not parse give false: they may carry Qt's own options, which only the GUI application removes.
[[nodiscard]] bool asksForHelpOrVersion(QCommandLineParser &parser, const QStringList &arguments);

// Fills in the platform from the parsed options. The CA file adds to the system's authorities for
// every request of the process; verification itself is never relaxed. Returns a one-line message when an
// option cannot be used.
[[nodiscard]] std::optional<QString> applySharedOptions(const QCommandLineParser &parser, Platform &platform);
