// The sources a list on screen shows, one row per source, with favourite, tick and loading state per row.
// Main thread; fed by the state object whenever what it shows changes.
#pragma once

#include "sources/reposource.h"

#include <QAbstractListModel>
#include <QSet>

class SourceListModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        NameRole,
        LinkRole,
        ImageNameRole,
        IsDefaultRole,
        IsFavoriteRole,
        IsSelectedRole,
        IsLoadingRole,
    };
    Q_ENUM(Role)

    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    // Keeps rows in place (and the view's scroll position) when only their contents change.
    void update(const QList<RepoSource> &sources, const QSet<QString> &favorites,
                const QSet<QString> &selected);
    // Touches only the rows whose source started or stopped loading, and only their loading role.
    void setLinkLoading(const QString &link, bool loading);

    [[nodiscard]] const QList<RepoSource> &sources() const { return m_sources; }

Q_SIGNALS:
    void countChanged();

private:
    QList<RepoSource> m_sources;
    QSet<QString> m_favorites;
    QSet<QString> m_selected;
    QSet<QString> m_loading;
};
