// The package filter: which packages of the pool the "All Packages" list shows for a search text,
// an architecture and a selection mode.
// Pure functions on values, plus a per-worker cache; runs on the search worker.
#pragma once

#include "search/packagepool.h"
#include "search/searchindex.h"

#include <QString>

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

struct PackageQuery
{
    QString text; // already trimmed; empty means no text filter
    std::optional<QString> architecture;
    bool packagesMode = false; // only the "All Packages" mode lists packages

    friend bool operator==(const PackageQuery &, const PackageQuery &) = default;
};

// Keeps each block's SearchIndex for as long as the block is in the pool, so a keystroke only
// scans. A block whose loader built its index is never indexed here; any other is indexed once.
class SearchIndexCache
{
public:
    [[nodiscard]] std::shared_ptr<const SearchIndex> indexFor(const PackagePool::Block &block,
                                                              const PackagePool::Index &prebuilt = {});
    // Forgets blocks that left the pool.
    void keepOnly(const PackagePool &pool);

private:
    struct Entry
    {
        std::weak_ptr<const PackageList> block;
        std::shared_ptr<const SearchIndex> index;
    };
    std::unordered_map<const PackageList *, Entry> m_entries;
};

// Rows of the pool that pass, in pool order. A text matches a package whose lower-cased name,
// or else identifier, contains the lower-cased text as one piece; an architecture other than
// absent, empty or "all" keeps only packages of exactly that architecture, ignoring case.
[[nodiscard]] std::vector<qsizetype> filterPackageRows(const PackagePool &pool, const PackageQuery &query,
                                                       SearchIndexCache &cache);

// A result and what it was filtered from, so that the next filter can start from it.
struct FilterResult
{
    PackageQuery query;
    std::optional<PackageSelection> selection; // none before the first filter
};

// The same rows as filterPackageRows(), computed from the previous result where that is enough: with the
// same query over a pool that only grew, only the new blocks are filtered; with a text that contains the
// previous one over the same pool, only the rows the previous text kept are looked at again.
[[nodiscard]] std::vector<qsizetype> refilterPackageRows(const FilterResult &previous,
                                                         const PackagePool &pool, const PackageQuery &query,
                                                         SearchIndexCache &cache);

// The same for a plain list, for callers without a pool.
[[nodiscard]] PackageList filterPackages(const PackageList &packages, const PackageQuery &query);
