// One source's package screen: its packages as it found them when opened, narrowed by its own
// search text, architecture and installed-only switch, as rows, with the screen's title.
// Main thread; a large list is filtered on a background thread and the result handed back here.
#pragma once

#include "common/backgroundjobs.h"
#include "index/packageinfo.h"
#include "search/sourcepackagefilter.h"

#include <QAbstractListModel>
#include <QSet>
#include <QVariant>

#include <vector>

class SourcePackagesModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString sourceLink READ sourceLink CONSTANT)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)
    // null (undefined in QML) or "All Architectures" means every architecture.
    Q_PROPERTY(QVariant selectedArchitecture READ selectedArchitectureVariant WRITE
                   setSelectedArchitectureVariant NOTIFY selectedArchitectureChanged)
    Q_PROPERTY(bool showOnlyInstalled READ showOnlyInstalled WRITE setShowOnlyInstalled NOTIFY
                   showOnlyInstalledChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)

public:
    // Up to this many packages a change is filtered at once, within the same event; a longer list
    // goes to a background thread so typing never waits for it.
    static constexpr qsizetype kSynchronousLimit = 5000;

    SourcePackagesModel(const QString &sourceLink, const PackageList &packages,
                        const QSet<QString> &installed = {}, QObject *parent = nullptr);

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] QString sourceLink() const { return m_sourceLink; }
    [[nodiscard]] QString searchText() const { return m_query.text; }
    void setSearchText(const QString &text);
    [[nodiscard]] const std::optional<QString> &selectedArchitecture() const { return m_query.architecture; }
    void setSelectedArchitecture(const std::optional<QString> &architecture);
    [[nodiscard]] QVariant selectedArchitectureVariant() const;
    void setSelectedArchitectureVariant(const QVariant &architecture);
    [[nodiscard]] bool showOnlyInstalled() const { return m_query.onlyInstalled; }
    void setShowOnlyInstalled(bool value);
    [[nodiscard]] int count() const { return int(m_rows.size()); }
    // Follows the rows on screen, so a count never shows beside rows it does not describe.
    [[nodiscard]] QString title() const { return sourcePackagesTitle(count(), m_shownOnlyInstalled); }

    void setInstalledPackages(const QSet<QString> &installed);
    [[nodiscard]] const QSet<QString> &installedPackages() const { return m_installed; }
    [[nodiscard]] const PackageList &packages() const { return m_packages; }
    // Positions in packages() of the rows on screen.
    [[nodiscard]] const std::vector<qsizetype> &rows() const { return m_rows; }

Q_SIGNALS:
    void searchTextChanged();
    void selectedArchitectureChanged();
    void showOnlyInstalledChanged();
    void countChanged();
    void titleChanged();

private:
    void refilter();
    void startJob();
    void show(std::vector<qsizetype> rows, bool onlyInstalled);

    QString m_sourceLink;
    PackageList m_packages;
    QSet<QString> m_installed;
    SourcePackageQuery m_query;
    std::vector<qsizetype> m_rows;
    bool m_shownOnlyInstalled = false;
    // Each change of input gets a number; only the result for the latest number is shown.
    quint64 m_generation = 0;
    // One background filter at a time; changes made meanwhile are filtered when it ends.
    bool m_jobRunning = false;
    BackgroundJobs *m_jobs = nullptr;
};
