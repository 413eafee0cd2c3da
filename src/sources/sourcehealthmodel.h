// The "Source health" list: every source with how its last load ended, worst first, and the records
// behind it (kept across restarts by the state object).
// Main thread; fed by the state object as loads end.
#pragma once

#include "index/loadhealth.h"
#include "sources/reposource.h"

#include <QAbstractListModel>
#include <functional>

class SourceHealthModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        LinkRole,
        OutcomeRole, // healthOutcomeName(), or "unknown" before the first load
        SummaryRole,
        ProblemRole,
        RankRole, // 0 worst; see healthRank()
    };
    Q_ENUM(Role)

    // `now` gives seconds since 1970, for the cache ages; a seam for tests.
    explicit SourceHealthModel(std::function<double()> now, QObject *parent = nullptr);

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    // Rows follow the sources; the order is settled again only by sortWorstFirst(), so a row does not
    // jump away under the pointer while loads end.
    void setSources(const QList<RepoSource> &sources);
    void record(const QString &link, const LoadHealth &health);
    // Records read back from disk; a record made since then wins.
    void restore(const HealthRecords &records);
    Q_INVOKABLE void sortWorstFirst();

    [[nodiscard]] const HealthRecords &records() const { return m_records; }
    [[nodiscard]] const LoadHealth *health(const QString &link) const;
    [[nodiscard]] QString diagnostics(const QString &link) const;

Q_SIGNALS:
    void countChanged();

private:
    void rowChanged(const QString &link);

    std::function<double()> m_now;
    QList<RepoSource> m_rows;
    HealthRecords m_records;
};
