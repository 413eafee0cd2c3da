#include "sources/sourcelistmodel.h"

int SourceListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_sources.size());
}

QVariant SourceListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const RepoSource &source = m_sources.at(index.row());
    switch (role) {
    case IdRole:
        return source.id;
    case Qt::DisplayRole:
    case NameRole:
        return source.name;
    case LinkRole:
        return source.link;
    case ImageNameRole:
        return source.imageName;
    case IsDefaultRole:
        return source.isDefault;
    case IsFavoriteRole:
        return m_favorites.contains(source.link);
    case IsSelectedRole:
        return m_selected.contains(source.link);
    case IsLoadingRole:
        return m_loading.contains(source.link);
    default:
        return {};
    }
}

QHash<int, QByteArray> SourceListModel::roleNames() const
{
    return {
        {IdRole, "sourceId"},           {NameRole, "name"},           {LinkRole, "link"},
        {ImageNameRole, "imageName"},   {IsDefaultRole, "isDefault"}, {IsFavoriteRole, "isFavorite"},
        {IsSelectedRole, "isSelected"}, {IsLoadingRole, "isLoading"},
    };
}

void SourceListModel::update(const QList<RepoSource> &sources, const QSet<QString> &favorites,
                             const QSet<QString> &selected)
{
    const bool sameRows = sources.size() == m_sources.size() &&
                          std::equal(sources.cbegin(), sources.cend(), m_sources.cbegin(),
                                     [](const RepoSource &a, const RepoSource &b) { return a.id == b.id; });
    if (!sameRows) {
        const qsizetype oldCount = m_sources.size();
        beginResetModel();
        m_sources = sources;
        m_favorites = favorites;
        m_selected = selected;
        endResetModel();
        if (oldCount != m_sources.size())
            Q_EMIT countChanged();
        return;
    }

    // A star or a tick only touches its own role, so a row's other bindings stay as they are.
    QList<std::pair<int, QList<int>>> changedRows;
    for (int row = 0; row < m_sources.size(); ++row) {
        const QString &link = sources.at(row).link;
        if (sources.at(row) != m_sources.at(row)) {
            changedRows.emplaceBack(row, QList<int>());
            continue;
        }
        QList<int> roles;
        if (favorites.contains(link) != m_favorites.contains(link))
            roles.append(IsFavoriteRole);
        if (selected.contains(link) != m_selected.contains(link))
            roles.append(IsSelectedRole);
        if (!roles.isEmpty())
            changedRows.emplaceBack(row, roles);
    }
    m_sources = sources;
    m_favorites = favorites;
    m_selected = selected;
    for (const auto &[row, roles] : changedRows)
        Q_EMIT dataChanged(index(row), index(row), roles);
}

void SourceListModel::setLinkLoading(const QString &link, bool loading)
{
    // One link at a time, with no hashing of the other rows: a load of every source turns each
    // one on and off, and the work per change must not grow with the number of sources.
    const bool changed = loading ? !m_loading.contains(link) : m_loading.remove(link);
    if (!changed)
        return;
    if (loading)
        m_loading.insert(link);
    for (int row = 0; row < m_sources.size(); ++row) {
        if (m_sources.at(row).link == link)
            Q_EMIT dataChanged(index(row), index(row), {IsLoadingRole});
    }
}
