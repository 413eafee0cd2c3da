// Rules for source links: de-duplication key, display name from a link, which links can be added.
// Pure functions on values; any thread.
#pragma once

#include "sources/reposource.h"

#include <QList>
#include <QString>
#include <QUrl>

// Trimmed, lower-cased, one trailing '/' dropped. Only used to spot the same repository typed twice.
[[nodiscard]] QString normalizeLink(const QString &link);

// Keeps the first record of each normalised link, in order.
[[nodiscard]] QList<RepoSource> dedupeByLink(const QList<RepoSource> &list);

// The host as typed in the link, without any "www.", capitalised word by word; "Unknown Source"
// for a link without host.
[[nodiscard]] QString extractName(const QString &link);

// Only web links can serve an APT index, so only those can be added as sources.
[[nodiscard]] bool canOpenSourceUrl(const QUrl &url);

// The platform's capitalised form: the first letter after white space upper case, the rest lower.
[[nodiscard]] QString capitalized(const QString &text);
