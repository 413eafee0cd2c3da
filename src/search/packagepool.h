// All loaded packages, one shared block per source in the order the loads finished, plus row
// selections over it. Appending a source copies block pointers, never packages; a block may come
// with the search index its loader already built for it.
// A value; built and changed on the main thread, read by the search worker through copies.
#pragma once

#include "index/packageinfo.h"

#include <QList>

#include <memory>
#include <vector>

class SearchIndex;

class PackagePool
{
public:
    using Block = std::shared_ptr<const PackageList>;
    using Index = std::shared_ptr<const SearchIndex>;

    // `index`, when given, must have been built from exactly these packages.
    void append(PackageList packages, Index index = {});
    void clear();

    [[nodiscard]] qsizetype size() const { return m_size; }
    [[nodiscard]] bool isEmpty() const { return m_size == 0; }
    [[nodiscard]] const QList<Block> &blocks() const { return m_blocks; }
    // One per block; null where the block came without one.
    [[nodiscard]] const QList<Index> &indexes() const { return m_indexes; }
    // Position of the first row of each block, plus the total at the end.
    [[nodiscard]] const std::vector<qsizetype> &offsets() const { return m_offsets; }
    [[nodiscard]] const PackageInfo &at(qsizetype row) const;
    [[nodiscard]] PackageList toList() const;

    // Same blocks in the same order: what the filter saw is still what is shown.
    friend bool operator==(const PackagePool &a, const PackagePool &b) { return a.m_blocks == b.m_blocks; }

private:
    QList<Block> m_blocks;
    QList<Index> m_indexes;
    std::vector<qsizetype> m_offsets{0};
    qsizetype m_size = 0;
};

// Some rows of a pool, in pool order: the filter's result, without copying a single package.
class PackageSelection
{
public:
    PackageSelection() = default;
    PackageSelection(PackagePool pool, std::vector<qsizetype> rows);

    [[nodiscard]] qsizetype size() const { return qsizetype(m_rows->size()); }
    [[nodiscard]] bool isEmpty() const { return m_rows->empty(); }
    [[nodiscard]] const PackageInfo &at(qsizetype i) const { return m_pool.at((*m_rows)[size_t(i)]); }
    [[nodiscard]] const std::vector<qsizetype> &rows() const { return *m_rows; }
    [[nodiscard]] const PackagePool &pool() const { return m_pool; }
    [[nodiscard]] PackageList toList() const;

private:
    PackagePool m_pool;
    std::shared_ptr<const std::vector<qsizetype>> m_rows = std::make_shared<const std::vector<qsizetype>>();
};

Q_DECLARE_METATYPE(PackagePool)
Q_DECLARE_METATYPE(PackageSelection)
