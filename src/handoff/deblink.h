// The address of a package's .deb file, built from its source link and its "Filename" field.
// Pure functions on values; any thread.
#pragma once

#include <QString>
#include <QUrl>

#include <optional>

// The source link without one trailing "/", then "/", then the file name without one leading "./".
// Nothing else is touched: no escaping, no special case for an absolute file name, and a link that
// ends in "//" keeps one of them. No value without a file name or when the joined text is not a URL.
[[nodiscard]] std::optional<QUrl> debUrl(const std::optional<QString> &filename, const QString &sourceLink);

// The same address as text, exactly as joined; empty when there is none.
[[nodiscard]] QString debUrlText(const std::optional<QString> &filename, const QString &sourceLink);
