#include "search/searchindex.h"

#include <QHash>
#include <QStringMatcher>

SearchIndex::SearchIndex(const PackageList &packages)
{
    m_archCodes.reserve(size_t(packages.size()));
    m_names.starts.reserve(size_t(packages.size()) + 1);
    m_ids.starts.reserve(size_t(packages.size()) + 1);
    QHash<QString, std::int32_t> codes;
    for (const PackageInfo &package : packages) {
        append(m_names, package.name());
        append(m_ids, package.package());
        const std::optional<QString> architecture = package.architecture();
        if (!architecture) {
            m_archCodes.push_back(-1);
            continue;
        }
        const QString lowered = architecture->toLower();
        auto code = codes.constFind(lowered);
        if (code == codes.cend()) {
            code = codes.insert(lowered, std::int32_t(m_architectures.size()));
            m_architectures.append(lowered);
        }
        m_archCodes.push_back(*code);
    }
    m_names.starts.push_back(m_names.text.size());
    m_ids.starts.push_back(m_ids.text.size());
}

void SearchIndex::append(Column &column, const std::optional<QString> &value)
{
    column.starts.push_back(column.text.size());
    if (value)
        column.text += value->toLower();
    column.text += QChar(u'\0');
}

void SearchIndex::markTextMatches(const QString &loweredText, std::vector<std::uint8_t> &keep) const
{
    markMatches(m_names, loweredText, keep);
    markMatches(m_ids, loweredText, keep);
}

void SearchIndex::markMatches(const Column &column, const QString &loweredText,
                              std::vector<std::uint8_t> &keep)
{
    const qsizetype rows = qsizetype(column.starts.size()) - 1;
    if (loweredText.contains(QChar(u'\0'))) {
        // The separator itself is searched for: compare row by row so no match spans two rows.
        for (qsizetype row = 0; row < rows; ++row) {
            const QStringView value =
                QStringView(column.text)
                    .sliced(column.starts[size_t(row)],
                            column.starts[size_t(row) + 1] - column.starts[size_t(row)] - 1);
            if (!keep[size_t(row)] && value.contains(loweredText))
                keep[size_t(row)] = 1;
        }
        return;
    }
    const QStringMatcher matcher(loweredText);
    qsizetype row = 0;
    for (qsizetype at = matcher.indexIn(column.text, 0); at >= 0 && row < rows;) {
        while (column.starts[size_t(row) + 1] <= at)
            ++row;
        keep[size_t(row)] = 1;
        at = matcher.indexIn(column.text, column.starts[size_t(row) + 1]);
    }
}

void SearchIndex::dropOtherArchitectures(const QString &architecture, std::vector<std::uint8_t> &keep) const
{
    const auto wanted = std::int32_t(m_architectures.indexOf(architecture.toLower()));
    for (size_t row = 0; row < m_archCodes.size(); ++row) {
        if (m_archCodes[row] < 0 || m_archCodes[row] != wanted)
            keep[row] = 0;
    }
}
