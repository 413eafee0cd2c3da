// The two JSON records read back from disk or settings: the cache's meta.json and the saved source
// list. Whatever decodes must survive a write and a second read unchanged.
#include "fuzzcheck.h"
#include "index/repometa.h"
#include "sources/reposource.h"

#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes = fuzzInput(data, size);

    if (const std::optional<RepoMeta> meta = decodeRepoMeta(bytes)) {
        // Only finite times are written as such; anything else is written as 0.
        if (std::isfinite(meta->updatedAt))
            FUZZ_CHECK(decodeRepoMeta(encodeRepoMeta(*meta)) == meta);
    }
    if (const std::optional<QList<RepoSource>> sources = decodeSourceList(bytes.toByteArray()))
        FUZZ_CHECK(decodeSourceList(encodeSourceList(*sources)) == sources);
    return 0;
}
