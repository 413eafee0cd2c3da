// Turns the text of one APT "Packages" index into package records, one per stanza, in file order.
// Pure functions on values with no shared state: safe on any thread (callers keep them off the main one).
#pragma once

#include "index/indextext.h"
#include "index/packageinfo.h"

#include <QByteArrayView>
#include <QString>
#include <QStringView>

// Larger inputs give no records. The limit keeps every record's text offsets in 32 bits; it is far above
// what the decompressor can produce (128 MiB) and above any real index.
inline constexpr qsizetype kMaxIndexBytes = qsizetype(1) << 31;

// The parser proper, on bytes in a known encoding. Lines end at LF, CR, CR LF, VT, FF, U+0085, U+2028 and
// U+2029 (in Latin-1 the byte 0x85 is U+0085); an empty line closes a stanza; a line that starts with a
// blank continues the last field; field names are taken exactly as written, before the first colon.
[[nodiscard]] PackageList parsePackages(IndexText text, const QString &sourceLink);

// How many records parsePackages() would give for the same text, without building them. It runs the same
// line and stanza machine, so the two cannot disagree.
[[nodiscard]] qsizetype countPackages(IndexText text);

// Bytes as read from a file: decoded by the index text rule, then parsed.
[[nodiscard]] PackageList parsePackagesData(QByteArrayView bytes, const QString &sourceLink);

// Already decoded text, for callers that hold a string.
[[nodiscard]] PackageList parsePackagesFile(QStringView content, const QString &sourceLink);
