// The rules that turn typed links and names into keys, names and folder names. None may crash, a
// folder name is always one plain, non-empty name, and a link accepted as strict stays accepted when
// written back out.
#include "fuzzcheck.h"
#include "handoff/stricturl.h"
#include "index/cachepaths.h"
#include "sources/sourceediting.h"
#include "sources/sourcelinks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(fuzzInput(data, size));

    const QString folder = safeFolderName(text);
    FUZZ_CHECK(!folder.isEmpty());
    FUZZ_CHECK(folder == folder.trimmed());
    for (const char c : {'/', '\\', ':', '*', '?', '"', '<', '>', '|', '#', '%'})
        FUZZ_CHECK(!folder.contains(QLatin1Char(c)));
    FUZZ_CHECK(safeFolderName(folder) == folder);

    FUZZ_CHECK(!slug(text).contains(QLatin1Char('/')));
    (void)normalizeLink(text);
    // Only a host made of nothing but "www." pieces leaves an empty name.
    FUZZ_CHECK(!extractName(text).isEmpty() || text.contains(QLatin1String("www.")));

    if (const std::optional<QUrl> url = strictUrl(text)) {
        FUZZ_CHECK(url->isValid());
        FUZZ_CHECK(strictUrl(url->toString(QUrl::FullyEncoded)).has_value());
        (void)canOpenSourceUrl(*url);
    }
    const SourceEdit edit = addSource({}, text);
    if (edit.sources)
        FUZZ_CHECK(edit.sources->size() == 1 && edit.sources->first().link == text);
    return 0;
}
