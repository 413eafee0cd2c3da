#include "search/searchindex.h"

#include <QHash>
#include <QStringMatcher>

#include <algorithm>
#include <bit>
#include <cstring>

#include <emmintrin.h>

namespace {

constexpr QChar kBetween(u'\x01');
constexpr QChar kEnd(u'\0');

// ASCII is lowered in place; anything else takes Qt's full case mapping.
void appendLowered(QString &out, const std::optional<QStringView> &value)
{
    if (!value)
        return;
    const bool ascii = std::all_of(value->begin(), value->end(), [](QChar c) { return c.unicode() < 0x80; });
    if (!ascii) {
        out += value->toString().toLower();
        return;
    }
    const qsizetype at = out.size();
    out.resize(at + value->size());
    QChar *lowered = out.data() + at;
    for (const QChar c : *value)
        *lowered++ = (c >= u'A' && c <= u'Z') ? QChar(c.unicode() + 32) : c;
}

// Which of 64 classes a lower-cased Latin-1 character falls in: the characters identifiers and names
// are mostly made of have a class of their own, so a row's classes say exactly whether it holds one;
// the rest share classes, and a row of theirs is checked character by character.
constexpr int kExactClasses = 41;

int characterClass(unsigned char c)
{
    if (c >= 'a' && c <= 'z')
        return c - 'a';
    if (c >= '0' && c <= '9')
        return 26 + (c - '0');
    switch (c) {
    case '.':
        return 36;
    case '-':
        return 37;
    case ' ':
        return 38;
    case '_':
        return 39;
    case '+':
        return 40;
    default:
        return kExactClasses + c % (64 - kExactClasses);
    }
}

} // namespace

SearchIndex::Needle::Needle(const QString &loweredText)
    : m_text(loweredText)
    , m_fitsLatin1(
          std::all_of(loweredText.cbegin(), loweredText.cend(), [](QChar c) { return c.unicode() < 0x100; }))
    , m_hasSeparator(loweredText.contains(kEnd) || loweredText.contains(kBetween))
{
    if (m_fitsLatin1)
        m_latin1 = loweredText.toLatin1();
}

SearchIndex::SearchIndex(const PackageList &packages)
{
    m_archCodes.reserve(size_t(packages.size()));
    m_starts.reserve(size_t(packages.size()) + 1);
    m_separators.reserve(size_t(packages.size()));
    QHash<QString, std::int32_t> codes;
    for (const PackageInfo &package : packages) {
        m_starts.push_back(m_wide.size());
        appendLowered(m_wide, package.view(PackageInfo::Name));
        m_separators.push_back(m_wide.size());
        m_wide += kBetween;
        appendLowered(m_wide, package.view(PackageInfo::Package));
        m_wide += kEnd;

        const std::optional<QStringView> architecture = package.view(PackageInfo::Architecture);
        if (!architecture) {
            m_archCodes.push_back(-1);
            continue;
        }
        const QString lowered = architecture->toString().toLower();
        auto code = codes.constFind(lowered);
        if (code == codes.cend()) {
            code = codes.insert(lowered, std::int32_t(m_architectures.size()));
            m_architectures.append(lowered);
        }
        m_archCodes.push_back(*code);
    }
    m_starts.push_back(m_wide.size());

    m_isWide = !std::all_of(m_wide.cbegin(), m_wide.cend(), [](QChar c) { return c.unicode() < 0x100; });
    if (m_isWide)
        return;
    m_latin1 = m_wide.toLatin1();
    m_wide = QString();
    m_classes.assign(m_archCodes.size(), 0);
    for (size_t row = 0; row < m_classes.size(); ++row) {
        std::uint64_t classes = 0;
        for (qsizetype at = m_starts[row]; at < m_starts[row + 1] - 1; ++at) {
            if (at != m_separators[row])
                classes |= std::uint64_t(1) << characterClass(uchar(m_latin1[at]));
        }
        m_classes[row] = classes;
    }
}

void SearchIndex::markTextMatches(const Needle &needle, std::vector<std::uint8_t> &keep) const
{
    if (needle.m_hasSeparator) {
        // The separators themselves are searched for: compare field by field so that no match
        // spans a name and an identifier, or two rows.
        for (qsizetype row = 0; row < size(); ++row) {
            if (rowMatches(row, needle))
                keep[size_t(row)] = 1;
        }
        return;
    }
    if (m_isWide)
        return markWide(needle, keep);
    if (!needle.m_fitsLatin1)
        return; // a character no row of this block holds
    if (needle.m_latin1.size() == 1)
        return markOneCharacter(needle.m_latin1.front(), keep);
    markLatin1(needle.m_latin1, keep);
}

void SearchIndex::markWide(const Needle &needle, std::vector<std::uint8_t> &keep) const
{
    // One letter is the common first keystroke; a plain character scan beats the matcher there.
    const QString &text = needle.text();
    const QStringMatcher matcher(text);
    const bool single = text.size() == 1;
    const auto next = [&](qsizetype from) {
        return single ? QStringView(m_wide).indexOf(text.front(), from) : matcher.indexIn(m_wide, from);
    };
    qsizetype row = 0;
    for (qsizetype at = next(0); at >= 0; at = next(m_starts[size_t(row) + 1])) {
        while (m_starts[size_t(row) + 1] <= at)
            ++row;
        keep[size_t(row)] = 1;
    }
}

void SearchIndex::markOneCharacter(char c, std::vector<std::uint8_t> &keep) const
{
    const int cls = characterClass(uchar(c));
    const std::uint64_t bit = std::uint64_t(1) << cls;
    const char *text = m_latin1.constData();
    for (size_t row = 0; row < m_classes.size(); ++row) {
        if (!(m_classes[row] & bit))
            continue;
        // A shared class only says the row may hold the character; the separators never count.
        if (cls < kExactClasses ||
            std::memchr(text + m_starts[row], c, size_t(m_starts[row + 1] - 1 - m_starts[row])) != nullptr)
            keep[row] = 1;
    }
}

void SearchIndex::markLatin1(const QByteArray &needle, std::vector<std::uint8_t> &keep) const
{
    // Sixteen candidate starts at a time: those whose first and last characters both match the
    // needle's, each then compared in full (the "generic SIMD" substring search). Needles hold no
    // separator, so no match spans two fields or two rows; after a match the scan goes on at the next
    // row, which is all the filter needs to know of this one.
    const char *text = m_latin1.constData();
    const qsizetype k = needle.size();
    const qsizetype starts = m_latin1.size() - k + 1; // candidate starts are below this
    if (starts <= 0)
        return;
    const char *rest = needle.constData() + 1;
    const auto restLength = size_t(k - 2);
    const __m128i first = _mm_set1_epi8(needle.front());
    const __m128i last = _mm_set1_epi8(needle.back());
    size_t row = 0;
    // Marks the row a match at `at` is in and gives where the scan goes on.
    const auto matched = [&](qsizetype at) {
        while (m_starts[row + 1] <= at)
            ++row;
        keep[row] = 1;
        return m_starts[row + 1];
    };
    qsizetype i = 0;
    while (i + 16 <= starts) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i + k - 1));
        auto mask =
            unsigned(_mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(a, first), _mm_cmpeq_epi8(b, last))));
        qsizetype next = i + 16;
        while (mask != 0) {
            const qsizetype at = i + std::countr_zero(mask);
            if (std::memcmp(text + at + 1, rest, restLength) == 0) {
                next = matched(at);
                break;
            }
            mask &= mask - 1;
        }
        i = next;
    }
    for (; i < starts; ++i) {
        if (text[i] == needle.front() && std::memcmp(text + i + 1, rest, size_t(k - 1)) == 0)
            i = matched(i) - 1;
    }
}

bool SearchIndex::rowMatches(qsizetype row, const Needle &needle) const
{
    const qsizetype start = m_starts[size_t(row)];
    const qsizetype between = m_separators[size_t(row)];
    const qsizetype end = m_starts[size_t(row) + 1] - 1;
    if (m_isWide) {
        const QStringView text(m_wide);
        return text.sliced(start, between - start).contains(needle.text()) ||
               text.sliced(between + 1, end - between - 1).contains(needle.text());
    }
    if (!needle.m_fitsLatin1)
        return false;
    const QByteArrayView text(m_latin1);
    return text.sliced(start, between - start).contains(needle.m_latin1) ||
           text.sliced(between + 1, end - between - 1).contains(needle.m_latin1);
}

void SearchIndex::dropOtherArchitectures(const QString &architecture, std::vector<std::uint8_t> &keep) const
{
    const auto wanted = std::int32_t(m_architectures.indexOf(architecture.toLower()));
    for (size_t row = 0; row < m_archCodes.size(); ++row) {
        if (m_archCodes[row] < 0 || m_archCodes[row] != wanted)
            keep[row] = 0;
    }
}
