#include "search/packagelistmodel.h"

#include <algorithm>

bool selectionExtends(const PackageSelection &before, const PackageSelection &after)
{
    if (before.isEmpty())
        return true;
    const std::vector<qsizetype> &oldRows = before.rows();
    const std::vector<qsizetype> &newRows = after.rows();
    if (oldRows.size() > newRows.size())
        return false;
    const QList<PackagePool::Block> &oldBlocks = before.pool().blocks();
    const QList<PackagePool::Block> &newBlocks = after.pool().blocks();
    if (oldBlocks.size() > newBlocks.size())
        return false;
    for (qsizetype i = 0; i < oldBlocks.size(); ++i) {
        if (oldBlocks.at(i).get() != newBlocks.at(i).get())
            return false;
    }
    // One memcmp over the row numbers, which the blocks check makes meaningful.
    return &oldRows == &newRows || std::equal(oldRows.cbegin(), oldRows.cend(), newRows.cbegin());
}

int PackageListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_selection.size());
}

QVariant PackageListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    return PackageRows::data(m_selection.at(index.row()), role, m_installed);
}

QHash<int, QByteArray> PackageListModel::roleNames() const
{
    return PackageRows::roleNames();
}

void PackageListModel::setSelection(const PackageSelection &selection)
{
    const qsizetype oldCount = m_selection.size();
    const qsizetype newCount = selection.size();
    if (selectionExtends(m_selection, selection)) {
        if (newCount == oldCount) {
            // Same packages in the same places; only the pool behind them grew.
            m_selection = selection;
            return;
        }
        beginInsertRows({}, int(oldCount), int(newCount - 1));
        m_selection = selection;
        endInsertRows();
        Q_EMIT countChanged();
        return;
    }
    // Rows are not matched up otherwise, which keeps a keystroke linear.
    beginResetModel();
    m_selection = selection;
    endResetModel();
    if (oldCount != newCount)
        Q_EMIT countChanged();
}

void PackageListModel::setInstalledPackages(const QSet<QString> &installed)
{
    if (m_installed == installed)
        return;
    m_installed = installed;
    if (!m_selection.isEmpty())
        Q_EMIT dataChanged(index(0), index(rowCount() - 1), {PackageRows::InstalledRole});
}
