// The HTTP validators kept with each source's cached index ("meta.json"), and their JSON form.
// Values and whole-file I/O; any thread.
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

struct RepoMeta
{
    std::optional<QString> etag;         // the response's ETag header, verbatim
    std::optional<QString> lastModified; // the response's Last-Modified header, verbatim
    std::optional<QString> lastURL;      // the candidate URL that gave the stored index
    double updatedAt = 0;                // seconds since 1970-01-01 UTC when the record was made

    friend bool operator==(const RepoMeta &, const RepoMeta &) = default;
};

// Compact JSON with the keys in the order etag, lastModified, lastURL, updatedAt; absent fields are left
// out, not written as null. Strings escape "/" as well, as common JSON
// encoders do, so a file written by another tool reads the same.
[[nodiscard]] QByteArray encodeRepoMeta(const RepoMeta &meta);

// Accepts any JSON object with a numeric "updatedAt"; the optional fields may be missing or null, and
// other keys are ignored. Anything else (bad JSON, a field of the wrong type) gives no record.
[[nodiscard]] std::optional<RepoMeta> decodeRepoMeta(QByteArrayView json);

// A missing or unreadable file gives no record, as does one that is not a regular file, is larger than any
// record could be, or does not decode.
[[nodiscard]] std::optional<RepoMeta> readRepoMeta(const QString &path);

// Atomic write; returns whether the file now holds the record. Callers may ignore a failure.
bool saveRepoMeta(const QString &path, const RepoMeta &meta);
