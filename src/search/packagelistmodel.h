// Packages as rows for the screens' lists, over a selection of the pool (no package is copied).
// Main thread; the state object hands it each new result and the installed set.
#pragma once

#include "search/packagepool.h"
#include "search/packagerows.h"

#include <QAbstractListModel>
#include <QSet>

class PackageListModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    // A result that only adds rows at the end (the pool grew while the query stayed) is inserted, so
    // the rows on screen stay put; the same rows change nothing; anything else resets the list.
    void setSelection(const PackageSelection &selection);
    [[nodiscard]] const PackageSelection &selection() const { return m_selection; }

    void setInstalledPackages(const QSet<QString> &installed);
    [[nodiscard]] const QSet<QString> &installedPackages() const { return m_installed; }

Q_SIGNALS:
    void countChanged();

private:
    PackageSelection m_selection;
    QSet<QString> m_installed;
};

// True when every row of `before` names the same package at the same place in `after`: the blocks
// of `before` lead the pool of `after` and its rows lead the rows of `after`.
[[nodiscard]] bool selectionExtends(const PackageSelection &before, const PackageSelection &after);
