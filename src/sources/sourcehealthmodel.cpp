#include "sources/sourcehealthmodel.h"

#include <algorithm>

SourceHealthModel::SourceHealthModel(std::function<double()> now, QObject *parent)
    : QAbstractListModel(parent)
    , m_now(std::move(now))
{}

int SourceHealthModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant SourceHealthModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const RepoSource &source = m_rows.at(index.row());
    const LoadHealth *h = health(source.link);
    switch (role) {
    case NameRole:
        return source.name;
    case LinkRole:
        return source.link;
    case OutcomeRole:
        return h ? healthOutcomeName(h->outcome) : QStringLiteral("unknown");
    case SummaryRole:
        return h ? healthSummary(*h, m_now()) : QStringLiteral("Not loaded yet");
    case ProblemRole:
        return h ? h->problem : QString();
    case RankRole:
        return healthRank(h);
    default:
        return {};
    }
}

QHash<int, QByteArray> SourceHealthModel::roleNames() const
{
    return {{NameRole, "name"},       {LinkRole, "link"},       {OutcomeRole, "outcome"},
            {SummaryRole, "summary"}, {ProblemRole, "problem"}, {RankRole, "rank"}};
}

void SourceHealthModel::setSources(const QList<RepoSource> &sources)
{
    // A changed source list is a rare, user-made event: the rows are laid out again, worst first.
    beginResetModel();
    m_rows = sources;
    endResetModel();
    sortWorstFirst();
    Q_EMIT countChanged();
}

void SourceHealthModel::record(const QString &link, const LoadHealth &health)
{
    m_records.insert(link, health);
    rowChanged(link);
}

void SourceHealthModel::restore(const HealthRecords &records)
{
    for (auto it = records.cbegin(); it != records.cend(); ++it) {
        if (!m_records.contains(it.key()))
            m_records.insert(it.key(), it.value());
    }
    sortWorstFirst();
}

void SourceHealthModel::sortWorstFirst()
{
    QList<RepoSource> sorted = m_rows;
    std::stable_sort(sorted.begin(), sorted.end(), [this](const RepoSource &a, const RepoSource &b) {
        const int rankA = healthRank(health(a.link));
        const int rankB = healthRank(health(b.link));
        if (rankA != rankB)
            return rankA < rankB;
        return a.name.compare(b.name, Qt::CaseInsensitive) < 0;
    });
    if (sorted == m_rows) {
        // The order holds; the texts (ages, problems) may not.
        if (!m_rows.isEmpty())
            Q_EMIT dataChanged(index(0), index(int(m_rows.size()) - 1));
        return;
    }
    Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    QList<QString> links;
    for (const QModelIndex &i : before)
        links.append(m_rows.at(i.row()).link);
    m_rows = sorted;
    QModelIndexList after;
    for (const QString &link : links) {
        const auto it =
            std::find_if(m_rows.cbegin(), m_rows.cend(), [&](const RepoSource &s) { return s.link == link; });
        after.append(index(int(it - m_rows.cbegin())));
    }
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

const LoadHealth *SourceHealthModel::health(const QString &link) const
{
    const auto it = m_records.constFind(link);
    return it == m_records.cend() ? nullptr : &*it;
}

QString SourceHealthModel::diagnostics(const QString &link) const
{
    const auto source =
        std::find_if(m_rows.cbegin(), m_rows.cend(), [&](const RepoSource &s) { return s.link == link; });
    const QString name = source == m_rows.cend() ? QString() : source->name;
    return healthDiagnostics(name, link, health(link), m_now());
}

void SourceHealthModel::rowChanged(const QString &link)
{
    for (int row = 0; row < m_rows.size(); ++row) {
        if (m_rows.at(row).link == link)
            Q_EMIT dataChanged(index(row), index(row));
    }
}
