#include "index/packagesparser.h"

#include "index/indexlog.h"
#include "index/linebreaks.h"

#include <array>
#include <cstring>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

using uchar = unsigned char;

// The last field name of a stanza: none yet, one of the record's fields, or any other name.
constexpr int kNoField = -1;
constexpr int kOtherField = PackageInfo::FieldCount;

int fieldIndex(const uchar *name, qsizetype size)
{
    const auto is = [name](const char *text, qsizetype length) {
        return std::memcmp(name, text, length) == 0;
    };
    switch (size) {
    case 4:
        if (is("Name", 4))
            return PackageInfo::Name;
        if (is("Icon", 4))
            return PackageInfo::Icon;
        break;
    case 7:
        if (is("Package", 7))
            return PackageInfo::Package;
        if (is("Version", 7))
            return PackageInfo::Version;
        break;
    case 8:
        if (is("Filename", 8))
            return PackageInfo::Filename;
        break;
    case 11:
        if (is("Description", 11))
            return PackageInfo::Description;
        break;
    case 12:
        if (is("Architecture", 12))
            return PackageInfo::Architecture;
        break;
    default:
        break;
    }
    return kOtherField;
}

// Bytes that may start a line break, as a table for the byte-at-a-time tail of the scan.
template<TextEncoding E>
constexpr std::array<bool, 256> kSeparatorStart = [] {
    std::array<bool, 256> table{};
    for (int b = 0; b < 256; ++b)
        table[size_t(b)] = linebreaks::mayStartBreak(uchar(b), E == TextEncoding::Latin1);
    return table;
}();

template<TextEncoding E> const uchar *nextSeparatorStart(const uchar *p, const uchar *end)
{
#ifdef __SSE2__
    const __m128i first = _mm_set1_epi8(0x0A);
    const __m128i span = _mm_set1_epi8(3);
    const __m128i zero = _mm_setzero_si128();
    const __m128i leadA = _mm_set1_epi8(char(E == TextEncoding::Utf8 ? 0xC2 : 0x85));
    const __m128i leadB = _mm_set1_epi8(char(E == TextEncoding::Utf8 ? 0xE2 : 0x85));
    while (end - p >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        // v - 0x0A, saturated down by 3, is zero exactly for 0x0A..0x0D (smaller bytes wrap around).
        const __m128i control = _mm_cmpeq_epi8(_mm_subs_epu8(_mm_sub_epi8(v, first), span), zero);
        const __m128i leads = _mm_or_si128(_mm_cmpeq_epi8(v, leadA), _mm_cmpeq_epi8(v, leadB));
        const int mask = _mm_movemask_epi8(_mm_or_si128(control, leads));
        if (mask != 0)
            return p + __builtin_ctz(unsigned(mask));
        p += 16;
    }
#endif
    while (p < end && !kSeparatorStart<E>[*p])
        ++p;
    return p;
}

// Finds the end of the line that starts at p; `next` receives the start of the following line.
// Without a separator the line runs to the end of the text and the function returns end.
template<TextEncoding E> const uchar *lineEnd(const uchar *p, const uchar *end, const uchar *&next)
{
    while (true) {
        p = nextSeparatorStart<E>(p, end);
        if (p == end) {
            next = end;
            return end;
        }
        if (const size_t length = linebreaks::breakLength(p, end, E == TextEncoding::Latin1)) {
            next = p + length;
            return p;
        }
        ++p;
    }
}

// Horizontal white space, the set trimmed from values: tab and the space separators (Unicode Zs:
// U+0020, U+00A0, U+1680, U+2000..U+200A, U+202F, U+205F, U+3000). Lengths are in bytes, 0 for none.
template<TextEncoding E> qsizetype spaceAtStart(const uchar *p, const uchar *end)
{
    const uchar b = *p;
    if (b == ' ' || b == '\t')
        return 1;
    if constexpr (E == TextEncoding::Latin1) {
        return b == 0xA0 ? 1 : 0;
    } else {
        const qsizetype left = end - p;
        if (b == 0xC2)
            return left >= 2 && p[1] == 0xA0 ? 2 : 0;
        if (left < 3)
            return 0;
        if ((b == 0xE1 && p[1] == 0x9A && p[2] == 0x80) || (b == 0xE3 && p[1] == 0x80 && p[2] == 0x80))
            return 3;
        if (b == 0xE2 && ((p[1] == 0x80 && (p[2] <= 0x8A || p[2] == 0xAF)) || (p[1] == 0x81 && p[2] == 0x9F)))
            return 3;
        return 0;
    }
}

template<TextEncoding E> qsizetype spaceAtEnd(const uchar *begin, const uchar *e)
{
    const uchar b = e[-1];
    if (b == ' ' || b == '\t')
        return 1;
    if constexpr (E == TextEncoding::Latin1) {
        return b == 0xA0 ? 1 : 0;
    } else {
        if (b < 0x80)
            return 0;
        const qsizetype left = e - begin;
        if (left >= 2 && e[-2] == 0xC2 && b == 0xA0)
            return 2;
        // A lead byte three back is the start of a whole character, the text being valid UTF-8.
        if (left >= 3 && spaceAtStart<E>(e - 3, e) == 3)
            return 3;
        return 0;
    }
}

template<TextEncoding E> QByteArrayView trimmed(const uchar *p, const uchar *e)
{
    while (p < e) {
        const qsizetype n = spaceAtStart<E>(p, e);
        if (n == 0)
            break;
        p += n;
    }
    while (e > p) {
        const qsizetype n = spaceAtEnd<E>(p, e);
        if (n == 0)
            break;
        e -= n;
    }
    return QByteArrayView(p, e - p);
}

// The line and stanza machine shared by parsing and counting; the sink decides what is kept.
// Sink: set(field, value begin, value end) for a field line, append(field, line begin, line end) for a
// continuation of one of the record's fields, flush() when a stanza with at least one field closes.
template<TextEncoding E, class Sink> void scan(const uchar *p, const uchar *const end, Sink &sink)
{
    int last = kNoField;
    bool open = false; // the stanza has at least one field, so closing it makes a record
    while (true) {
        const uchar *next = nullptr;
        const uchar *const e = lineEnd<E>(p, end, next);
        if (linebreaks::isBlankLine(size_t(e - p))) {
            if (open)
                sink.flush();
            open = false;
            last = kNoField;
        } else if ((*p == ' ' || *p == '\t') && last != kNoField) {
            if (last != kOtherField)
                sink.append(last, p, e);
        } else if (const void *found = std::memchr(p, ':', size_t(e - p))) {
            const auto *colon = static_cast<const uchar *>(found);
            last = fieldIndex(p, colon - p);
            if (last != kOtherField)
                sink.set(last, colon + 1, e);
            open = true;
        }
        if (e == end)
            break;
        p = next;
    }
    if (open)
        sink.flush();
}

template<TextEncoding E> class RecordSink
{
public:
    RecordSink(const QString &sourceLink, PackageList &out)
        : m_sourceLink(sourceLink)
        , m_out(out)
    {}

    void set(int field, const uchar *p, const uchar *e)
    {
        m_first[size_t(field)] = m_pieces.size();
        m_count[size_t(field)] = 1;
        m_pieces.push_back(trimmed<E>(p, e));
    }

    // Only the last field set gets continuations, so its pieces are always the last in m_pieces.
    void append(int field, const uchar *p, const uchar *e)
    {
        ++m_count[size_t(field)];
        m_pieces.push_back(trimmed<E>(p, e));
    }

    void flush()
    {
        static constexpr QByteArrayView defaultIcon("Resources/Tweaks.png");
        if (m_count[PackageInfo::Icon] == 0) {
            m_first[PackageInfo::Icon] = m_pieces.size();
            m_count[PackageInfo::Icon] = 1;
            m_pieces.push_back(defaultIcon);
        }
        if (m_count[PackageInfo::Architecture] != 0)
            keepLastArchitectureComponent();

        PackageInfo::IndexFields fields;
        for (size_t f = 0; f < fields.size(); ++f) {
            if (m_count[f] != 0)
                fields[f] = {m_pieces.data() + m_first[f], m_count[f]};
        }
        m_out.append(PackageInfo::fromIndexFields(fields, E, m_sourceLink));
        m_count.fill(0);
        m_pieces.clear();
    }

private:
    // "iphoneos-arm64" becomes "arm64"; "all" stays; a trailing "-" leaves an empty value.
    void keepLastArchitectureComponent()
    {
        const size_t first = m_first[PackageInfo::Architecture];
        for (qsizetype k = m_count[PackageInfo::Architecture] - 1; k >= 0; --k) {
            QByteArrayView &piece = m_pieces[first + size_t(k)];
            const qsizetype dash = piece.lastIndexOf('-');
            if (dash >= 0) {
                piece = piece.sliced(dash + 1);
                m_first[PackageInfo::Architecture] += size_t(k);
                m_count[PackageInfo::Architecture] -= k;
                return;
            }
        }
    }

    const QString &m_sourceLink;
    PackageList &m_out;
    std::vector<QByteArrayView> m_pieces; // values of the open stanza, reused from stanza to stanza
    std::array<size_t, PackageInfo::FieldCount> m_first{};
    std::array<qsizetype, PackageInfo::FieldCount> m_count{};
};

struct CountSink
{
    qsizetype records = 0;
    void set(int, const uchar *, const uchar *) {}
    void append(int, const uchar *, const uchar *) {}
    void flush() { ++records; }
};

template<class Sink> void scanText(IndexText text, Sink &sink)
{
    const auto *begin = reinterpret_cast<const uchar *>(text.bytes.data());
    const uchar *end = begin + text.bytes.size();
    if (text.encoding == TextEncoding::Utf8)
        scan<TextEncoding::Utf8>(begin, end, sink);
    else
        scan<TextEncoding::Latin1>(begin, end, sink);
}

bool withinLimit(IndexText text)
{
    if (text.bytes.size() <= kMaxIndexBytes)
        return true;
    qCWarning(lcIndex) << "index of" << text.bytes.size() << "bytes is over the limit, not parsed";
    return false;
}

} // namespace

PackageList parsePackages(IndexText text, const QString &sourceLink)
{
    PackageList records;
    if (!withinLimit(text))
        return records;
    if (text.encoding == TextEncoding::Utf8) {
        RecordSink<TextEncoding::Utf8> sink(sourceLink, records);
        scanText(text, sink);
    } else {
        RecordSink<TextEncoding::Latin1> sink(sourceLink, records);
        scanText(text, sink);
    }
    return records;
}

qsizetype countPackages(IndexText text)
{
    CountSink sink;
    if (withinLimit(text))
        scanText(text, sink);
    return sink.records;
}

PackageList parsePackagesData(QByteArrayView bytes, const QString &sourceLink)
{
    return parsePackages(decodeIndexBytes(bytes), sourceLink);
}

PackageList parsePackagesFile(QStringView content, const QString &sourceLink)
{
    const QByteArray utf8 = content.toUtf8();
    return parsePackages(IndexText{utf8, TextEncoding::Utf8}, sourceLink);
}
