// Speed of the index layer on real corpora: decoding, parsing, counting, record ids and the inflater.
// Corpora come from TALLOWPINE_BENCH_INDEX (paths joined by ":"); without it a jailbreak-style fixture
// repeated to a few megabytes stands in. Single-threaded benchmark program; the main() of tallowpine-bench.
#include "index/indexfile.h"
#include "index/indextext.h"
#include "index/packagesparser.h"
#include "index/rawinflate.h"

#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>

namespace {

const QString kLink = QStringLiteral("https://repo.example.com/");

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        std::exit(1);
    }
    return file.readAll();
}

struct Corpus
{
    QString name;
    QString path; // empty for the built-in one
    QByteArray bytes;
};

QList<Corpus> corpora()
{
    QList<Corpus> list;
    const QString paths = qEnvironmentVariable("TALLOWPINE_BENCH_INDEX");
    for (const QString &path : paths.split(u':', Qt::SkipEmptyParts))
        list.append({QFileInfo(path).fileName(), path, readFile(path)});
    if (list.isEmpty()) {
        const QByteArray unit =
            readFile(QStringLiteral(TALLOWPINE_TEST_DATA "/index/jailbreak.Packages")) + "\n\n";
        QByteArray repeated;
        while (repeated.size() < (8 << 20))
            repeated += unit;
        list.append({QStringLiteral("fixture-x8MiB"), QString(), repeated});
    }
    return list;
}

size_t heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void setBytes(benchmark::State &state, const QByteArray &bytes)
{
    state.SetBytesProcessed(int64_t(state.iterations()) * bytes.size());
}

void parseBench(benchmark::State &state, const Corpus *corpus)
{
    qsizetype records = 0;
    for (auto _ : state) {
        const PackageList list = parsePackagesData(corpus->bytes, kLink);
        records = list.size();
        benchmark::DoNotOptimize(list.constData());
    }
    setBytes(state, corpus->bytes);
    state.SetItemsProcessed(int64_t(state.iterations()) * records);

    // What the records of this corpus cost to keep: heap growth while one list is alive.
    const size_t before = heapInUse();
    const PackageList kept = parsePackagesData(corpus->bytes, kLink);
    const size_t after = heapInUse();
    state.counters["records"] = double(kept.size());
    state.counters["heap_bytes_per_record"] =
        kept.isEmpty() ? 0.0 : double(after - before) / double(kept.size());
    state.counters["input_bytes_per_record"] =
        kept.isEmpty() ? 0.0 : double(corpus->bytes.size()) / double(kept.size());
}

// The whole in-app path from a file on disk: read, inflate attempt, decode, parse.
void loadBench(benchmark::State &state, const Corpus *corpus)
{
    for (auto _ : state) {
        const std::optional<PackageList> list = loadIndexFile(corpus->path, kLink);
        benchmark::DoNotOptimize(list->constData());
    }
    setBytes(state, corpus->bytes);
}

void countBench(benchmark::State &state, const Corpus *corpus)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(countPackages(decodeIndexBytes(corpus->bytes)));
    setBytes(state, corpus->bytes);
}

void validateBench(benchmark::State &state, const Corpus *corpus)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(isStrictUtf8(corpus->bytes));
    setBytes(state, corpus->bytes);
}

// In-process floor: find the blank lines with memchr, nothing else.
void memchrBench(benchmark::State &state, const Corpus *corpus)
{
    for (auto _ : state) {
        const char *p = corpus->bytes.constData();
        const char *const end = p + corpus->bytes.size();
        long blank = 0;
        while (const void *nl = std::memchr(p, '\n', size_t(end - p))) {
            p = static_cast<const char *>(nl) + 1;
            blank += p < end && *p == '\n';
        }
        benchmark::DoNotOptimize(blank);
    }
    setBytes(state, corpus->bytes);
}

void BM_RecordIdQUuidCreate(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(QUuid::createUuid());
}
BENCHMARK(BM_RecordIdQUuidCreate);

// A record's construction (one allocation) plus its id, for comparison with QUuid::createUuid() alone.
void BM_RecordWithId(benchmark::State &state)
{
    const QString name = QStringLiteral("com.example.tweak");
    for (auto _ : state) {
        const PackageInfo record(name, name, std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                                 std::nullopt, kLink);
        benchmark::DoNotOptimize(record.id());
    }
}
BENCHMARK(BM_RecordWithId);

QByteArray deflate(const QByteArray &data, int windowBits)
{
    z_stream stream{};
    deflateInit2(&stream, 6, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
    QByteArray out(qsizetype(deflateBound(&stream, uLong(data.size()))) + 32, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.data()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = uInt(out.size());
    deflate(&stream, Z_FINISH);
    out.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return out;
}

void inflateBench(benchmark::State &state, QByteArray compressed)
{
    qsizetype produced = 0;
    for (auto _ : state) {
        const InflateResult result = inflateRaw(compressed);
        produced = result.data.size();
        benchmark::DoNotOptimize(result.data.constData());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * compressed.size());
    state.counters["output_bytes"] = double(produced);
}

} // namespace

int main(int argc, char **argv)
{
    static const QList<Corpus> all = corpora();
    for (const Corpus &corpus : all) {
        const std::string name = corpus.name.toStdString();
        benchmark::RegisterBenchmark(("BM_Parse/" + name).c_str(), parseBench, &corpus)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("BM_Count/" + name).c_str(), countBench, &corpus)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("BM_ValidateUtf8/" + name).c_str(), validateBench, &corpus)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("BM_MemchrFloor/" + name).c_str(), memchrBench, &corpus)
            ->Unit(benchmark::kMillisecond);
        if (!corpus.path.isEmpty()) {
            benchmark::RegisterBenchmark(("BM_LoadIndexFile/" + name).c_str(), loadBench, &corpus)
                ->Unit(benchmark::kMillisecond);
        }
    }

    // The inflater on a bare DEFLATE stream, and on a gzip file of the same size, which must fail at
    // once instead of trying ever bigger buffers.
    const QByteArray sample = all.first().bytes.left(16 << 20);
    benchmark::RegisterBenchmark("BM_InflateRaw/ok", inflateBench, deflate(sample, -15))
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("BM_InflateRaw/gzip-fails", inflateBench, deflate(sample, 31))
        ->Unit(benchmark::kMicrosecond);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
