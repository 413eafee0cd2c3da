// The parsed catalogue as one file that is mapped and read in place, the way apt keeps its binary
// package cache: loading from it costs no parsing and no copying of package text.
// Written on a worker thread; opened on any thread; what it gives out are immutable values.
#pragma once

#include "index/packageinfo.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

// One source as the snapshot keeps it. `validators` is opaque here: the loader's record of the
// cached files the packages were parsed from, compared by the loader before it trusts them.
struct SnapshotSource
{
    QString link;
    QByteArray validators;
    PackageList packages;
};

// Writes every source, in the order given, through the cache's all-or-nothing writer: a reader
// finds the old snapshot or the new one, never half of one. False when nothing was written.
[[nodiscard]] bool writeCatalogSnapshot(const QString &path, const QList<SnapshotSource> &sources);

// The bytes writeCatalogSnapshot() would write; for tests and the fuzz target.
[[nodiscard]] QByteArray encodeCatalogSnapshot(const QList<SnapshotSource> &sources);

// Sets the checksum of snapshot bytes to match whatever they now hold, so that tests and the fuzz target
// reach the checks behind it. Bytes too short for a header are left alone.
void sealCatalogSnapshot(QByteArray &bytes);

class CatalogSnapshot
{
public:
    // Null when the file is missing, unreadable, truncated, of another format version, fails its
    // checksum, or says anything its own size does not back: such a snapshot is rebuilt, never read.
    // Each source's records have a checksum of their own, checked when they are first read.
    [[nodiscard]] static std::shared_ptr<const CatalogSnapshot> open(const QString &path);
    // The same checks over bytes in memory, which the snapshot then keeps; for tests and the fuzz target.
    [[nodiscard]] static std::shared_ptr<const CatalogSnapshot> fromBytes(const QByteArray &bytes);

    ~CatalogSnapshot();
    CatalogSnapshot(const CatalogSnapshot &) = delete;
    CatalogSnapshot &operator=(const CatalogSnapshot &) = delete;

    [[nodiscard]] qsizetype sourceCount() const;
    [[nodiscard]] const QString &link(qsizetype source) const;
    [[nodiscard]] QByteArray validators(qsizetype source) const;
    [[nodiscard]] qsizetype packageCount(qsizetype source) const;
    // The source's records, read in place; they keep the mapping alive for as long as any of them lives.
    // None when they are damaged (checked on the first call): the source is parsed again, alone.
    [[nodiscard]] std::optional<PackageList> packages(qsizetype source) const;
    // Where a link's packages are, matched exactly as it was written.
    [[nodiscard]] std::optional<qsizetype> find(const QString &link) const;

    struct Mapping;

private:
    explicit CatalogSnapshot(Mapping *mapping);

    Mapping *m_mapping = nullptr;             // holds one reference of its own
    QHash<QString, qsizetype> m_sourceByLink; // the first source of each link
};
