#include "index/catalogsnapshot.h"

#include "index/cachefiles.h"
#include "index/indexlog.h"
#include "index/mappedrecord.h"

#include <QFile>
#include <QFileDevice>
#include <QTemporaryFile>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::array<char, 8> kMagic{'T', 'P', 'C', 'A', 'T', 'S', 'N', 'P'};
// Bump whenever the layout or the meaning of a field changes: an older file is then rebuilt.
constexpr quint32 kVersion = 2;
constexpr quint32 kByteOrder = 0x01020304;
constexpr quint8 kAllFields = (1U << PackageInfo::FieldCount) - 1;

quint64 padded(quint64 bytes)
{
    return (bytes + 7) & ~quint64(7);
}

// A 64-bit checksum of 8-byte words, four independent lanes so it runs at memory speed: every source's
// records are summed again the first time they are read. Not a defence against anyone, only against a
// torn or stale file.
class Checksum
{
public:
    void add(const quint64 *words, quint64 count)
    {
        for (quint64 i = 0; i < count; ++i, ++m_words) {
            quint64 &lane = m_lanes[m_words & 3];
            lane = (lane ^ words[i]) * 0x9E3779B97F4A7C15ULL;
            lane ^= lane >> 29;
        }
    }
    [[nodiscard]] quint64 value() const
    {
        quint64 h = m_words;
        for (const quint64 lane : m_lanes)
            h = (h ^ lane) * 0xFF51AFD7ED558CCDULL, h ^= h >> 32;
        return h;
    }

private:
    std::array<quint64, 4> m_lanes{1, 2, 3, 4};
    quint64 m_words = 0;
};

// The fixed part of a record for one package, and the text it carries.
struct RecordText
{
    MappedRecord head;
    std::array<QStringView, PackageInfo::FieldCount> fields;
};

RecordText recordText(const PackageInfo &package, quint32 sourceIndex)
{
    RecordText out;
    out.head.sourceIndex = sourceIndex;
    quint64 units = 0;
    for (int f = 0; f < PackageInfo::FieldCount; ++f) {
        const auto field = PackageInfo::Field(f);
        if (const std::optional<QStringView> value = package.view(field)) {
            out.head.present |= quint8(1U << f);
            if (field == PackageInfo::Icon && *value == kDefaultIconURL)
                out.head.defaultIcon = 1;
            else
                out.fields[size_t(f)] = *value;
        }
        units += quint64(out.fields[size_t(f)].size());
        out.head.end[size_t(f)] = quint32(units);
    }
    out.head.units = quint32(units);
    return out;
}

// The records go through here: buffered, and summed section by section on their way out.
class RecordWriter
{
public:
    RecordWriter(QFileDevice &out, quint64 position)
        : m_out(out)
        , m_written(position)
    {
        m_buffer.reserve(kFlushBytes + 8);
    }

    void append(const void *bytes, quint64 size)
    {
        m_buffer.append(static_cast<const char *>(bytes), qsizetype(size));
        if (m_buffer.size() >= kFlushBytes)
            flush();
    }
    void pad()
    {
        const quint64 at = position();
        m_buffer.append(qsizetype(padded(at) - at), '\0');
    }
    bool flush()
    {
        // Only whole words: every section ends padded, so nothing is left over at its end.
        const qsizetype whole = m_buffer.size() & ~qsizetype(7);
        m_sum.add(reinterpret_cast<const quint64 *>(m_buffer.constData()), quint64(whole) / 8);
        m_ok = m_ok && writeCacheBytes(m_out, QByteArrayView(m_buffer.constData(), whole));
        m_written += quint64(whole);
        m_buffer.remove(0, whole);
        return m_ok;
    }
    // Ends a section: its checksum, and a fresh one for the next.
    quint64 takeChecksum()
    {
        flush();
        return std::exchange(m_sum, Checksum()).value();
    }
    [[nodiscard]] quint64 position() const { return m_written + quint64(m_buffer.size()); }
    [[nodiscard]] bool ok() const { return m_ok; }

private:
    static constexpr qsizetype kFlushBytes = 1 << 20;
    QFileDevice &m_out;
    QByteArray m_buffer;
    Checksum m_sum;
    quint64 m_written = 0;
    bool m_ok = true;
};

quint64 checksumOf(QByteArrayView words)
{
    Checksum sum;
    sum.add(reinterpret_cast<const quint64 *>(words.data()), quint64(words.size()) / 8);
    return sum.value();
}

void appendPadded(QByteArray &out, const void *bytes, qsizetype size)
{
    out.append(static_cast<const char *>(bytes), size);
    out.append(qsizetype(padded(quint64(out.size()))) - out.size(), '\0');
}

bool writeSnapshot(QFileDevice &out, const QList<SnapshotSource> &sources)
{
    // The table, links and validators are small: built in memory, written once as a placeholder and
    // again at the end, when every source's records checksum is known.
    std::vector<SnapshotSourceEntry> entries(size_t(sources.size()));
    const quint64 tableBytes = sizeof(SnapshotSourceEntry) * entries.size();
    QByteArray strings;
    for (qsizetype s = 0; s < sources.size(); ++s) {
        const SnapshotSource &source = sources.at(s);
        SnapshotSourceEntry &entry = entries[size_t(s)];
        entry.linkOffset = sizeof(SnapshotHeader) + tableBytes + quint64(strings.size());
        entry.linkUnits = quint32(source.link.size());
        appendPadded(strings, source.link.constData(), source.link.size() * 2);
        entry.validatorsOffset = sizeof(SnapshotHeader) + tableBytes + quint64(strings.size());
        entry.validatorsBytes = quint32(source.validators.size());
        appendPadded(strings, source.validators.constData(), source.validators.size());
    }
    const auto metadata = [&] {
        QByteArray bytes(reinterpret_cast<const char *>(entries.data()), qsizetype(tableBytes));
        return bytes + strings;
    };
    const quint64 metadataEnd = sizeof(SnapshotHeader) + tableBytes + quint64(strings.size());

    SnapshotHeader header;
    if (!writeCacheBytes(out, QByteArrayView(reinterpret_cast<const char *>(&header), sizeof header)) ||
        !writeCacheBytes(out, metadata()))
        return false;
    RecordWriter records(out, metadataEnd);
    for (qsizetype s = 0; s < sources.size(); ++s) {
        SnapshotSourceEntry &entry = entries[size_t(s)];
        entry.recordsOffset = records.position();
        entry.recordCount = quint32(sources.at(s).packages.size());
        for (const PackageInfo &package : sources.at(s).packages) {
            RecordText record = recordText(package, quint32(s));
            record.head.selfOffset = records.position();
            records.append(&record.head, sizeof record.head);
            for (const QStringView field : record.fields)
                records.append(field.utf16(), quint64(field.size()) * 2);
            records.pad();
        }
        entry.recordsChecksum = records.takeChecksum();
        entry.recordsBytes = records.position() - entry.recordsOffset;
        if (!records.ok())
            return false;
    }

    const QByteArray finalMetadata = metadata();
    header.magic = kMagic;
    header.version = kVersion;
    header.byteOrder = kByteOrder;
    header.fileSize = records.position();
    header.checksum = checksumOf(finalMetadata);
    header.sourceCount = quint32(sources.size());
    header.sourcesOffset = sizeof(SnapshotHeader);
    header.metadataEnd = metadataEnd;
    return out.seek(0) &&
           writeCacheBytes(out, QByteArrayView(reinterpret_cast<const char *>(&header), sizeof header)) &&
           writeCacheBytes(out, finalMetadata);
}

// Every limit that writeSnapshot() keeps, so that what fails is refused here rather than written.
bool fitsTheFormat(const QList<SnapshotSource> &sources)
{
    constexpr quint64 most = std::numeric_limits<quint32>::max();
    for (const SnapshotSource &source : sources) {
        if (quint64(source.link.size()) > most || quint64(source.validators.size()) > most ||
            quint64(source.packages.size()) > most)
            return false;
    }
    return quint64(sources.size()) <= most;
}

} // namespace

// The memory of one snapshot, shared by the snapshot object and every record handed out.
struct CatalogSnapshot::Mapping : MappedRecordOwner
{
    enum : quint8 { Unchecked, Readable, Damaged };

    const std::byte *base = nullptr;
    quint64 length = 0;
    bool mapped = false;             // mmap'ed, else held in `heap`
    std::unique_ptr<quint64[]> heap; // 8-byte aligned, as the records need
    QList<QString> linkStrings;
    // Per source; any thread may check a source, and two that do so at once find the same.
    std::unique_ptr<std::atomic<quint8>[]> states;

    ~Mapping()
    {
        if (mapped)
            ::munmap(const_cast<std::byte *>(base), size_t(length));
    }

    [[nodiscard]] const SnapshotHeader &header() const
    {
        return *reinterpret_cast<const SnapshotHeader *>(base);
    }
    [[nodiscard]] const SnapshotSourceEntry &entry(qsizetype source) const
    {
        return reinterpret_cast<const SnapshotSourceEntry *>(base + header().sourcesOffset)[source];
    }
    [[nodiscard]] const MappedRecord *record(quint64 offset) const
    {
        return reinterpret_cast<const MappedRecord *>(base + offset);
    }

    // The header, the table, the links and the validators; nothing is read from them before every
    // offset and count has been checked against the file's own length.
    [[nodiscard]] bool check() const
    {
        if (length < sizeof(SnapshotHeader) || length % 8 != 0)
            return false;
        const SnapshotHeader &h = header();
        if (h.magic != kMagic || h.version != kVersion || h.byteOrder != kByteOrder || h.fileSize != length ||
            h.metadataEnd % 8 != 0 || h.metadataEnd < sizeof(SnapshotHeader) || h.metadataEnd > length)
            return false;
        if (checksumOf(QByteArrayView(reinterpret_cast<const char *>(base) + sizeof(SnapshotHeader),
                                      qsizetype(h.metadataEnd - sizeof(SnapshotHeader)))) != h.checksum)
            return false;
        // Inside [from, to), and aligned.
        const auto within = [](quint64 offset, quint64 bytes, quint64 from, quint64 to) {
            return offset % 8 == 0 && offset >= from && offset <= to && bytes <= to - offset;
        };
        if (!within(h.sourcesOffset, quint64(h.sourceCount) * sizeof(SnapshotSourceEntry),
                    sizeof(SnapshotHeader), h.metadataEnd))
            return false;
        for (quint32 s = 0; s < h.sourceCount; ++s) {
            const SnapshotSourceEntry &e = entry(s);
            if (!within(e.linkOffset, quint64(e.linkUnits) * 2, sizeof(SnapshotHeader), h.metadataEnd) ||
                !within(e.validatorsOffset, e.validatorsBytes, sizeof(SnapshotHeader), h.metadataEnd) ||
                !within(e.recordsOffset, e.recordsBytes, h.metadataEnd, length) || e.recordsBytes % 8 != 0)
                return false;
        }
        return true;
    }

    // A source's records, checked the first time they are asked for.
    [[nodiscard]] bool readable(quint32 source) const
    {
        quint8 state = states[source].load(std::memory_order_acquire);
        if (state == Unchecked) {
            const SnapshotSourceEntry &e = entry(source);
            const bool whole =
                checksumOf(QByteArrayView(reinterpret_cast<const char *>(base + e.recordsOffset),
                                          qsizetype(e.recordsBytes))) == e.recordsChecksum &&
                checkRecords(e, source);
            state = whole ? Readable : Damaged;
            states[source].store(state, std::memory_order_release);
        }
        return state == Readable;
    }

    // After this, every record of the source is whole and consistent: PackageInfo reads them unchecked.
    [[nodiscard]] bool checkRecords(const SnapshotSourceEntry &e, quint32 source) const
    {
        const quint64 end = e.recordsOffset + e.recordsBytes;
        quint64 at = e.recordsOffset;
        for (quint32 n = 0; n < e.recordCount; ++n) {
            if (end - at < sizeof(MappedRecord))
                return false;
            const MappedRecord &r = *record(at);
            if (r.selfOffset != at || r.sourceIndex != source || (r.present & ~kAllFields) != 0 ||
                r.defaultIcon > 1 || (r.defaultIcon && !(r.present & (1U << PackageInfo::Icon))) ||
                MappedRecord::bytesFor(r.units) > end - at)
                return false;
            quint32 previous = 0;
            for (int f = 0; f < PackageInfo::FieldCount; ++f) {
                const quint32 fieldEnd = r.end[size_t(f)];
                const bool empty = !(r.present & (1U << f)) || (f == PackageInfo::Icon && r.defaultIcon);
                if (fieldEnd < previous || (empty && fieldEnd != previous))
                    return false;
                previous = fieldEnd;
            }
            if (previous != r.units)
                return false;
            at += MappedRecord::bytesFor(r.units);
        }
        return at == end;
    }
};

namespace {

void releaseMapping(MappedRecordOwner *owner)
{
    delete static_cast<CatalogSnapshot::Mapping *>(owner);
}

// Makes a checked mapping the owner of its records: its links as strings, its ids, and the pointer in
// the private first page through which every record finds this owner.
CatalogSnapshot::Mapping *adopt(CatalogSnapshot::Mapping *mapping, SnapshotHeader *writableHeader)
{
    const SnapshotHeader &h = mapping->header();
    for (quint32 s = 0; s < h.sourceCount; ++s) {
        const SnapshotSourceEntry &e = mapping->entry(s);
        mapping->linkStrings.append(
            QString(reinterpret_cast<const QChar *>(mapping->base + e.linkOffset), qsizetype(e.linkUnits)));
    }
    mapping->links = mapping->linkStrings.constData();
    mapping->states = std::make_unique<std::atomic<quint8>[]>(h.sourceCount);
    mapping->serialBase = PackageInfo::reserveSerials(mapping->length / 8 + 1);
    mapping->release = releaseMapping;
    writableHeader->owner = mapping;
    return mapping;
}

} // namespace

CatalogSnapshot::CatalogSnapshot(Mapping *mapping)
    : m_mapping(mapping)
{
    // Every load asks for its source by link: a thousand sources must not mean a million comparisons.
    m_sourceByLink.reserve(mapping->linkStrings.size());
    for (qsizetype s = 0; s < mapping->linkStrings.size(); ++s) {
        if (!m_sourceByLink.contains(mapping->linkStrings.at(s)))
            m_sourceByLink.insert(mapping->linkStrings.at(s), s);
    }
}

qsizetype CatalogSnapshot::sourceCount() const
{
    return m_mapping->linkStrings.size();
}

const QString &CatalogSnapshot::link(qsizetype source) const
{
    return m_mapping->linkStrings.at(source);
}

CatalogSnapshot::~CatalogSnapshot()
{
    if (!m_mapping->refs.deref())
        m_mapping->release(m_mapping);
}

std::shared_ptr<const CatalogSnapshot> CatalogSnapshot::open(const QString &path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    struct stat status = {};
    void *memory = MAP_FAILED;
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_size >= qint64(sizeof(SnapshotHeader)))
        memory = ::mmap(nullptr, size_t(status.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
    ::close(fd);
    if (memory == MAP_FAILED)
        return {};
    auto *mapping = new Mapping;
    mapping->base = static_cast<const std::byte *>(memory);
    mapping->length = quint64(status.st_size);
    mapping->mapped = true;
    // The first page alone becomes the process's own copy once the owner is written into it.
    if (!mapping->check() || ::mprotect(memory, sizeof(SnapshotHeader), PROT_READ | PROT_WRITE) != 0) {
        qCDebug(lcIndex) << "ignoring the catalogue snapshot" << path;
        delete mapping;
        return {};
    }
    adopt(mapping, static_cast<SnapshotHeader *>(memory));
    return std::shared_ptr<const CatalogSnapshot>(new CatalogSnapshot(mapping));
}

std::shared_ptr<const CatalogSnapshot> CatalogSnapshot::fromBytes(const QByteArray &bytes)
{
    auto *mapping = new Mapping;
    mapping->heap = std::make_unique<quint64[]>(size_t(bytes.size()) / 8 + 1);
    std::memcpy(mapping->heap.get(), bytes.constData(), size_t(bytes.size()));
    mapping->base = reinterpret_cast<const std::byte *>(mapping->heap.get());
    mapping->length = quint64(bytes.size());
    if (!mapping->check()) {
        delete mapping;
        return {};
    }
    adopt(mapping, reinterpret_cast<SnapshotHeader *>(mapping->heap.get()));
    return std::shared_ptr<const CatalogSnapshot>(new CatalogSnapshot(mapping));
}

QByteArray CatalogSnapshot::validators(qsizetype source) const
{
    const SnapshotSourceEntry &e = m_mapping->entry(source);
    return QByteArray(reinterpret_cast<const char *>(m_mapping->base + e.validatorsOffset),
                      qsizetype(e.validatorsBytes));
}

qsizetype CatalogSnapshot::packageCount(qsizetype source) const
{
    return qsizetype(m_mapping->entry(source).recordCount);
}

std::optional<PackageList> CatalogSnapshot::packages(qsizetype source) const
{
    if (!m_mapping->readable(quint32(source)))
        return std::nullopt;
    const SnapshotSourceEntry &e = m_mapping->entry(source);
    PackageList packages;
    packages.reserve(qsizetype(e.recordCount));
    quint64 at = e.recordsOffset;
    for (quint32 n = 0; n < e.recordCount; ++n) {
        const MappedRecord *record = m_mapping->record(at);
        packages.append(PackageInfo::fromMappedRecord(record));
        at += MappedRecord::bytesFor(record->units);
    }
    return packages;
}

std::optional<qsizetype> CatalogSnapshot::find(const QString &link) const
{
    const auto found = m_sourceByLink.constFind(link);
    return found == m_sourceByLink.cend() ? std::nullopt : std::optional<qsizetype>(*found);
}

QByteArray encodeCatalogSnapshot(const QList<SnapshotSource> &sources)
{
    if (!fitsTheFormat(sources))
        return {};
    // The writer seeks in a file device, which a QBuffer is not: the bytes go through a temporary file.
    QTemporaryFile file;
    if (!file.open() || !writeSnapshot(file, sources) || !file.seek(0))
        return {};
    return file.readAll();
}

void sealCatalogSnapshot(QByteArray &bytes)
{
    if (bytes.size() < qsizetype(sizeof(SnapshotHeader)))
        return;
    // Read through copies, since the bytes need not be aligned; whatever lies outside them is left
    // for the reader to refuse.
    const auto size = quint64(bytes.size());
    const auto sumOf = [&bytes](quint64 from, quint64 count) {
        std::vector<quint64> words(size_t(count / 8));
        if (!words.empty())
            std::memcpy(words.data(), bytes.constData() + from, words.size() * 8);
        Checksum sum;
        sum.add(words.data(), words.size());
        return sum.value();
    };
    SnapshotHeader header;
    std::memcpy(&header, bytes.constData(), sizeof header);
    for (quint64 s = 0; s < header.sourceCount; ++s) {
        const quint64 at = header.sourcesOffset + s * sizeof(SnapshotSourceEntry);
        if (header.sourcesOffset > size || at > size - sizeof(SnapshotSourceEntry))
            break;
        SnapshotSourceEntry entry;
        std::memcpy(&entry, bytes.constData() + at, sizeof entry);
        if (entry.recordsOffset <= size && entry.recordsBytes <= size - entry.recordsOffset) {
            entry.recordsChecksum = sumOf(entry.recordsOffset, entry.recordsBytes);
            std::memcpy(bytes.data() + at, &entry, sizeof entry);
        }
    }
    const quint64 end = std::min(std::max<quint64>(header.metadataEnd, sizeof header), size);
    header.checksum = sumOf(sizeof header, end - sizeof header);
    std::memcpy(bytes.data() + offsetof(SnapshotHeader, checksum), &header.checksum, sizeof header.checksum);
}

bool writeCatalogSnapshot(const QString &path, const QList<SnapshotSource> &sources)
{
    return fitsTheFormat(sources) &&
           replaceCacheFileWith(path, [&sources](QFileDevice &out) { return writeSnapshot(out, sources); });
}
