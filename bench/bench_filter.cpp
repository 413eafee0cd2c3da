// Speed of the "All Packages" filter step over a pool of about 200,000 packages in 144 source blocks,
// per keystroke: warm (the worker's SearchIndexCache already holds every block, as while typing) and
// cold (every block indexed first, as after a reload), for typical texts with and without an
// architecture. Beside them: the naive scan that lower-cases every record per keystroke, the
// filter re-run after each of the 144 appends of a load (from scratch, and as the pipeline does it,
// from the previous result), and a keystroke that extends the text. Last, one source's package screen over
// 50,000 of those packages, with its own filter (no index: one scan per change).
// The pool is synthetic unless TALLOWPINE_BENCH_REPOS names a tree made by bench/make-repos; then it
// is parsed from that tree's plain indexes. Registrations only; main() is in bench_index.cpp.
#include "index/packageinfo.h"
#include "index/packagesparser.h"
#include "search/packagefilter.h"
#include "search/packagepool.h"
#include "search/sourcepackagefilter.h"

#include <QDir>
#include <QFile>

#include <benchmark/benchmark.h>

#include <numeric>
#include <random>

namespace {

// A few huge sources, some medium, a long tail of small ones, like the catalogue's.
std::vector<int> blockSizes(std::mt19937 &rng)
{
    std::vector<int> sizes{38000, 26000, 20000, 7000, 6500, 6400, 6200, 6000, 5700, 5600, 4500};
    std::lognormal_distribution<double> tail(0.0, 1.1);
    std::vector<double> weights(133);
    double sum = 0;
    for (double &w : weights)
        sum += (w = tail(rng));
    const int rest = 200000 - std::accumulate(sizes.begin(), sizes.end(), 0);
    for (double w : weights)
        sizes.push_back(std::max(3, int(w / sum * rest)));
    return sizes;
}

PackagePool syntheticPool()
{
    static const char *const parts[] = {"Snow",   "Board", "Lock",   "Glyph",   "Dock",  "Flex",  "Cylinder",
                                        "Noctis", "Prysm", "Velvet", "Aura",    "Atria", "Cask",  "Nine",
                                        "Zen",    "Nitro", "Pro",    "Lite",    "Plus",  "Kit",   "Helper",
                                        "Bar",    "Pad",   "Hue",    "Eclipse", "Frost", "Lumos", "Orion",
                                        "Nova",   "Pixel", "Rune",   "Shade",   "Tint",  "Vibe",  "Wave",
                                        "Zeta",   "Echo",  "Flux",   "Halo",    "Iris",  "Jolt",  "Mira"};
    static const char *const vendors[] = {"com", "com", "com", "com", "me", "org", "xyz", "io", "net", "dev"};
    static const char *const arches[] = {"arm64", "arm64", "arm64", "arm64e", "arm", "arm"};
    std::mt19937 rng(20261123);
    auto pick = [&](auto &array) { return array[rng() % std::size(array)]; };
    PackagePool pool;
    int serial = 0;
    for (int size : blockSizes(rng)) {
        const QString link = QStringLiteral("https://repo%1.example.org/").arg(serial);
        PackageList block;
        block.reserve(size);
        for (int i = 0; i < size; ++i, ++serial) {
            const QString base =
                QString::fromLatin1(pick(parts)) + (rng() % 2 ? QString::fromLatin1(pick(parts)) : QString());
            const QString author = QString::fromLatin1(pick(parts)).toLower() + QString::number(rng() % 400);
            const QString id = QStringLiteral("%1.%2.%3%4")
                                   .arg(QLatin1String(pick(vendors)), author, base.toLower())
                                   .arg(serial);
            block.append(PackageInfo(id, base, QStringLiteral("1.%1").arg(rng() % 20),
                                     QStringLiteral("A tweak for the lock screen and the dock."),
                                     QStringLiteral("debs/%1.deb").arg(id), std::nullopt,
                                     QString::fromLatin1(pick(arches)), link));
        }
        pool.append(std::move(block));
    }
    return pool;
}

// Every source of a bench/make-repos tree that has an index, parsed as the app parses it.
PackagePool poolFromTree(const QString &root)
{
    PackagePool pool;
    const QDir apt(root + QStringLiteral("/apt"));
    for (const QString &name : apt.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        QFile file(apt.filePath(name + QStringLiteral("/Packages")));
        if (file.open(QIODevice::ReadOnly))
            pool.append(
                parsePackagesData(file.readAll(), QStringLiteral("https://127.0.0.1/app/%1/").arg(name)));
    }
    return pool;
}

const PackagePool &pool()
{
    static const PackagePool pool = [] {
        const QString tree = qEnvironmentVariable("TALLOWPINE_BENCH_REPOS");
        return tree.isEmpty() ? syntheticPool() : poolFromTree(tree);
    }();
    return pool;
}

PackageQuery query(const char *text, const char *architecture)
{
    return PackageQuery{QString::fromUtf8(text),
                        architecture ? std::optional(QString::fromUtf8(architecture)) : std::nullopt, true};
}

void reportRows(benchmark::State &state, size_t rows)
{
    state.counters["rows"] = double(rows);
    state.counters["pool"] = double(pool().size());
}

// One keystroke on the search worker: every block's index is already in the cache.
void BM_FilterWarm(benchmark::State &state, const char *text, const char *architecture)
{
    const PackageQuery q = query(text, architecture);
    SearchIndexCache cache;
    size_t rows = filterPackageRows(pool(), q, cache).size();
    for (auto _ : state) {
        const std::vector<qsizetype> kept = filterPackageRows(pool(), q, cache);
        rows = kept.size();
        benchmark::DoNotOptimize(kept.data());
    }
    reportRows(state, rows);
}

// The first filter after a reload: every block is indexed, then scanned.
void BM_FilterCold(benchmark::State &state, const char *text, const char *architecture)
{
    const PackageQuery q = query(text, architecture);
    size_t rows = 0;
    for (auto _ : state) {
        SearchIndexCache cache;
        const std::vector<qsizetype> kept = filterPackageRows(pool(), q, cache);
        rows = kept.size();
        benchmark::DoNotOptimize(kept.data());
    }
    reportRows(state, rows);
}

// What the filter would cost without a prepared index: every record lower-cased per keystroke.
void BM_FilterNaive(benchmark::State &state, const char *text)
{
    const QString lowered = QString::fromUtf8(text).toLower();
    size_t rows = 0;
    for (auto _ : state) {
        std::vector<qsizetype> kept;
        qsizetype row = 0;
        for (const PackagePool::Block &block : pool().blocks()) {
            for (const PackageInfo &package : *block) {
                const std::optional<QString> name = package.name();
                const std::optional<QString> id = package.package();
                if ((name && name->toLower().contains(lowered)) || (id && id->toLower().contains(lowered)))
                    kept.push_back(row);
                ++row;
            }
        }
        rows = kept.size();
        benchmark::DoNotOptimize(kept.data());
    }
    reportRows(state, rows);
}

// A whole load as the pipeline sees it: one block appended at a time, the filter re-run on the
// grown pool after each append, the cache kept (only the new block is indexed each time); from scratch
// each time, or as the pipeline does it, from the previous result (only the new block is filtered).
void BM_FilterDuringLoad(benchmark::State &state, const char *text, bool fromPrevious)
{
    const PackageQuery q = query(text, nullptr);
    size_t rows = 0;
    for (auto _ : state) {
        SearchIndexCache cache;
        PackagePool growing;
        FilterResult last;
        for (const PackagePool::Block &block : pool().blocks()) {
            growing.append(*block);
            cache.keepOnly(growing);
            std::vector<qsizetype> kept = fromPrevious ? refilterPackageRows(last, growing, q, cache)
                                                       : filterPackageRows(growing, q, cache);
            last = FilterResult{q, PackageSelection(growing, std::move(kept))};
            rows = size_t(last.selection->size());
            benchmark::DoNotOptimize(last.selection->rows().data());
        }
    }
    reportRows(state, rows);
}

// A keystroke that extends the text: the pipeline looks only at the rows the shorter text kept.
void BM_FilterNarrowing(benchmark::State &state, const char *from, const char *text, const char *architecture)
{
    const PackageQuery before = query(from, architecture);
    const PackageQuery q = query(text, architecture);
    SearchIndexCache cache;
    const FilterResult previous{before, PackageSelection(pool(), filterPackageRows(pool(), before, cache))};
    size_t rows = 0;
    for (auto _ : state) {
        const std::vector<qsizetype> kept = refilterPackageRows(previous, pool(), q, cache);
        rows = kept.size();
        benchmark::DoNotOptimize(kept.data());
    }
    reportRows(state, rows);
}

// One large source as its package screen holds it, with one package in a hundred installed.
struct LargeSource
{
    PackageList packages;
    QSet<QString> installed;
};

const LargeSource &largeSource()
{
    static const LargeSource source = [] {
        LargeSource s{pool().toList().mid(0, 50000), {}};
        for (qsizetype i = 0; i < s.packages.size(); i += 100)
            s.installed.insert(s.packages.at(i).package().value_or(QString()));
        return s;
    }();
    return source;
}

void BM_SourceScreenFilter(benchmark::State &state, const char *text, const char *architecture,
                           bool onlyInstalled)
{
    const LargeSource &source = largeSource();
    const SourcePackageQuery query{
        QString::fromUtf8(text), architecture ? std::optional(QString::fromUtf8(architecture)) : std::nullopt,
        onlyInstalled};
    size_t rows = 0;
    for (auto _ : state) {
        const std::vector<qsizetype> kept = filterSourcePackages(source.packages, query, source.installed);
        rows = kept.size();
        benchmark::DoNotOptimize(kept.data());
    }
    state.counters["rows"] = double(rows);
    state.counters["source"] = double(source.packages.size());
}

BENCHMARK_CAPTURE(BM_SourceScreenFilter, a, "a", nullptr, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_SourceScreenFilter, miss_zzzz, "zzzz", nullptr, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_SourceScreenFilter, arm64e_only, "", "arm64e", false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_SourceScreenFilter, installed_only, "", nullptr, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_SourceScreenFilter, a_arm64e_installed, "a", "arm64e", true)
    ->Unit(benchmark::kMicrosecond);

#define TALLOWPINE_FILTER_QUERIES(bench)                                                                     \
    BENCHMARK_CAPTURE(bench, a, "a", nullptr)->Unit(benchmark::kMillisecond);                                \
    BENCHMARK_CAPTURE(bench, snow, "snow", nullptr)->Unit(benchmark::kMillisecond);                          \
    BENCHMARK_CAPTURE(bench, com_dot, "com.", nullptr)->Unit(benchmark::kMillisecond);                       \
    BENCHMARK_CAPTURE(bench, miss_zzzz, "zzzz", nullptr)->Unit(benchmark::kMillisecond);                     \
    BENCHMARK_CAPTURE(bench, empty_text, "", nullptr)->Unit(benchmark::kMillisecond);                        \
    BENCHMARK_CAPTURE(bench, a_arm64e, "a", "arm64e")->Unit(benchmark::kMillisecond);                        \
    BENCHMARK_CAPTURE(bench, snow_arm64e, "snow", "arm64e")->Unit(benchmark::kMillisecond);                  \
    BENCHMARK_CAPTURE(bench, com_dot_arm64e, "com.", "arm64e")->Unit(benchmark::kMillisecond);               \
    BENCHMARK_CAPTURE(bench, miss_zzzz_arm64e, "zzzz", "arm64e")->Unit(benchmark::kMillisecond);             \
    BENCHMARK_CAPTURE(bench, empty_text_arm64e, "", "arm64e")->Unit(benchmark::kMillisecond)

TALLOWPINE_FILTER_QUERIES(BM_FilterWarm);
TALLOWPINE_FILTER_QUERIES(BM_FilterCold);
BENCHMARK_CAPTURE(BM_FilterNaive, a, "a")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterNaive, snow, "snow")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterDuringLoad, empty_text, "", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterDuringLoad, a, "a", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterDuringLoad, empty_text_from_previous, "", true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterDuringLoad, a_from_previous, "a", true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterNarrowing, s_to_sn, "s", "sn", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterNarrowing, sno_to_snow, "sno", "snow", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterNarrowing, com_to_com_dot, "com", "com.", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterNarrowing, zzz_to_zzzz, "zzz", "zzzz", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FilterNarrowing, sno_to_snow_arm64e, "sno", "snow", "arm64e")
    ->Unit(benchmark::kMillisecond);

} // namespace
