// The dpkg status reader against a plain reading of the same rule on decoded text, with lines split by
// the reference reader of the Packages tests: the two readers must see the same lines and blocks.
#include "../tests/index/referenceparser.h"
#include "device/installedpackages.h"
#include "fuzzcheck.h"

#include <QSet>

namespace {

QString trimSpacesAndTabs(QString text)
{
    while (!text.isEmpty() && (text.front() == u' ' || text.front() == u'\t'))
        text.remove(0, 1);
    while (!text.isEmpty() && (text.back() == u' ' || text.back() == u'\t'))
        text.chop(1);
    return text;
}

QSet<QString> plainReading(const QString &text)
{
    QSet<QString> result;
    std::optional<QString> name;
    bool installed = false;
    const auto flush = [&] {
        if (name && installed)
            result.insert(*name);
        name.reset();
        installed = false;
    };
    for (const QString &line : reference::splitLines(text)) {
        if (line.isEmpty()) {
            flush();
        } else if (line.startsWith(QLatin1String("Package:"))) {
            flush();
            name = trimSpacesAndTabs(line.mid(8));
        } else if (line.startsWith(QLatin1String("Status:"))) {
            if (line.mid(7).contains(QLatin1String("install ok")))
                installed = true;
        }
    }
    flush();
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes = fuzzInput(data, size);
    const QSet<QString> installed = parseInstalledPackages(bytes);
    // The loader only hands over valid UTF-8; other bytes just must not crash the reader.
    if (bytes.isValidUtf8())
        FUZZ_CHECK(installed == plainReading(QString::fromUtf8(bytes)));
    return 0;
}
