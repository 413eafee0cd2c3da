#include "index/packageinfo.h"

#include "index/mappedrecord.h"

#include <QAtomicInt>
#include <QRandomGenerator>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

struct PackageInfo::Block
{
    QAtomicInt ref{1};
    quint8 present = 0;       // one bit per Field
    bool defaultIcon = false; // the icon is kDefaultIconURL, which is not copied into every record
    quint64 serial = 0;
    QString sourceLink;
    std::array<quint32, FieldCount> end{}; // where each field's text ends; the next one starts there

    char16_t *text() { return reinterpret_cast<char16_t *>(this + 1); }
    [[nodiscard]] const char16_t *text() const { return reinterpret_cast<const char16_t *>(this + 1); }
};

// What the getters read, wherever the record lives.
struct PackageInfo::Fields
{
    quint8 present = 0;
    bool defaultIcon = false;
    const quint32 *end = nullptr;
    const char16_t *text = nullptr;
};

namespace {

// Ids are a process-wide serial number run through a keyed bijection and laid out as a version 4 UUID.
// Unlike drawing 122 random bits per record (QUuid::createUuid() asks the kernel every time), this is
// unique by construction inside the process and costs one atomic increment; the key, drawn once, makes
// the ids of different runs unrelated.
std::atomic<quint64> g_nextSerial{1};

struct IdKey
{
    quint64 high = 0;
    quint64 low = 0;
};

const IdKey &idKey()
{
    static const IdKey key = [] {
        QRandomGenerator *random = QRandomGenerator::system();
        return IdKey{random->generate64(), random->generate64()};
    }();
    return key;
}

// A bijection on 62-bit values (xor-shifts and odd multipliers both invert modulo a power of two), so
// distinct serials keep distinct ids after the six fixed version and variant bits are set.
quint64 mix62(quint64 x)
{
    constexpr quint64 mask = (quint64(1) << 62) - 1;
    x &= mask;
    x ^= x >> 31;
    x = (x * 0x7fb5d329728ea185ULL) & mask;
    x ^= x >> 27;
    x = (x * 0x81dadef4bc2dd44dULL) & mask;
    x ^= x >> 33;
    return x;
}

bool isDefaultIcon(const PackageInfo::IndexField &field)
{
    constexpr QByteArrayView defaultIcon("Resources/Tweaks.png");
    return field.count == 1 && field.pieces[0] == defaultIcon;
}

constexpr qsizetype kMaxUnits = std::numeric_limits<quint32>::max();

} // namespace

void *PackageInfo::allocate(qsizetype units)
{
    void *memory = std::malloc(sizeof(Block) + size_t(units) * sizeof(char16_t));
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

PackageInfo::Block *PackageInfo::construct(void *memory, const QString &sourceLink)
{
    auto *block = new (memory) Block;
    block->serial = g_nextSerial.fetch_add(1, std::memory_order_relaxed);
    block->sourceLink = sourceLink;
    return block;
}

PackageInfo::PackageInfo(const std::optional<QString> &package, const std::optional<QString> &name,
                         const std::optional<QString> &version, const std::optional<QString> &description,
                         const std::optional<QString> &filename, const std::optional<QString> &iconURL,
                         const std::optional<QString> &architecture, const QString &sourceLink)
{
    const std::array<const std::optional<QString> *, FieldCount> fields{
        &package, &name, &version, &description, &filename, &iconURL, &architecture};
    std::array<qsizetype, FieldCount> lengths{};
    qsizetype total = 0;
    for (int f = 0; f < FieldCount; ++f) {
        const std::optional<QString> &value = *fields[size_t(f)];
        if (!value || (f == Icon && *value == kDefaultIconURL))
            continue;
        // Cut rather than overflow the offsets; no real stanza comes near this.
        lengths[size_t(f)] = std::min(value->size(), kMaxUnits - total);
        total += lengths[size_t(f)];
    }
    m_block = construct(allocate(total), sourceLink);
    char16_t *out = m_block->text();
    for (int f = 0; f < FieldCount; ++f) {
        const std::optional<QString> &value = *fields[size_t(f)];
        if (value) {
            m_block->present |= quint8(1U << f);
            m_block->defaultIcon |= f == Icon && *value == kDefaultIconURL;
            std::copy_n(reinterpret_cast<const char16_t *>(value->constData()), lengths[size_t(f)], out);
            out += lengths[size_t(f)];
        }
        m_block->end[size_t(f)] = quint32(out - m_block->text());
    }
}

PackageInfo PackageInfo::fromIndexFields(const IndexFields &fields, TextEncoding encoding,
                                         const QString &sourceLink)
{
    // Room for the worst case, one UTF-16 unit per byte, so the text is converted in a single pass; the
    // block is shrunk afterwards when multi-byte characters left much of it unused.
    qsizetype bound = 0;
    for (int f = 0; f < FieldCount; ++f) {
        const IndexField &field = fields[size_t(f)];
        if (field.count == 0 || (f == Icon && isDefaultIcon(field)))
            continue;
        bound += field.count - 1;
        for (qsizetype i = 0; i < field.count; ++i)
            bound += field.pieces[i].size();
    }
    Q_ASSERT(bound <= kMaxUnits);

    void *memory = allocate(bound);
    char16_t *const text = reinterpret_cast<char16_t *>(static_cast<Block *>(memory) + 1);
    char16_t *out = text;
    quint8 present = 0;
    bool defaultIcon = false;
    std::array<quint32, FieldCount> end{};
    for (int f = 0; f < FieldCount; ++f) {
        const IndexField &field = fields[size_t(f)];
        if (field.count != 0) {
            present |= quint8(1U << f);
            if (f == Icon && isDefaultIcon(field)) {
                defaultIcon = true;
            } else {
                for (qsizetype i = 0; i < field.count; ++i) {
                    if (i != 0)
                        *out++ = u'\n';
                    out = appendUtf16(out, field.pieces[i], encoding);
                }
            }
        }
        end[size_t(f)] = quint32(out - text);
    }

    const qsizetype unused = bound - (out - text);
    if (unused > 32) {
        // Nothing is constructed in the block yet, so moving its bytes is all a shrink can do to it.
        if (void *shrunk = std::realloc(memory, sizeof(Block) + size_t(out - text) * sizeof(char16_t)))
            memory = shrunk;
    }
    Block *block = construct(memory, sourceLink);
    block->present = present;
    block->defaultIcon = defaultIcon;
    block->end = end;
    return PackageInfo(block);
}

quint64 PackageInfo::reserveSerials(quint64 count)
{
    return g_nextSerial.fetch_add(count, std::memory_order_relaxed);
}

PackageInfo PackageInfo::fromMappedRecord(const MappedRecord *record)
{
    record->owner()->refs.ref();
    return PackageInfo(reinterpret_cast<Block *>(reinterpret_cast<quintptr>(record) | 1));
}

PackageInfo::PackageInfo(const PackageInfo &other) noexcept
    : m_block(other.m_block)
{
    if (isMapped())
        mapped()->owner()->refs.ref();
    else if (m_block)
        m_block->ref.ref();
}

PackageInfo &PackageInfo::operator=(const PackageInfo &other) noexcept
{
    PackageInfo copy(other);
    std::swap(m_block, copy.m_block);
    return *this;
}

PackageInfo &PackageInfo::operator=(PackageInfo &&other) noexcept
{
    PackageInfo moved(std::move(other));
    std::swap(m_block, moved.m_block);
    return *this;
}

PackageInfo::~PackageInfo()
{
    if (isMapped()) {
        MappedRecordOwner *owner = mapped()->owner();
        if (!owner->refs.deref())
            owner->release(owner);
        return;
    }
    if (m_block && !m_block->ref.deref()) {
        m_block->~Block();
        std::free(m_block);
    }
}

QUuid PackageInfo::id() const
{
    if (!m_block)
        return {};
    const IdKey &key = idKey();
    const quint64 high = (key.high & ~quint64(0xF000)) | 0x4000; // version 4
    const quint64 serial =
        isMapped() ? mapped()->owner()->serialBase + mapped()->selfOffset / 8 : m_block->serial;
    const quint64 low = (quint64(2) << 62) | mix62(serial ^ key.low); // RFC 4122 variant
    return QUuid(uint(high >> 32), ushort(high >> 16), ushort(high), uchar(low >> 56), uchar(low >> 48),
                 uchar(low >> 40), uchar(low >> 32), uchar(low >> 24), uchar(low >> 16), uchar(low >> 8),
                 uchar(low));
}

QString PackageInfo::sourceLink() const
{
    if (isMapped())
        return mapped()->owner()->links[mapped()->sourceIndex];
    return m_block ? m_block->sourceLink : QString();
}

PackageInfo::Fields PackageInfo::fields() const
{
    if (isMapped()) {
        const MappedRecord *record = mapped();
        return {record->present, record->defaultIcon != 0, record->end.data(), record->text()};
    }
    if (!m_block)
        return {};
    return {m_block->present, m_block->defaultIcon, m_block->end.data(), m_block->text()};
}

std::optional<QStringView> PackageInfo::view(Field field) const
{
    const Fields f = fields();
    if (!(f.present & (1U << field)))
        return std::nullopt;
    if (field == Icon && f.defaultIcon)
        return kDefaultIconURL;
    const quint32 begin = field == 0 ? 0 : f.end[field - 1];
    return QStringView(f.text + begin, qsizetype(f.end[field] - begin));
}

std::optional<QString> PackageInfo::text(Field field) const
{
    if (field == Icon && fields().defaultIcon)
        return QStringLiteral("Resources/Tweaks.png");
    const std::optional<QStringView> value = view(field);
    if (!value)
        return std::nullopt;
    return value->toString();
}
