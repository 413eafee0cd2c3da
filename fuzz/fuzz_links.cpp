// The rules that turn typed links and names into keys, names and folder names. None may crash, a
// folder name is always one plain, non-empty name, and a link accepted as strict stays accepted when
// written back out.
#include "fuzzcheck.h"
#include "handoff/stricturl.h"
#include "index/cachepaths.h"
#include "sources/sourceediting.h"
#include "sources/sourcelinks.h"
#include "sources/sourcelistexport.h"
#include "sources/sourcelistimport.h"

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
    // A cache folder is one plain name under the cache root, or there is none.
    if (const std::optional<QString> cache = cacheFolderName(text)) {
        FUZZ_CHECK(!cache->isEmpty() && *cache != QLatin1String(".") && *cache != QLatin1String(".."));
        FUZZ_CHECK(!cache->contains(QLatin1Char('/')) && !cache->contains(QChar(0)));
    }
    (void)normalizeLink(text);
    // Only a host made of nothing but "www." pieces leaves an empty name.
    FUZZ_CHECK(!extractName(text).isEmpty() || text.contains(QLatin1String("www.")));

    if (const std::optional<QUrl> url = strictUrl(text)) {
        FUZZ_CHECK(url->isValid());
        FUZZ_CHECK(strictUrl(url->toString(QUrl::FullyEncoded)).has_value());
        (void)canOpenSourceUrl(*url);
    }
    // The same text as a pasted or imported source list: every line accounted for, and what was added
    // comes back from its own export as nothing new.
    const SourceListImport imported = importSourceList({}, text);
    const qsizetype lines = text.count(QLatin1Char('\n')) + text.count(QLatin1Char('\r')) + 1;
    for (const SourceListProblem &problem : imported.invalid)
        FUZZ_CHECK(problem.line >= 1 && problem.line <= lines);
    FUZZ_CHECK(imported.sources.size() == imported.added.size());
    for (const SourceListFormat format :
         {SourceListFormat::OneLine, SourceListFormat::Deb822, SourceListFormat::Links})
        FUZZ_CHECK(
            importSourceList(imported.sources, exportSourceList(imported.sources, format)).added.isEmpty());
    const SourceEdit edit = addSource({}, text);
    if (edit.sources)
        FUZZ_CHECK(edit.sources->size() == 1 && edit.sources->first().link == text);
    return 0;
}
