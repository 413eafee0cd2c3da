// How a package record sits in a catalogue snapshot, shared by the snapshot's reader and writer and by
// PackageInfo, which reads such records in place. Plain layout, no behaviour; any thread.
#pragma once

#include <QAtomicInteger>
#include <QString>

#include <array>
#include <cstddef>

// Keeps a mapped snapshot alive while any record of it lives. The first page of a mapping is private to
// the process and holds a pointer to its owner; every other page stays the file's, read-only.
struct MappedRecordOwner
{
    QAtomicInteger<qint64> refs{1};
    quint64 serialBase = 0;         // record ids: this plus the record's offset in units of 8 bytes
    const QString *links = nullptr; // one per source, in the snapshot's order
    void (*release)(MappedRecordOwner *) = nullptr; // called once the last reference goes
};

// The head of the file: 64 bytes.
struct SnapshotHeader
{
    std::array<char, 8> magic{};
    quint32 version = 0;
    quint32 byteOrder = 0;
    quint64 fileSize = 0;
    quint64 checksum = 0; // of the bytes from the end of this header to metadataEnd
    quint32 sourceCount = 0;
    quint32 reserved = 0;
    quint64 sourcesOffset = 0;
    MappedRecordOwner *owner = nullptr; // zero in the file; set in the mapping's private first page
    quint64 metadataEnd = 0;            // the source table, links and validators end here; records follow
};
static_assert(sizeof(SnapshotHeader) == 64);

// One per source, in a table at sourcesOffset. A source's records are checked when first read, so
// opening a snapshot costs no pass over all of them and a damaged source is parsed again alone.
struct SnapshotSourceEntry
{
    quint64 linkOffset = 0; // UTF-16
    quint64 validatorsOffset = 0;
    quint64 recordsOffset = 0;
    quint64 recordsBytes = 0;
    quint32 linkUnits = 0;
    quint32 validatorsBytes = 0;
    quint32 recordCount = 0;
    quint32 reserved = 0;
    quint64 recordsChecksum = 0;
};
static_assert(sizeof(SnapshotSourceEntry) == 56);

// One package: this fixed part, then `units` UTF-16 code units of field text, then padding to 8 bytes.
struct MappedRecord
{
    quint64 selfOffset = 0; // where this record starts in the file, which leads back to the header
    quint32 units = 0;
    quint32 sourceIndex = 0;
    quint8 present = 0;     // one bit per PackageInfo::Field
    quint8 defaultIcon = 0; // the icon is kDefaultIconURL, which is not stored
    quint16 reserved = 0;
    std::array<quint32, 7> end{}; // where each field's text ends; the next one starts there

    [[nodiscard]] const char16_t *text() const { return reinterpret_cast<const char16_t *>(this + 1); }
    [[nodiscard]] const SnapshotHeader *header() const
    {
        return reinterpret_cast<const SnapshotHeader *>(reinterpret_cast<const std::byte *>(this) -
                                                        selfOffset);
    }
    [[nodiscard]] MappedRecordOwner *owner() const { return header()->owner; }
    // The record's whole size in the file, padding included.
    [[nodiscard]] static quint64 bytesFor(quint32 units)
    {
        return (sizeof(MappedRecord) + quint64(units) * 2 + 7) & ~quint64(7);
    }
};
static_assert(sizeof(MappedRecord) == 48);
