// The one state object the screens bind to: every value they show and every action they call.
// Main thread only; work elsewhere hands back values that are published here.
#pragma once

#include "app/platform.h"
#include "common/backgroundjobs.h"
#include "index/packageinfo.h"
#include "index/sourceloader.h"
#include "search/filterpipeline.h"
#include "search/packagelistmodel.h"
#include "search/packagepool.h"
#include "search/sourcepackagesmodel.h"
#include "sources/reposource.h"
#include "sources/sourcehealthmodel.h"
#include "sources/sourcelistmodel.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>
#include <QVariant>

#include <optional>

using PackagesByLink = QHash<QString, PackageList>;

class RepoViewModel : public QObject
{
    Q_OBJECT

    Q_PROPERTY(int totalMatches READ totalMatches WRITE setTotalMatches NOTIFY totalMatchesChanged)
    Q_PROPERTY(int maxResults READ maxResults WRITE setMaxResults NOTIFY maxResultsChanged)
    Q_PROPERTY(PackagesByLink packagesByLink READ packagesByLink NOTIFY packagesByLinkChanged)
    Q_PROPERTY(QSet<QString> loadingLinks READ loadingLinks NOTIFY loadingLinksChanged)
    Q_PROPERTY(QSet<QString> installedPackages READ installedPackages NOTIFY installedPackagesChanged)
    Q_PROPERTY(bool reloadView READ reloadView WRITE setReloadView NOTIFY reloadViewChanged)
    Q_PROPERTY(QList<RepoSource> sources READ sources WRITE setSources NOTIFY sourcesChanged)
    Q_PROPERTY(QString currentSourceLink READ currentSourceLink WRITE setCurrentSourceLink NOTIFY
                   currentSourceLinkChanged)
    Q_PROPERTY(QSet<QString> favoriteSourceLinks READ favoriteSourceLinks WRITE setFavoriteSourceLinks NOTIFY
                   favoriteSourceLinksChanged)
    Q_PROPERTY(QSet<QString> selectedSources READ selectedSources WRITE setSelectedSources NOTIFY
                   selectedSourcesChanged)
    Q_PROPERTY(SelectionMode selectedMode READ selectedMode WRITE setSelectedMode NOTIFY selectedModeChanged)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)
    Q_PROPERTY(bool showAlert READ showAlert WRITE setShowAlert NOTIFY showAlertChanged)
    Q_PROPERTY(QString alertMessage READ alertMessage WRITE setAlertMessage NOTIFY alertMessageChanged)
    Q_PROPERTY(PackageList packages READ packages NOTIFY packagesChanged)
    Q_PROPERTY(PackagePool allPackages READ allPackages NOTIFY allPackagesChanged)
    Q_PROPERTY(PackageSelection filteredPackages READ filteredPackages NOTIFY filteredPackagesChanged)
    // null (undefined in QML) means every architecture.
    Q_PROPERTY(QVariant selectedArchitecture READ selectedArchitectureVariant WRITE
                   setSelectedArchitectureVariant NOTIFY selectedArchitectureChanged)
    Q_PROPERTY(bool isAddSourcePresented READ isAddSourcePresented WRITE setAddSourcePresented NOTIFY
                   isAddSourcePresentedChanged)

    Q_PROPERTY(QStringList availableArchitectures READ availableArchitectures CONSTANT)
    Q_PROPERTY(QString sourcesKey READ sourcesKey CONSTANT)
    Q_PROPERTY(QString favoriteSourcesKey READ favoriteSourcesKey CONSTANT)
    Q_PROPERTY(QList<RepoSource> defaultSources READ defaultSources CONSTANT)

    Q_PROPERTY(QList<RepoSource> filteredSources READ filteredSources NOTIFY filteredSourcesChanged)
    Q_PROPERTY(QList<RepoSource> favoriteSources READ favoriteSources NOTIFY favoriteSourcesChanged)
    Q_PROPERTY(bool isAllSelected READ isAllSelected NOTIFY isAllSelectedChanged)
    Q_PROPERTY(bool isCopyButtonEnabled READ isCopyButtonEnabled NOTIFY isCopyButtonEnabledChanged)
    // Counts the screens show beside the lists.
    Q_PROPERTY(int sourceCount READ sourceCount NOTIFY sourcesChanged)
    Q_PROPERTY(int favoriteSourceCount READ favoriteSourceCount NOTIFY favoriteSourcesChanged)
    Q_PROPERTY(int selectedSourceCount READ selectedSourceCount NOTIFY selectedSourcesChanged)
    Q_PROPERTY(QString socialHandle READ socialHandle CONSTANT)
    // filteredSources and filteredPackages as rows for the screens' lists.
    Q_PROPERTY(SourceListModel *sourceModel READ sourceModel CONSTANT)
    Q_PROPERTY(PackageListModel *filteredPackagesModel READ filteredPackagesModel CONSTANT)
    // How every source's last load ended, worst first.
    Q_PROPERTY(SourceHealthModel *sourceHealthModel READ sourceHealthModel CONSTANT)
    // The run of loadAllPackages() in progress: sources done of all, and the packages they brought.
    Q_PROPERTY(bool loadInProgress READ loadInProgress NOTIFY loadProgressChanged)
    Q_PROPERTY(int loadTotal READ loadTotal NOTIFY loadProgressChanged)
    Q_PROPERTY(int loadDone READ loadDone NOTIFY loadProgressChanged)
    Q_PROPERTY(int loadedPackageCount READ loadedPackageCount NOTIFY loadProgressChanged)

public:
    enum SelectionMode {
        Favorites = 0,
        AllSources = 1,
        AllPackages = 2,
    };
    Q_ENUM(SelectionMode)

    // Takes the platform from Platform::defaultPlatform(); this is how the main screen creates it.
    explicit RepoViewModel(QObject *parent = nullptr);
    explicit RepoViewModel(Platform platform, QObject *parent = nullptr);
    // Tests pass a search-text timer they fire by hand.
    RepoViewModel(Platform platform, std::unique_ptr<DebounceTimer> searchTimer, QObject *parent = nullptr);
    ~RepoViewModel() override;

    [[nodiscard]] static QList<SelectionMode> allSelectionModes();
    [[nodiscard]] static std::optional<SelectionMode> selectionModeFromRaw(int raw);
    Q_INVOKABLE [[nodiscard]] static QString description(RepoViewModel::SelectionMode mode);

    [[nodiscard]] int totalMatches() const { return m_totalMatches; }
    void setTotalMatches(int value);
    [[nodiscard]] int maxResults() const { return m_maxResults; }
    void setMaxResults(int value);
    [[nodiscard]] const PackagesByLink &packagesByLink() const { return m_packagesByLink; }
    [[nodiscard]] const QSet<QString> &loadingLinks() const { return m_loadingLinks; }
    [[nodiscard]] const QSet<QString> &installedPackages() const { return m_installedPackages; }
    [[nodiscard]] bool reloadView() const { return m_reloadView; }
    void setReloadView(bool value);
    [[nodiscard]] const QList<RepoSource> &sources() const { return m_sources; }
    // Every change of the list is saved at once.
    void setSources(const QList<RepoSource> &sources);
    [[nodiscard]] QString currentSourceLink() const { return m_currentSourceLink; }
    void setCurrentSourceLink(const QString &link);
    [[nodiscard]] const QSet<QString> &favoriteSourceLinks() const { return m_favoriteSourceLinks; }
    void setFavoriteSourceLinks(const QSet<QString> &links);
    [[nodiscard]] const QSet<QString> &selectedSources() const { return m_selectedSources; }
    void setSelectedSources(const QSet<QString> &links);
    [[nodiscard]] SelectionMode selectedMode() const { return m_selectedMode; }
    // Leaving "all packages" also drops the architecture filter, even when the mode stays the same.
    void setSelectedMode(SelectionMode mode);
    [[nodiscard]] QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text);
    [[nodiscard]] bool showAlert() const { return m_showAlert; }
    void setShowAlert(bool value);
    [[nodiscard]] QString alertMessage() const { return m_alertMessage; }
    void setAlertMessage(const QString &message);
    [[nodiscard]] const PackageList &packages() const { return m_packages; }
    [[nodiscard]] const PackagePool &allPackages() const { return m_allPackages; }
    [[nodiscard]] const PackageSelection &filteredPackages() const { return m_filteredPackages; }
    [[nodiscard]] const std::optional<QString> &selectedArchitecture() const
    {
        return m_selectedArchitecture;
    }
    void setSelectedArchitecture(const std::optional<QString> &architecture);
    [[nodiscard]] QVariant selectedArchitectureVariant() const;
    void setSelectedArchitectureVariant(const QVariant &architecture);
    [[nodiscard]] bool isAddSourcePresented() const { return m_isAddSourcePresented; }
    void setAddSourcePresented(bool value);

    [[nodiscard]] QStringList availableArchitectures() const;
    [[nodiscard]] QString sourcesKey() const;
    [[nodiscard]] QString favoriteSourcesKey() const;
    [[nodiscard]] const QList<RepoSource> &defaultSources() const;

    [[nodiscard]] QList<RepoSource> filteredSources() const;
    [[nodiscard]] QList<RepoSource> favoriteSources() const;
    [[nodiscard]] bool isAllSelected() const;
    [[nodiscard]] bool isCopyButtonEnabled() const;
    [[nodiscard]] int sourceCount() const { return int(m_sources.size()); }
    [[nodiscard]] int favoriteSourceCount() const { return int(favoriteSources().size()); }
    [[nodiscard]] int selectedSourceCount() const { return int(m_selectedSources.size()); }
    [[nodiscard]] QString socialHandle() const;
    [[nodiscard]] SourceListModel *sourceModel() const { return m_sourceModel; }
    [[nodiscard]] SourceHealthModel *sourceHealthModel() const { return m_healthModel; }
    [[nodiscard]] bool loadInProgress() const { return m_loadDone < m_loadTotal; }
    [[nodiscard]] int loadTotal() const { return m_loadTotal; }
    [[nodiscard]] int loadDone() const { return m_loadDone; }
    [[nodiscard]] int loadedPackageCount() const { return int(m_loadedPackageCount); }
    [[nodiscard]] PackageListModel *filteredPackagesModel() const { return m_filteredPackagesModel; }

    // The packages loaded for one source; empty (and nothing created) when it has none.
    [[nodiscard]] PackageList packages(const QString &link) const;

    // A new package screen for one source, over the packages loaded for it now (none when it has no
    // entry); it follows the installed set. The screen passes itself as owner: a model held only by a
    // QML property would be the JavaScript collector's to delete while the screen still shows it.
    Q_INVOKABLE [[nodiscard]] SourcePackagesModel *makeSourcePackagesModel(const QString &link,
                                                                           QObject *owner = nullptr);

    // Exact, case-sensitive; an empty identifier is never installed.
    Q_INVOKABLE [[nodiscard]] bool isPackageInstalled(const QString &identifier) const;

    // One source's packages: from memory unless forced, else loaded in the background; the
    // completion runs once on the main thread. Failures end in an empty list, never an error.
    void loadPackages(const QString &link, bool force, std::function<void(const PackageList &)> completion);
    Q_INVOKABLE void loadPackages(const QString &link, bool force = false);
    // Every source at once; allPackages grows in the order the loads finish.
    void loadAllPackages(std::function<void()> completion);
    Q_INVOKABLE void loadAllPackages();
    [[nodiscard]] const SourceLoader &loader() const { return *m_loader; }

    Q_INVOKABLE void toggleSelection(const RepoSource &source);
    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void deselectAll();
    Q_INVOKABLE void toggleFavorite(const RepoSource &source);
    void loadFavorites();
    void saveFavorites();
    Q_INVOKABLE void copySelectedSources();
    Q_INVOKABLE void copyToClipboard(const QString &url);

    Q_INVOKABLE void openInSileo(const QString &url);
    Q_INVOKABLE void openInZebra(const QString &url);
    Q_INVOKABLE void openCydia(const QString &url);
    // A null or empty identifier does nothing.
    Q_INVOKABLE void openPackageInSileo(const QString &packageID);
    Q_INVOKABLE void performHapticFeedback();
    // Screen actions that only reach the platform: no alert, no feedback of their own.
    Q_INVOKABLE void copyText(const QString &text);
    Q_INVOKABLE void openDownload(const QString &address);
    Q_INVOKABLE void openSocialPage();

    // The packages button of a source card: a forced load, then sourcePackagesReady(link) whatever
    // the load found, so the list screen always opens on freshly validated data.
    Q_INVOKABLE void showSourcePackages(const QString &link);

    Q_INVOKABLE void addNewSource(const QString &link);
    Q_INVOKABLE void deleteSource(const RepoSource &source);

    // Lists of sources in and out: plain links, APT ".list" or deb822 ".sources". An import adds every
    // link as addNewSource() would and answers with a report for the screen (sourcelisttransfer.h);
    // it shows no alert, since the report lists more than an alert can hold.
    Q_INVOKABLE QVariantMap importSourceText(const QString &text);
    // A path or "file:" URL; a file that cannot be read is reported the same way and changes nothing.
    Q_INVOKABLE QVariantMap importSourceFile(const QString &file);
    // format: "links", "list" or "sources"; scope: "added", "selected" or "all". Empty for an unknown name.
    Q_INVOKABLE [[nodiscard]] QString exportSources(const QString &format, const QString &scope) const;
    Q_INVOKABLE [[nodiscard]] int exportSourceCount(const QString &scope) const;
    // Empty when written, else the error to show.
    Q_INVOKABLE QString saveSourceExport(const QString &file, const QString &format,
                                         const QString &scope) const;

    // The record with exactly this link, for callers that only hold a link (rows, the command line).
    Q_INVOKABLE [[nodiscard]] QVariant sourceForLink(const QString &link) const;

    // The source health view's actions: a forced load, and everything known about the source copied
    // as text for a bug report.
    Q_INVOKABLE void retrySource(const QString &link);
    Q_INVOKABLE void copyDiagnostics(const QString &link);

Q_SIGNALS:
    void totalMatchesChanged();
    void maxResultsChanged();
    void packagesByLinkChanged();
    void loadingLinksChanged();
    void installedPackagesChanged();
    void reloadViewChanged();
    void sourcesChanged();
    void currentSourceLinkChanged();
    void favoriteSourceLinksChanged();
    void selectedSourcesChanged();
    void selectedModeChanged();
    void searchTextChanged();
    void showAlertChanged();
    void alertMessageChanged();
    void packagesChanged();
    void allPackagesChanged();
    void filteredPackagesChanged();
    void selectedArchitectureChanged();
    void isAddSourcePresentedChanged();
    void filteredSourcesChanged();
    void favoriteSourcesChanged();
    void isAllSelectedChanged();
    void isCopyButtonEnabledChanged();
    void loadProgressChanged();
    // After each loadAllPackages() run, on the main thread.
    void allPackagesLoaded();
    // The catalogue snapshot a loadAllPackages() run starts holds what that run loaded (or it could not be
    // written); on the main thread.
    void snapshotSaved(bool saved);
    // A light tap of feedback for the user; the screens show it as a short pulse.
    void feedback();
    // showSourcePackages() has an answer for this link in packagesByLink.
    void sourcePackagesReady(const QString &link);

private:
    void setupFilteredPackages(std::unique_ptr<DebounceTimer> searchTimer);
    void loadInstalledPackages();
    void setInstalledPackages(const QSet<QString> &installed);
    void publishPackages(const QString &link, const PackageList &packages);
    [[nodiscard]] PackagePool::Index searchIndexFor(const PackageList &packages) const;
    void setLoading(const QString &link, bool loading);
    void setFilteredPackages(const PackageSelection &packages);
    void loadSources();
    void saveSources();
    void alert(const QString &message);
    void refreshSourceViews();
    void recordHealth(const QString &link, const LoadHealth &health);
    // Reads the records kept from earlier runs and saves new ones a second after they come.
    void setupHealthRecords();
    // Keeps every source's packages of a finished load as the snapshot the next load reads.
    void saveSnapshot();

    Platform m_platform;
    std::shared_ptr<SnapshotStore> m_snapshots; // before m_loader, which shares it

    int m_totalMatches = 0;
    int m_maxResults = 400;
    PackagesByLink m_packagesByLink;
    QSet<QString> m_loadingLinks;
    QSet<QString> m_installedPackages;
    bool m_reloadView = false;
    QList<RepoSource> m_sources;
    QString m_currentSourceLink;
    QSet<QString> m_favoriteSourceLinks;
    QSet<QString> m_selectedSources;
    SelectionMode m_selectedMode = AllSources;
    QString m_searchText;
    bool m_showAlert = false;
    QString m_alertMessage;
    PackageList m_packages;
    PackagePool m_allPackages;
    // The search index each load built beside its list, so "All Packages" never indexes on a keystroke.
    QHash<QString, std::pair<PackageList, PackagePool::Index>> m_searchIndexes;
    // The stamp of the cached index each source's last load came from; empty when it came from none.
    QHash<QString, QByteArray> m_cacheStamps;
    PackageSelection m_filteredPackages;
    std::optional<QString> m_selectedArchitecture;
    bool m_isAddSourcePresented = false;

    SourceListModel *m_sourceModel = nullptr;
    PackageListModel *m_filteredPackagesModel = nullptr;
    FilterPipeline *m_filterPipeline = nullptr;
    SourceLoader *m_loader = nullptr;
    BackgroundJobs *m_jobs = nullptr;
    bool m_lastAllSelected = false;
    SourceHealthModel *m_healthModel = nullptr;
    QString m_healthRecordsPath;
    QTimer *m_healthSaveTimer = nullptr;
    int m_loadTotal = 0;
    int m_loadDone = 0;
    qint64 m_loadedPackageCount = 0;
};
