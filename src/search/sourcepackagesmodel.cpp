#include "search/sourcepackagesmodel.h"

#include "search/packagerows.h"

#include <memory>

SourcePackagesModel::SourcePackagesModel(const QString &sourceLink, const PackageList &packages,
                                         const QSet<QString> &installed, QObject *parent)
    : QAbstractListModel(parent)
    , m_sourceLink(sourceLink)
    , m_packages(packages)
    , m_installed(installed)
    , m_rows(filterSourcePackages(m_packages, m_query, m_installed))
    , m_jobs(new BackgroundJobs(this))
{}

int SourcePackagesModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant SourcePackagesModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    return PackageRows::data(m_packages.at(m_rows[size_t(index.row())]), role, m_installed);
}

QHash<int, QByteArray> SourcePackagesModel::roleNames() const
{
    return PackageRows::roleNames();
}

void SourcePackagesModel::setSearchText(const QString &text)
{
    if (m_query.text == text)
        return;
    m_query.text = text;
    Q_EMIT searchTextChanged();
    refilter();
}

void SourcePackagesModel::setSelectedArchitecture(const std::optional<QString> &architecture)
{
    if (m_query.architecture == architecture)
        return;
    m_query.architecture = architecture;
    Q_EMIT selectedArchitectureChanged();
    refilter();
}

QVariant SourcePackagesModel::selectedArchitectureVariant() const
{
    return PackageRows::architectureVariant(m_query.architecture);
}

void SourcePackagesModel::setSelectedArchitectureVariant(const QVariant &architecture)
{
    setSelectedArchitecture(PackageRows::architectureFromVariant(architecture));
}

void SourcePackagesModel::setShowOnlyInstalled(bool value)
{
    if (m_query.onlyInstalled == value)
        return;
    m_query.onlyInstalled = value;
    Q_EMIT showOnlyInstalledChanged();
    refilter();
}

void SourcePackagesModel::setInstalledPackages(const QSet<QString> &installed)
{
    if (m_installed == installed)
        return;
    m_installed = installed;
    if (!m_rows.empty())
        Q_EMIT dataChanged(index(0), index(count() - 1), {PackageRows::InstalledRole});
    if (m_query.onlyInstalled)
        refilter();
}

void SourcePackagesModel::refilter()
{
    ++m_generation;
    if (m_packages.size() <= kSynchronousLimit) {
        show(filterSourcePackages(m_packages, m_query, m_installed), m_query.onlyInstalled);
        return;
    }
    if (!m_jobRunning)
        startJob();
}

void SourcePackagesModel::startJob()
{
    m_jobRunning = true;
    m_jobs->start([this, generation = m_generation, packages = m_packages, query = m_query,
                   installed = m_installed]() -> BackgroundJobs::Completion {
        auto rows =
            std::make_shared<std::vector<qsizetype>>(filterSourcePackages(packages, query, installed));
        return [this, generation, rows, onlyInstalled = query.onlyInstalled] {
            m_jobRunning = false;
            if (generation == m_generation)
                show(std::move(*rows), onlyInstalled);
            else
                startJob(); // the input moved on while this ran: only its latest state is worth filtering
        };
    });
}

void SourcePackagesModel::show(std::vector<qsizetype> rows, bool onlyInstalled)
{
    const int oldCount = count();
    const QString oldTitle = title();
    if (rows != m_rows) {
        beginResetModel();
        m_rows = std::move(rows);
        endResetModel();
    }
    m_shownOnlyInstalled = onlyInstalled;
    if (count() != oldCount)
        Q_EMIT countChanged();
    if (title() != oldTitle)
        Q_EMIT titleChanged();
}
