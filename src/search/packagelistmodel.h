// Packages as rows for the screens' lists, over a selection of the pool (no package is copied).
// Main thread; the state object hands it each new result.
#pragma once

#include "search/packagepool.h"

#include <QAbstractListModel>

class PackageListModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        PackageRole,
        NameRole,
        VersionRole,
        DescriptionRole,
        FilenameRole,
        IconUrlRole,
        ArchitectureRole,
        SourceLinkRole,
    };
    Q_ENUM(Role)

    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    void setSelection(const PackageSelection &selection);
    [[nodiscard]] const PackageSelection &selection() const { return m_selection; }

Q_SIGNALS:
    void countChanged();

private:
    PackageSelection m_selection;
};
