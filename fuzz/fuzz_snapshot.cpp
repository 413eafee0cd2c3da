// The catalogue snapshot reader, which reads records in place and so must refuse any offset its file
// does not back. The first byte picks the input's meaning:
//   0: snapshot bytes, their checksum made to match so the structural checks are what is tested;
//      whatever opens must read every record and write back to bytes that open the same;
//   1: a Packages index, whose records must come back from a snapshot exactly.
#include "fuzzcheck.h"
#include "index/catalogsnapshot.h"
#include "index/packagesparser.h"

namespace {

// The sources whose records read; a damaged one is left out.
QList<SnapshotSource> readBack(const CatalogSnapshot &snapshot)
{
    QList<SnapshotSource> sources;
    for (qsizetype s = 0; s < snapshot.sourceCount(); ++s) {
        if (std::optional<PackageList> packages = snapshot.packages(s))
            sources.append({snapshot.link(s), snapshot.validators(s), std::move(*packages)});
    }
    return sources;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArrayView input = fuzzInput(data, size).sliced(1);
    if (data[0] == 0) {
        QByteArray bytes = input.toByteArray();
        sealCatalogSnapshot(bytes);
        const std::shared_ptr<const CatalogSnapshot> snapshot = CatalogSnapshot::fromBytes(bytes);
        if (!snapshot)
            return 0;
        const QList<SnapshotSource> sources = readBack(*snapshot);
        const std::shared_ptr<const CatalogSnapshot> again =
            CatalogSnapshot::fromBytes(encodeCatalogSnapshot(sources));
        FUZZ_CHECK(again && again->sourceCount() == sources.size());
        for (qsizetype s = 0; s < sources.size(); ++s) {
            FUZZ_CHECK(again->link(s) == sources[s].link && again->validators(s) == sources[s].validators);
            FUZZ_CHECK(again->packages(s) &&
                       packageJsonLines(*again->packages(s)) == packageJsonLines(sources[s].packages));
        }
    } else if (data[0] == 1) {
        const QString link = QStringLiteral("https://repo.example/");
        const PackageList records = parsePackagesData(input, link);
        const std::shared_ptr<const CatalogSnapshot> snapshot =
            CatalogSnapshot::fromBytes(encodeCatalogSnapshot({{link, input.toByteArray(), records}}));
        FUZZ_CHECK(snapshot && snapshot->validators(0) == input);
        FUZZ_CHECK(snapshot->packages(0) &&
                   packageJsonLines(*snapshot->packages(0)) == packageJsonLines(records));
    }
    return 0;
}
