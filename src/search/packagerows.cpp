#include "search/packagerows.h"

#include "device/installedpackages.h"
#include "handoff/deblink.h"

namespace {

QVariant optionalText(const std::optional<QString> &value)
{
    return value ? QVariant(*value) : QVariant();
}

} // namespace

QVariant PackageRows::data(const PackageInfo &package, int role, const QSet<QString> &installed)
{
    switch (role) {
    case IdRole:
        return package.id().toString(QUuid::WithoutBraces);
    case PackageRole:
        return optionalText(package.package());
    case Qt::DisplayRole:
    case NameRole:
        return optionalText(package.name());
    case VersionRole:
        return optionalText(package.version());
    case DescriptionRole:
        return optionalText(package.description());
    case FilenameRole:
        return optionalText(package.filename());
    case IconUrlRole:
        return optionalText(package.iconURL());
    case ArchitectureRole:
        return optionalText(package.architecture());
    case SourceLinkRole:
        return package.sourceLink();
    case InstalledRole:
        return ::isPackageInstalled(installed, package.package().value_or(QString()));
    case DebUrlRole:
        return debUrlText(package.filename(), package.sourceLink());
    default:
        return {};
    }
}

QHash<int, QByteArray> PackageRows::roleNames()
{
    return {
        {IdRole, "packageId"},
        // "package" is a reserved word in QML, so rows cannot declare a property by that name.
        {PackageRole, "identifier"},
        {NameRole, "name"},
        {VersionRole, "version"},
        {DescriptionRole, "description"},
        {FilenameRole, "filename"},
        {IconUrlRole, "iconURL"},
        {ArchitectureRole, "architecture"},
        {SourceLinkRole, "sourceLink"},
        {InstalledRole, "installed"},
        {DebUrlRole, "debURL"},
    };
}
