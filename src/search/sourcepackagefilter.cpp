#include "search/sourcepackagefilter.h"

#include "device/installedpackages.h"

namespace {

bool textMatches(const PackageInfo &package, const QString &text)
{
    if (text.isEmpty())
        return true;
    const std::optional<QStringView> name = package.view(PackageInfo::Name);
    if (name && name->contains(text, Qt::CaseInsensitive))
        return true;
    const std::optional<QStringView> identifier = package.view(PackageInfo::Package);
    return identifier && identifier->contains(text, Qt::CaseInsensitive);
}

bool architectureMatches(const PackageInfo &package, const std::optional<QString> &architecture)
{
    if (!architecture || *architecture == kAllArchitectures)
        return true;
    const std::optional<QStringView> own = package.view(PackageInfo::Architecture);
    return own && *own == *architecture;
}

} // namespace

std::vector<qsizetype> filterSourcePackages(const PackageList &packages, const SourcePackageQuery &query,
                                            const QSet<QString> &installed)
{
    std::vector<qsizetype> rows;
    rows.reserve(size_t(packages.size()));
    for (qsizetype row = 0; row < packages.size(); ++row) {
        const PackageInfo &package = packages.at(row);
        if (!architectureMatches(package, query.architecture) || !textMatches(package, query.text))
            continue;
        if (query.onlyInstalled) {
            const std::optional<QStringView> identifier = package.view(PackageInfo::Package);
            // A view of the record's own text: no copy per package for the set lookup.
            if (!identifier ||
                !isPackageInstalled(installed, QString::fromRawData(identifier->data(), identifier->size())))
                continue;
        }
        rows.push_back(row);
    }
    return rows;
}

QString sourcePackagesTitle(qsizetype count, bool onlyInstalled)
{
    return (onlyInstalled ? QStringLiteral("Installed (%1)") : QStringLiteral("Packages (%1)")).arg(count);
}
