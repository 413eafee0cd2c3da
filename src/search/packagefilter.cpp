#include "search/packagefilter.h"

#include <algorithm>

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

namespace {

struct PreparedQuery
{
    std::optional<SearchIndex::Needle> needle; // the lower-cased text; none when it is empty
    bool byArchitecture = false;
};

PreparedQuery prepare(const PackageQuery &query)
{
    PreparedQuery prepared{std::nullopt, query.architecture && !query.architecture->isEmpty() &&
                                             query.architecture->toLower() != QLatin1String("all")};
    if (!query.text.isEmpty())
        prepared.needle.emplace(query.text.toLower());
    return prepared;
}

// Appends the passing rows of blocks [from, pool's end).
void filterBlocks(const PackagePool &pool, qsizetype from, const PackageQuery &query,
                  const PreparedQuery &prepared, SearchIndexCache &cache, std::vector<qsizetype> &rows)
{
    std::vector<std::uint8_t> keep;
    for (qsizetype b = from; b < pool.blocks().size(); ++b) {
        const PackagePool::Block &block = pool.blocks().at(b);
        const qsizetype first = pool.offsets()[size_t(b)];
        if (!prepared.needle && !prepared.byArchitecture) {
            for (qsizetype row = 0; row < block->size(); ++row)
                rows.push_back(first + row);
            continue;
        }
        const std::shared_ptr<const SearchIndex> index = cache.indexFor(block, pool.indexes().at(b));
        keep.assign(size_t(block->size()), prepared.needle ? 0 : 1);
        if (prepared.needle)
            index->markTextMatches(*prepared.needle, keep);
        if (prepared.byArchitecture)
            index->dropOtherArchitectures(*query.architecture, keep);
        for (size_t row = 0; row < keep.size(); ++row) {
            if (keep[row])
                rows.push_back(first + qsizetype(row));
        }
    }
}

// The pool's first blocks are exactly the earlier pool's.
bool extends(const PackagePool &pool, const PackagePool &earlier)
{
    const QList<PackagePool::Block> &blocks = pool.blocks();
    const QList<PackagePool::Block> &before = earlier.blocks();
    return blocks.size() >= before.size() && std::equal(before.cbegin(), before.cend(), blocks.cbegin());
}

} // namespace

std::vector<qsizetype> filterPackageRows(const PackagePool &pool, const PackageQuery &query,
                                         SearchIndexCache &cache)
{
    std::vector<qsizetype> rows;
    if (query.packagesMode)
        filterBlocks(pool, 0, query, prepare(query), cache, rows);
    return rows;
}

std::vector<qsizetype> refilterPackageRows(const FilterResult &previous, const PackagePool &pool,
                                           const PackageQuery &query, SearchIndexCache &cache)
{
    if (!query.packagesMode || !previous.selection || !previous.query.packagesMode)
        return filterPackageRows(pool, query, cache);
    const PreparedQuery prepared = prepare(query);
    const PackagePool &before = previous.selection->pool();
    const std::vector<qsizetype> &kept = previous.selection->rows();

    if (query == previous.query && extends(pool, before)) {
        std::vector<qsizetype> rows = kept;
        filterBlocks(pool, before.blocks().size(), query, prepared, cache, rows);
        return rows;
    }

    const QString earlierText = previous.query.text.toLower();
    // Looking at one row costs about as much as scanning twenty in a block: a shorter text that kept
    // many rows is cheaper to forget.
    if (pool == before && query.architecture == previous.query.architecture && !earlierText.isEmpty() &&
        prepared.needle && prepared.needle->text().contains(earlierText) &&
        qsizetype(kept.size()) * 16 <= pool.size()) {
        // Whatever contains the new text contains the old one: only the rows it kept can pass.
        std::vector<qsizetype> rows;
        qsizetype block = 0;
        std::shared_ptr<const SearchIndex> index;
        for (const qsizetype row : kept) {
            bool changed = false;
            while (pool.offsets()[size_t(block) + 1] <= row) {
                ++block;
                changed = true;
            }
            if (changed || !index)
                index = cache.indexFor(pool.blocks().at(block), pool.indexes().at(block));
            if (index->rowMatches(row - pool.offsets()[size_t(block)], *prepared.needle))
                rows.push_back(row);
        }
        return rows;
    }
    return filterPackageRows(pool, query, cache);
}

PackageList filterPackages(const PackageList &packages, const PackageQuery &query)
{
    PackagePool pool;
    pool.append(packages);
    SearchIndexCache cache;
    return PackageSelection(pool, filterPackageRows(pool, query, cache)).toList();
}
