#include "search/searchindex.h"

#include <QHash>
#include <QStringMatcher>

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

} // namespace

SearchIndex::SearchIndex(const PackageList &packages)
{
    m_archCodes.reserve(size_t(packages.size()));
    m_starts.reserve(size_t(packages.size()) + 1);
    m_separators.reserve(size_t(packages.size()));
    QHash<QString, std::int32_t> codes;
    for (const PackageInfo &package : packages) {
        m_starts.push_back(m_text.size());
        appendLowered(m_text, package.view(PackageInfo::Name));
        m_separators.push_back(m_text.size());
        m_text += kBetween;
        appendLowered(m_text, package.view(PackageInfo::Package));
        m_text += kEnd;

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
    m_starts.push_back(m_text.size());
}

void SearchIndex::markTextMatches(const QString &loweredText, std::vector<std::uint8_t> &keep) const
{
    const qsizetype rows = size();
    if (loweredText.contains(kEnd) || loweredText.contains(kBetween)) {
        // The separators themselves are searched for: compare field by field so that no match
        // spans a name and an identifier, or two rows.
        for (qsizetype row = 0; row < rows; ++row) {
            if (rowMatches(row, loweredText))
                keep[size_t(row)] = 1;
        }
        return;
    }

    // One letter is the common first keystroke; a plain character scan beats the matcher there.
    const QStringMatcher matcher(loweredText);
    const bool single = loweredText.size() == 1;
    const auto next = [&](qsizetype from) {
        return single ? QStringView(m_text).indexOf(loweredText.front(), from)
                      : matcher.indexIn(m_text, from);
    };
    qsizetype row = 0;
    for (qsizetype at = next(0); at >= 0; at = next(m_starts[size_t(row) + 1])) {
        while (m_starts[size_t(row) + 1] <= at)
            ++row;
        keep[size_t(row)] = 1;
    }
}

bool SearchIndex::rowMatches(qsizetype row, const QString &loweredText) const
{
    const QStringView text(m_text);
    const qsizetype start = m_starts[size_t(row)];
    const qsizetype between = m_separators[size_t(row)];
    const qsizetype end = m_starts[size_t(row) + 1] - 1;
    return text.sliced(start, between - start).contains(loweredText) ||
           text.sliced(between + 1, end - between - 1).contains(loweredText);
}

void SearchIndex::dropOtherArchitectures(const QString &architecture, std::vector<std::uint8_t> &keep) const
{
    const auto wanted = std::int32_t(m_architectures.indexOf(architecture.toLower()));
    for (size_t row = 0; row < m_archCodes.size(); ++row) {
        if (m_archCodes[row] < 0 || m_archCodes[row] != wanted)
            keep[row] = 0;
    }
}
