// The list-file matcher and the expected list name: the first input line is a source link, the other
// lines are the names in a lists folder. The pick must be one of those names, a Packages list, match a
// key, and beat every other such name by the stated order.
#include "device/listkeys.h"
#include "device/locallists.h"
#include "fuzzcheck.h"

#include <QStringList>

namespace {

bool isPackagesList(const QString &lower)
{
    return lower.endsWith(QLatin1String("_packages")) || lower.endsWith(QLatin1String("_packages.gz"));
}

// Whether a is the better of two names: plain before compressed, then longer, then by name.
bool better(const QString &a, const QString &b)
{
    const bool aGz = a.toLower().endsWith(QLatin1String(".gz"));
    const bool bGz = b.toLower().endsWith(QLatin1String(".gz"));
    if (aGz != bGz)
        return !aGz;
    if (a.size() != b.size())
        return a.size() > b.size();
    return a < b;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QStringList lines = QString::fromUtf8(fuzzInput(data, size)).split(QLatin1Char('\n'));
    const QString link = lines.first();
    const QStringList names = lines.mid(1);

    const QString expected = packagesFileName(link);
    FUZZ_CHECK(expected.endsWith(QLatin1String("_Packages")));
    FUZZ_CHECK(!convertedListLink(link).contains(QLatin1Char('/')));

    const ListKeys keys = listKeys(link);
    const std::optional<QString> picked = pickPackagesListFile(names, keys);
    QStringList eligible;
    for (const QString &name : names) {
        if (isPackagesList(name.toLower()) && keys.matches(name.toLower()))
            eligible.append(name);
    }
    FUZZ_CHECK(picked.has_value() == !eligible.isEmpty());
    if (picked) {
        FUZZ_CHECK(eligible.contains(*picked));
        for (const QString &other : std::as_const(eligible))
            FUZZ_CHECK(!better(other, *picked));
        FUZZ_CHECK(isGzipListName(*picked) == picked->toLower().endsWith(QLatin1String(".gz")));
    }
    return 0;
}
