// What the package filter compares, prepared once per source block: lower-cased names and
// identifiers laid end to end so one substring scan covers a whole block, architectures as codes.
// Immutable once built; built and used on the search worker.
#pragma once

#include "index/packageinfo.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

class SearchIndex
{
public:
    // A search text made ready once for every block and row it is compared with.
    class Needle
    {
    public:
        // The text must already be lower-cased and non-empty.
        explicit Needle(const QString &loweredText);

        [[nodiscard]] const QString &text() const { return m_text; }

    private:
        friend class SearchIndex;
        QString m_text;
        QByteArray m_latin1; // the same text a byte a character, when it fits
        bool m_fitsLatin1 = false;
        bool m_hasSeparator = false; // holds U+0000 or U+0001, which the index uses between fields
    };

    explicit SearchIndex(const PackageList &packages);

    [[nodiscard]] qsizetype size() const { return qsizetype(m_archCodes.size()); }

    // Sets keep[row] for each row whose name, or else identifier, contains the text. Rows with
    // keep[row] already set are left alone.
    void markTextMatches(const Needle &needle, std::vector<std::uint8_t> &keep) const;

    // Whether one row's name, or else identifier, contains the text.
    [[nodiscard]] bool rowMatches(qsizetype row, const Needle &needle) const;

    // Sets keep[row] to 0 for each row whose architecture is absent or differs, ignoring case.
    void dropOtherArchitectures(const QString &architecture, std::vector<std::uint8_t> &keep) const;

private:
    void markWide(const Needle &needle, std::vector<std::uint8_t> &keep) const;
    void markOneCharacter(char c, std::vector<std::uint8_t> &keep) const;
    void markLatin1(const QByteArray &needle, std::vector<std::uint8_t> &keep) const;

    // Each row is its lower-cased name, U+0001, its lower-cased identifier, then U+0000, so one scan
    // covers a whole block and a hit tells its row by position. Held a byte a character when every
    // character of the block fits Latin-1, as nearly every source's do: half the memory, and a scan
    // that compares sixteen characters at a time. Otherwise as UTF-16, in m_wide.
    QByteArray m_latin1;
    QString m_wide;
    bool m_isWide = false;
    std::vector<qsizetype> m_starts;       // where each row begins, plus the end
    std::vector<qsizetype> m_separators;   // where each row's U+0001 stands
    std::vector<std::uint64_t> m_classes;  // Latin-1 rows: which character classes occur, a bit each
    QStringList m_architectures;           // distinct lower-cased values
    std::vector<std::int32_t> m_archCodes; // index into m_architectures, -1 when absent
};
