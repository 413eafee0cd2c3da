#include "search/packagelistmodel.h"

namespace {

QVariant optionalText(const std::optional<QString> &value)
{
    return value ? QVariant(*value) : QVariant();
}

} // namespace

int PackageListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_selection.size());
}

QVariant PackageListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const PackageInfo &package = m_selection.at(index.row());
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
    default:
        return {};
    }
}

QHash<int, QByteArray> PackageListModel::roleNames() const
{
    return {
        {IdRole, "packageId"},    {PackageRole, "package"},           {NameRole, "name"},
        {VersionRole, "version"}, {DescriptionRole, "description"},   {FilenameRole, "filename"},
        {IconUrlRole, "iconURL"}, {ArchitectureRole, "architecture"}, {SourceLinkRole, "sourceLink"},
    };
}

void PackageListModel::setSelection(const PackageSelection &selection)
{
    const qsizetype oldCount = m_selection.size();
    // A new result is a new list: rows are not matched up, which keeps a keystroke linear.
    beginResetModel();
    m_selection = selection;
    endResetModel();
    if (oldCount != m_selection.size())
        Q_EMIT countChanged();
}
