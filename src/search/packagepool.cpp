#include "search/packagepool.h"

#include <algorithm>

void PackagePool::append(PackageList packages, Index index)
{
    if (packages.isEmpty())
        return;
    m_size += packages.size();
    m_blocks.append(std::make_shared<const PackageList>(std::move(packages)));
    m_indexes.append(std::move(index));
    m_offsets.push_back(m_size);
}

void PackagePool::clear()
{
    m_blocks.clear();
    m_indexes.clear();
    m_offsets.assign(1, 0);
    m_size = 0;
}

const PackageInfo &PackagePool::at(qsizetype row) const
{
    Q_ASSERT(row >= 0 && row < m_size);
    const auto next = std::upper_bound(m_offsets.cbegin(), m_offsets.cend(), row);
    const auto block = size_t(next - m_offsets.cbegin() - 1);
    return m_blocks.at(qsizetype(block))->at(row - m_offsets[block]);
}

PackageList PackagePool::toList() const
{
    PackageList list;
    list.reserve(m_size);
    for (const Block &block : m_blocks)
        list.append(*block);
    return list;
}

PackageSelection::PackageSelection(PackagePool pool, std::vector<qsizetype> rows)
    : m_pool(std::move(pool))
    , m_rows(std::make_shared<const std::vector<qsizetype>>(std::move(rows)))
{}

PackageList PackageSelection::toList() const
{
    PackageList list;
    list.reserve(size());
    for (const qsizetype row : *m_rows)
        list.append(m_pool.at(row));
    return list;
}
