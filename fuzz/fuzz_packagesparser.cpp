// The byte-level Packages parser against the plain reading the unit tests use: same records, same
// fields, same count, for any bytes. The plain reading splits lines by its own copy of the line rule,
// so a drift of the shared rule shows up here.
#include "../tests/index/referenceparser.h"
#include "fuzzcheck.h"
#include "index/indextext.h"
#include "index/packagesparser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes = fuzzInput(data, size);
    const QString link = QStringLiteral("https://repo.example/");
    const PackageList records = parsePackagesData(bytes, link);
    FUZZ_CHECK(packageJsonLines(records) ==
               packageJsonLines(reference::parse(reference::decode(bytes), link)));
    FUZZ_CHECK(countPackages(decodeIndexBytes(bytes)) == records.size());
    return 0;
}
