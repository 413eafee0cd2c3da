// The one rule for "is this text a usable link", shared by source entry and package-manager hand-off.
// Pure functions; any thread.
#pragma once

#include <QString>
#include <QUrl>

#include <optional>

// Parses text as a URL in strict mode, so spaces, stray '%' and other characters a URL may not
// carry unescaped make it invalid instead of being silently repaired. The text is used as given:
// no trimming, no escaping.
[[nodiscard]] std::optional<QUrl> strictUrl(const QString &text);
