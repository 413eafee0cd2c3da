#include "search/packagefilter.h"

std::shared_ptr<const SearchIndex> SearchIndexCache::indexFor(const PackagePool::Block &block,
                                                              const PackagePool::Index &prebuilt)
{
    Entry &entry = m_entries[block.get()];
    // A freed block's address can come back for another block; the weak pointer tells them apart.
    if (!entry.index || entry.block.lock() != block) {
        Q_ASSERT(!prebuilt || prebuilt->size() == block->size());
        entry.block = block;
        entry.index = prebuilt ? prebuilt : std::make_shared<const SearchIndex>(*block);
    }
    return entry.index;
}

void SearchIndexCache::keepOnly(const PackagePool &pool)
{
    std::unordered_map<const PackageList *, Entry> kept;
    for (const PackagePool::Block &block : pool.blocks()) {
        const auto found = m_entries.find(block.get());
        if (found != m_entries.end() && found->second.block.lock() == block)
            kept.insert(*found);
    }
    m_entries.swap(kept);
}

std::vector<qsizetype> filterPackageRows(const PackagePool &pool, const PackageQuery &query,
                                         SearchIndexCache &cache)
{
    std::vector<qsizetype> rows;
    if (!query.packagesMode)
        return rows;

    const QString text = query.text.toLower();
    const bool byArchitecture = query.architecture && !query.architecture->isEmpty() &&
                                query.architecture->toLower() != QLatin1String("all");
    std::vector<std::uint8_t> keep;
    for (qsizetype b = 0; b < pool.blocks().size(); ++b) {
        const PackagePool::Block &block = pool.blocks().at(b);
        const qsizetype first = pool.offsets()[size_t(b)];
        if (text.isEmpty() && !byArchitecture) {
            for (qsizetype row = 0; row < block->size(); ++row)
                rows.push_back(first + row);
            continue;
        }
        const std::shared_ptr<const SearchIndex> index = cache.indexFor(block, pool.indexes().at(b));
        keep.assign(size_t(block->size()), text.isEmpty() ? 1 : 0);
        if (!text.isEmpty())
            index->markTextMatches(text, keep);
        if (byArchitecture)
            index->dropOtherArchitectures(*query.architecture, keep);
        for (size_t row = 0; row < keep.size(); ++row) {
            if (keep[row])
                rows.push_back(first + qsizetype(row));
        }
    }
    return rows;
}

PackageList filterPackages(const PackageList &packages, const PackageQuery &query)
{
    PackagePool pool;
    pool.append(packages);
    SearchIndexCache cache;
    return PackageSelection(pool, filterPackageRows(pool, query, cache)).toList();
}
