// What the package filter compares, prepared once per source block: lower-cased names and
// identifiers laid end to end so one substring scan covers a whole block, architectures as codes.
// Immutable once built; built and used on the search worker.
#pragma once

#include "index/packageinfo.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

class SearchIndex
{
public:
    explicit SearchIndex(const PackageList &packages);

    [[nodiscard]] qsizetype size() const { return qsizetype(m_archCodes.size()); }

    // Sets keep[row] for each row whose name, or else identifier, contains the text, which must
    // already be lower-cased and non-empty. Rows with keep[row] already set are left alone.
    void markTextMatches(const QString &loweredText, std::vector<std::uint8_t> &keep) const;

    // Whether one row's name, or else identifier, contains the text (lower-cased, non-empty).
    [[nodiscard]] bool rowMatches(qsizetype row, const QString &loweredText) const;

    // Sets keep[row] to 0 for each row whose architecture is absent or differs, ignoring case.
    void dropOtherArchitectures(const QString &architecture, std::vector<std::uint8_t> &keep) const;

private:
    // Each row is its lower-cased name, U+0001, its lower-cased identifier, then U+0000, so one scan
    // covers a whole block and a hit tells its row by position.
    QString m_text;
    std::vector<qsizetype> m_starts;       // where each row begins, plus the end
    std::vector<qsizetype> m_separators;   // where each row's U+0001 stands
    QStringList m_architectures;           // distinct lower-cased values
    std::vector<std::int32_t> m_archCodes; // index into m_architectures, -1 when absent
};
