// One index file on disk turned into records the way the app does it: raw DEFLATE or plain text, the
// index text rule, then the parser.
// Blocking file I/O: call off the main thread.
#pragma once

#include "index/packageinfo.h"

#include <QByteArray>
#include <QString>

#include <optional>

// The index bytes a file holds. A name ending in ".gz" must decode as raw DEFLATE, exactly as the app's
// decompressor decodes it (cut at its buffer size); any other file is decoded when it holds a complete
// raw DEFLATE stream and read as text otherwise (index text never does: "P" opens no valid block).
// No value when the file cannot be read or a ".gz" file does not decode; *error then says why in a line.
[[nodiscard]] std::optional<QByteArray> readIndexFile(const QString &path, QString *error = nullptr);

// The records of a file; an empty list when it holds no stanza.
[[nodiscard]] std::optional<PackageList> loadIndexFile(const QString &path, const QString &sourceLink,
                                                       QString *error = nullptr);

// How many records loadIndexFile() would give, without building them.
[[nodiscard]] std::optional<qsizetype> countIndexFile(const QString &path, QString *error = nullptr);
