// Decompression of "Packages.gz" files, which the app reads as a bare raw DEFLATE stream (RFC 1951)
// with no gzip or zlib framing, and the write of the result beside the input.
// Blocking file I/O: call off the main thread.
#pragma once

#include "index/indexerror.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

// The decoder's output buffer never grows past this; larger output is cut at the buffer's size.
inline constexpr qsizetype kInflateCapacityLimit = qsizetype(128) * 1024 * 1024;

struct InflateResult
{
    QByteArray data;
    std::optional<IndexError> error;
};

struct GunzipResult
{
    QString outputPath;
    std::optional<IndexError> error;
};

// One-shot decode into a buffer of max(64 KiB, 2 × input) bytes. Output that does not fit is cut at
// exactly that size and counts as success. Empty input: code -1. Input that does not decode, or decodes
// to nothing, or an input over half the capacity limit: code -2, "Failed to decompress". A gzip-framed
// file always fails: its header is not a DEFLATE block.
// A failing decode is never retried with a bigger buffer: the decoder stops at the same byte whatever
// room it has, so the answer would be the same, only dearer.
[[nodiscard]] InflateResult inflateRaw(QByteArrayView input, qsizetype capacityLimit = kInflateCapacityLimit);

// Where the output of a compressed file goes: the same path without its last extension ("Packages.gz"
// gives "Packages"); a name without one gives the same path, so the input is replaced.
[[nodiscard]] QString decompressedPath(const QString &inputPath);

// Reads the file, decodes it and writes the output atomically beside it; nothing is written on failure.
// A read or write failure comes back in the "file" domain. Empty input: code -1 with no description.
[[nodiscard]] GunzipResult gunzip(const QString &inputPath);

// The download worker's copy of gunzip(): identical, except that empty input says "nil src".
[[nodiscard]] GunzipResult gunzipFile(const QString &path);
