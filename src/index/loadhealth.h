// How each source's last load ended, in facts and in words, and how those records are kept on disk:
// what the "Source health" view, the command line's load report and the diagnostics text show.
// Values and pure functions; the file functions block (worker threads).
#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

enum class HealthOutcome {
    Failed,      // no index anywhere: the source shows no package
    FromLists,   // the network gave nothing; a package manager's list answered
    FromCache,   // the network gave nothing; this source's cache answered
    NotModified, // the server said 304 and the cache answered
    Downloaded,  // a fresh index from the server
};

struct LoadHealth
{
    HealthOutcome outcome = HealthOutcome::Failed;
    int httpStatus = 0;        // the last answer's status; 0 when no answer came
    qint64 bytes = 0;          // the body of the answer that served, as it came off the wire
    qint64 milliseconds = 0;   // the whole network step, first request to last answer
    double cacheUpdatedAt = 0; // when the cache that served was downloaded (seconds since 1970); 0 unknown
    qint64 packages = 0;
    double checkedAt = 0; // when this load ended (seconds since 1970)
    QString problem;      // in words, empty when nothing went wrong: "timed out", "HTTP 404", ...

    friend bool operator==(const LoadHealth &, const LoadHealth &) = default;
};

using HealthRecords = QHash<QString, LoadHealth>; // by source link

[[nodiscard]] QString healthOutcomeName(HealthOutcome outcome); // "downloaded", "not-modified", ...

// Worst first: failed, then anything with a problem, then served from the lists, the cache, 304,
// a download. Never checked sits between the troubled and the healthy.
[[nodiscard]] int healthRank(const LoadHealth *health);

// One line for the list: "Downloaded: HTTP 200, 1.2 MB in 340 ms", "From cache, 3 hours old: timed
// out", ... `now` is seconds since 1970.
[[nodiscard]] QString healthSummary(const LoadHealth &health, double now);

// Everything known about one source, as plain text to paste into a bug report.
[[nodiscard]] QString healthDiagnostics(const QString &name, const QString &link, const LoadHealth *health,
                                        double now);

// {"version":1,"sources":{"<link>":{...}}}; anything unreadable or of the wrong shape is no record.
[[nodiscard]] QByteArray encodeHealthRecords(const HealthRecords &records);
[[nodiscard]] HealthRecords decodeHealthRecords(QByteArrayView json);

// The records file beside the cache folder. Reading takes regular files of at most 1 MiB only;
// writing replaces the file whole or leaves the old one, and makes its folder on a first run.
[[nodiscard]] HealthRecords readHealthRecords(const QString &path);
[[nodiscard]] bool writeHealthRecords(const QString &path, const HealthRecords &records);
