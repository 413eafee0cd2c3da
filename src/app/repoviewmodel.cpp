#include "app/repoviewmodel.h"

#include "device/installedpackages.h"
#include "handoff/handofflinks.h"
#include "index/cachepaths.h"
#include "index/snapshotstore.h"
#include "search/packagerows.h"
#include "sources/defaultsources.h"
#include "sources/sourceediting.h"
#include "sources/sourcelistexport.h"
#include "sources/sourcelistfile.h"
#include "sources/sourcelisttransfer.h"
#include "sources/sourceselection.h"
#include "sources/sourcestore.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>

#include <cstdio>

Q_LOGGING_CATEGORY(lcApp, "tallowpine.app")

namespace {

LoadEnvironment loadEnvironment(const Platform &platform, std::shared_ptr<SnapshotStore> snapshots = {})
{
    const QString cacheRoot =
        platform.dataDirectory.isEmpty() ? defaultCacheRoot() : cacheRootIn(platform.dataDirectory);
    return LoadEnvironment{cacheRoot, platform.deviceRoot, platform.timeouts, platform.offline,
                           std::move(snapshots)};
}

// A file of the app's own beside the cache root rather than in it, where a source's folder could have
// any name.
QString besideCacheRoot(const Platform &platform, const QString &name)
{
    return QFileInfo(loadEnvironment(platform).cacheRoot).dir().filePath(name);
}

Platform withClock(Platform platform)
{
    if (!platform.now)
        platform.now = [] { return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0; };
    return platform;
}

} // namespace

RepoViewModel::RepoViewModel(QObject *parent)
    : RepoViewModel(Platform::defaultPlatform(), parent)
{}

RepoViewModel::RepoViewModel(Platform platform, QObject *parent)
    : RepoViewModel(std::move(platform), nullptr, parent)
{}

RepoViewModel::RepoViewModel(Platform platform, std::unique_ptr<DebounceTimer> searchTimer, QObject *parent)
    : QObject(parent)
    , m_platform(withClock(std::move(platform)))
    , m_snapshots(
          std::make_shared<SnapshotStore>(besideCacheRoot(m_platform, QStringLiteral("Catalogue.snapshot"))))
    , m_sourceModel(new SourceListModel(this))
    , m_filteredPackagesModel(new PackageListModel(this))
    , m_loader(new SourceLoader(loadEnvironment(m_platform, m_snapshots), this))
    , m_jobs(new BackgroundJobs(this))
    , m_healthModel(new SourceHealthModel(m_platform.now, this))
    , m_healthRecordsPath(besideCacheRoot(m_platform, QStringLiteral("SourceHealth.json")))
    , m_healthSaveTimer(new QTimer(this))
{
    loadSources();
    m_healthModel->setSources(m_sources);
    setupHealthRecords();
    loadFavorites();
    // The start-up write of the merged source list lands now, while nothing is drawn yet, rather than
    // on the first turn of the event loop in the middle of the first load.
    m_platform.settings->sync();
    setupFilteredPackages(std::move(searchTimer));
    loadInstalledPackages();
}

RepoViewModel::~RepoViewModel()
{
    // Records not written yet go now: a load that ended just before quitting is not forgotten.
    if (m_healthSaveTimer->isActive())
        (void)writeHealthRecords(m_healthRecordsPath, m_healthModel->records());
}

QList<RepoViewModel::SelectionMode> RepoViewModel::allSelectionModes()
{
    return {Favorites, AllSources, AllPackages};
}

std::optional<RepoViewModel::SelectionMode> RepoViewModel::selectionModeFromRaw(int raw)
{
    switch (raw) {
    case Favorites:
    case AllSources:
    case AllPackages:
        return SelectionMode(raw);
    default:
        return std::nullopt;
    }
}

QString RepoViewModel::description(SelectionMode mode)
{
    switch (mode) {
    case Favorites:
        return QStringLiteral("Favorites \u2B50\uFE0F");
    case AllSources:
        return QStringLiteral("All Sources");
    case AllPackages:
        return QStringLiteral("All Packages");
    }
    return {};
}

void RepoViewModel::setTotalMatches(int value)
{
    if (m_totalMatches == value)
        return;
    m_totalMatches = value;
    Q_EMIT totalMatchesChanged();
}

void RepoViewModel::setMaxResults(int value)
{
    if (m_maxResults == value)
        return;
    m_maxResults = value;
    Q_EMIT maxResultsChanged();
}

void RepoViewModel::setReloadView(bool value)
{
    if (m_reloadView == value)
        return;
    m_reloadView = value;
    Q_EMIT reloadViewChanged();
}

void RepoViewModel::setSources(const QList<RepoSource> &sources)
{
    // Saved even when unchanged: the stored list must follow every assignment, including the
    // start-up one that writes the merged catalogue back.
    const bool changed = m_sources != sources;
    m_sources = sources;
    saveSources();
    if (!changed)
        return;
    Q_EMIT sourcesChanged();
    refreshSourceViews();
    m_healthModel->setSources(m_sources);
}

void RepoViewModel::setCurrentSourceLink(const QString &link)
{
    if (m_currentSourceLink == link)
        return;
    m_currentSourceLink = link;
    Q_EMIT currentSourceLinkChanged();
}

void RepoViewModel::setFavoriteSourceLinks(const QSet<QString> &links)
{
    if (m_favoriteSourceLinks == links)
        return;
    m_favoriteSourceLinks = links;
    Q_EMIT favoriteSourceLinksChanged();
    refreshSourceViews();
}

void RepoViewModel::setSelectedSources(const QSet<QString> &links)
{
    if (m_selectedSources == links)
        return;
    m_selectedSources = links;
    Q_EMIT selectedSourcesChanged();
    refreshSourceViews();
}

void RepoViewModel::setSelectedMode(SelectionMode mode)
{
    if (m_selectedMode != mode) {
        m_selectedMode = mode;
        Q_EMIT selectedModeChanged();
        refreshSourceViews();
    }
    if (mode != AllPackages)
        setSelectedArchitecture(std::nullopt);
}

void RepoViewModel::setSearchText(const QString &text)
{
    if (m_searchText == text)
        return;
    m_searchText = text;
    Q_EMIT searchTextChanged();
    refreshSourceViews();
}

void RepoViewModel::setShowAlert(bool value)
{
    if (m_showAlert == value)
        return;
    m_showAlert = value;
    Q_EMIT showAlertChanged();
}

void RepoViewModel::setAlertMessage(const QString &message)
{
    if (m_alertMessage == message)
        return;
    m_alertMessage = message;
    Q_EMIT alertMessageChanged();
}

void RepoViewModel::setSelectedArchitecture(const std::optional<QString> &architecture)
{
    if (m_selectedArchitecture == architecture)
        return;
    m_selectedArchitecture = architecture;
    Q_EMIT selectedArchitectureChanged();
}

QVariant RepoViewModel::selectedArchitectureVariant() const
{
    return PackageRows::architectureVariant(m_selectedArchitecture);
}

void RepoViewModel::setSelectedArchitectureVariant(const QVariant &architecture)
{
    setSelectedArchitecture(PackageRows::architectureFromVariant(architecture));
}

void RepoViewModel::setAddSourcePresented(bool value)
{
    if (m_isAddSourcePresented == value)
        return;
    m_isAddSourcePresented = value;
    Q_EMIT isAddSourcePresentedChanged();
}

QStringList RepoViewModel::availableArchitectures() const
{
    return {QStringLiteral("arm"), QStringLiteral("arm64"), QStringLiteral("arm64e")};
}

QString RepoViewModel::sourcesKey() const
{
    return SourceStore::sourcesKey;
}

QString RepoViewModel::favoriteSourcesKey() const
{
    return SourceStore::favoriteSourcesKey;
}

const QList<RepoSource> &RepoViewModel::defaultSources() const
{
    return m_platform.catalogue ? *m_platform.catalogue : ::defaultSources();
}

QList<RepoSource> RepoViewModel::filteredSources() const
{
    return searchSources(m_selectedMode == Favorites ? favoriteSources() : m_sources, m_searchText);
}

QList<RepoSource> RepoViewModel::favoriteSources() const
{
    return ::favoriteSources(m_sources, m_favoriteSourceLinks);
}

bool RepoViewModel::isAllSelected() const
{
    return ::isAllSelected(m_selectedSources.size(), filteredSources().size());
}

bool RepoViewModel::isCopyButtonEnabled() const
{
    return !m_selectedSources.isEmpty();
}

PackageList RepoViewModel::packages(const QString &link) const
{
    return m_packagesByLink.value(link);
}

void RepoViewModel::toggleSelection(const RepoSource &source)
{
    QSet<QString> selected = m_selectedSources;
    if (!selected.remove(source.link))
        selected.insert(source.link);
    setSelectedSources(selected);
    performHapticFeedback();
}

void RepoViewModel::selectAll()
{
    QSet<QString> selected;
    for (const RepoSource &source : filteredSources())
        selected.insert(source.link);
    setSelectedSources(selected);
    performHapticFeedback();
}

void RepoViewModel::deselectAll()
{
    setSelectedSources({});
    performHapticFeedback();
}

void RepoViewModel::toggleFavorite(const RepoSource &source)
{
    QSet<QString> favorites = m_favoriteSourceLinks;
    if (favorites.remove(source.link)) {
        setAlertMessage(SelectionAlerts::favoriteRemoved(source.name));
    } else {
        favorites.insert(source.link);
        setAlertMessage(SelectionAlerts::favoriteAdded(source.name));
    }
    setFavoriteSourceLinks(favorites);
    setShowAlert(true);
    saveFavorites();
    performHapticFeedback();
}

void RepoViewModel::loadFavorites()
{
    SourceStore store(*m_platform.settings);
    if (const auto favorites = store.loadFavorites())
        setFavoriteSourceLinks(*favorites);
}

void RepoViewModel::saveFavorites()
{
    SourceStore(*m_platform.settings).saveFavorites(m_favoriteSourceLinks);
}

void RepoViewModel::copySelectedSources()
{
    const QStringList links = selectedLinks(filteredSources(), m_selectedSources);
    m_platform.clipboard->setText(links.join(QLatin1Char('\n')));
    alert(SelectionAlerts::sourcesCopied(links.size()));
    performHapticFeedback();
}

void RepoViewModel::copyToClipboard(const QString &url)
{
    m_platform.clipboard->setText(url);
    alert(SelectionAlerts::linkCopied(url));
    performHapticFeedback();
}

void RepoViewModel::openInSileo(const QString &url)
{
    if (Handoff::openAddress(*m_platform.urlOpener, Handoff::sileoSource(url)))
        performHapticFeedback();
}

void RepoViewModel::openInZebra(const QString &url)
{
    if (Handoff::openAddress(*m_platform.urlOpener, Handoff::zebraSource(url)))
        performHapticFeedback();
}

void RepoViewModel::openCydia(const QString &url)
{
    if (Handoff::openAddress(*m_platform.urlOpener, Handoff::cydiaSource(url)))
        performHapticFeedback();
}

void RepoViewModel::openPackageInSileo(const QString &packageID)
{
    if (packageID.isEmpty())
        return;
    if (Handoff::openAddress(*m_platform.urlOpener, Handoff::sileoPackage(packageID)))
        performHapticFeedback();
    else
        alert(Handoff::packageOpenFailed);
}

void RepoViewModel::performHapticFeedback()
{
    Q_EMIT feedback();
}

void RepoViewModel::retrySource(const QString &link)
{
    loadPackages(link, true);
}

void RepoViewModel::copyDiagnostics(const QString &link)
{
    copyText(m_healthModel->diagnostics(link));
}

void RepoViewModel::recordHealth(const QString &link, const LoadHealth &health)
{
    m_healthModel->record(link, health);
    // One write for a whole run of loads, on a worker.
    if (!m_healthSaveTimer->isActive())
        m_healthSaveTimer->start();
}

void RepoViewModel::setupHealthRecords()
{
    m_healthSaveTimer->setSingleShot(true);
    m_healthSaveTimer->setInterval(1000);
    connect(m_healthSaveTimer, &QTimer::timeout, this, [this] {
        m_jobs->start([path = m_healthRecordsPath, records = m_healthModel->records()] {
            if (!writeHealthRecords(path, records))
                qCWarning(lcApp) << "could not save the source health records to" << path;
            return BackgroundJobs::Completion();
        });
    });
    m_jobs->start([this, path = m_healthRecordsPath]() -> BackgroundJobs::Completion {
        auto records = std::make_shared<const HealthRecords>(readHealthRecords(path));
        return [this, records] { m_healthModel->restore(*records); };
    });
}

void RepoViewModel::copyText(const QString &text)
{
    m_platform.clipboard->setText(text);
}

void RepoViewModel::openDownload(const QString &address)
{
    Handoff::openAddress(*m_platform.urlOpener, address);
}

QString RepoViewModel::socialHandle() const
{
    return Handoff::socialHandle;
}

void RepoViewModel::openSocialPage()
{
    Handoff::openAddress(*m_platform.urlOpener, Handoff::socialPage);
}

void RepoViewModel::showSourcePackages(const QString &link)
{
    loadPackages(link, true, [this, link](const PackageList &) { Q_EMIT sourcePackagesReady(link); });
}

void RepoViewModel::addNewSource(const QString &link)
{
    const SourceEdit edit = ::addSource(m_sources, link);
    if (edit.sources) {
        setSources(*edit.sources);
        setReloadView(!m_reloadView);
    }
    alert(edit.alert);
}

void RepoViewModel::deleteSource(const RepoSource &source)
{
    const SourceEdit edit = ::deleteSource(m_sources, source);
    if (edit.sources) {
        setSources(*edit.sources);
        // Only in memory: the stored favourites keep the link until they are next saved.
        QSet<QString> favorites = m_favoriteSourceLinks;
        favorites.remove(source.link);
        setFavoriteSourceLinks(favorites);
    }
    if (!edit.alert.isEmpty())
        alert(edit.alert);
}

QVariant RepoViewModel::sourceForLink(const QString &link) const
{
    for (const RepoSource &source : m_sources) {
        if (source.link == link)
            return QVariant::fromValue(source);
    }
    return {};
}

void RepoViewModel::setupFilteredPackages(std::unique_ptr<DebounceTimer> searchTimer)
{
    m_filterPipeline = new FilterPipeline(std::move(searchTimer), this);
    m_filterPipeline->setArchitecture(m_selectedArchitecture);
    m_filterPipeline->setPackagesMode(m_selectedMode == AllPackages);
    m_filterPipeline->setPool(m_allPackages);
    m_filterPipeline->setSearchText(m_searchText);
    connect(this, &RepoViewModel::searchTextChanged, m_filterPipeline,
            [this] { m_filterPipeline->setSearchText(m_searchText); });
    connect(this, &RepoViewModel::selectedArchitectureChanged, m_filterPipeline,
            [this] { m_filterPipeline->setArchitecture(m_selectedArchitecture); });
    connect(this, &RepoViewModel::selectedModeChanged, m_filterPipeline,
            [this] { m_filterPipeline->setPackagesMode(m_selectedMode == AllPackages); });
    connect(this, &RepoViewModel::allPackagesChanged, m_filterPipeline,
            [this] { m_filterPipeline->setPool(m_allPackages); });
    connect(m_filterPipeline, &FilterPipeline::filtered, this, &RepoViewModel::setFilteredPackages);
}

void RepoViewModel::setFilteredPackages(const PackageSelection &packages)
{
    m_filteredPackages = packages;
    m_filteredPackagesModel->setSelection(packages);
    Q_EMIT filteredPackagesChanged();
}

SourcePackagesModel *RepoViewModel::makeSourcePackagesModel(const QString &link, QObject *owner)
{
    auto *model = new SourcePackagesModel(link, packages(link), m_installedPackages, owner);
    connect(this, &RepoViewModel::installedPackagesChanged, model,
            [this, model] { model->setInstalledPackages(m_installedPackages); });
    return model;
}

bool RepoViewModel::isPackageInstalled(const QString &identifier) const
{
    return ::isPackageInstalled(m_installedPackages, identifier);
}

void RepoViewModel::loadInstalledPackages()
{
    m_jobs->start([this, root = m_platform.deviceRoot] {
        auto installed = std::make_shared<const std::optional<QSet<QString>>>(::loadInstalledPackages(root));
        return [this, installed] {
            // No status file means nothing is known, which is not the same as nothing installed.
            if (*installed)
                setInstalledPackages(**installed);
        };
    });
}

void RepoViewModel::setInstalledPackages(const QSet<QString> &installed)
{
    if (m_installedPackages == installed)
        return;
    m_installedPackages = installed;
    m_filteredPackagesModel->setInstalledPackages(m_installedPackages);
    Q_EMIT installedPackagesChanged();
}

void RepoViewModel::loadPackages(const QString &link, bool force)
{
    loadPackages(link, force, [](const PackageList &) {});
}

void RepoViewModel::loadPackages(const QString &link, bool force,
                                 std::function<void(const PackageList &)> completion)
{
    setCurrentSourceLink(link);
    if (!force) {
        const auto known = m_packagesByLink.constFind(link);
        if (known != m_packagesByLink.cend()) {
            // Even an empty list counts: a failed source is tried again only when forced.
            const PackageList packages = *known;
            m_packages = packages;
            Q_EMIT packagesChanged();
            completion(packages);
            return;
        }
    }
    setLoading(link, true);
    m_loader->load(link, force, [this, link, completion = std::move(completion)](const LoadResult &result) {
        m_searchIndexes.insert(link, {result.packages, result.searchIndex});
        m_cacheStamps.insert(link, result.cacheStamp);
        recordHealth(link, result.health);
        publishPackages(link, result.packages);
        completion(result.packages);
    });
}

void RepoViewModel::publishPackages(const QString &link, const PackageList &packages)
{
    setLoading(link, false);
    m_packagesByLink.insert(link, packages);
    Q_EMIT packagesByLinkChanged();
    // The user may have moved on to another source while this one loaded.
    if (m_currentSourceLink == link) {
        m_packages = packages;
        Q_EMIT packagesChanged();
    }
}

PackagePool::Index RepoViewModel::searchIndexFor(const PackageList &packages) const
{
    if (packages.isEmpty())
        return {};
    // Only the index built from this very list will do; a later load of the link built another.
    const auto known = m_searchIndexes.constFind(packages.first().sourceLink());
    if (known == m_searchIndexes.cend() || known->first.constData() != packages.constData() ||
        known->first.size() != packages.size())
        return {};
    return known->second;
}

void RepoViewModel::setLoading(const QString &link, bool loading)
{
    const bool changed = loading ? !m_loadingLinks.contains(link) : m_loadingLinks.contains(link);
    if (!changed)
        return;
    if (loading)
        m_loadingLinks.insert(link);
    else
        m_loadingLinks.remove(link);
    m_sourceModel->setLinkLoading(link, loading);
    Q_EMIT loadingLinksChanged();
}

void RepoViewModel::loadAllPackages()
{
    loadAllPackages([] {});
}

void RepoViewModel::loadAllPackages(std::function<void()> completion)
{
    m_allPackages.clear();
    Q_EMIT allPackagesChanged();
    m_loadTotal = int(m_sources.size());
    m_loadDone = 0;
    m_loadedPackageCount = 0;
    Q_EMIT loadProgressChanged();

    // Each run counts its own loads; a run started while another is in flight lets the older
    // run's late results land in the new list, which is accepted.
    auto remaining = std::make_shared<qsizetype>(m_sources.size());
    const auto finish = [this, completion] {
        std::fputs("تم تحميل جميع الحزم من جميع السورسات (محليًا).\n", m_platform.diagnostics);
        std::fflush(m_platform.diagnostics);
        completion();
        Q_EMIT allPackagesLoaded();
        saveSnapshot();
    };
    if (*remaining == 0) {
        QMetaObject::invokeMethod(this, finish, Qt::QueuedConnection);
        return;
    }
    const QList<RepoSource> sources = m_sources;
    for (const RepoSource &source : sources) {
        loadPackages(source.link, false, [this, remaining, finish](const PackageList &packages) {
            // Always through the event loop, even for an answer from memory, so every append
            // happens after all loads have started.
            QMetaObject::invokeMethod(
                this,
                [this, remaining, finish, packages] {
                    m_allPackages.append(packages, searchIndexFor(packages));
                    Q_EMIT allPackagesChanged();
                    // A newer run restarted the count; this one's late results still add up there.
                    m_loadDone = std::min(m_loadDone + 1, m_loadTotal);
                    m_loadedPackageCount += packages.size();
                    Q_EMIT loadProgressChanged();
                    if (--*remaining == 0)
                        finish();
                },
                Qt::QueuedConnection);
        });
    }
}

void RepoViewModel::saveSnapshot()
{
    // Every source of the list that came from its cache, in list order; the others are parsed anew
    // next time in any case.
    QList<SnapshotSource> sources;
    QSet<QString> seen;
    for (const RepoSource &source : std::as_const(m_sources)) {
        const QByteArray stamp = m_cacheStamps.value(source.link);
        const auto packages = m_packagesByLink.constFind(source.link);
        if (stamp.isEmpty() || packages == m_packagesByLink.cend() || seen.contains(source.link))
            continue;
        seen.insert(source.link);
        sources.append({source.link, stamp, *packages});
    }
    m_jobs->start([this, store = m_snapshots, sources = std::move(sources)]() -> BackgroundJobs::Completion {
        const bool saved = store->save(sources);
        return [this, saved] { Q_EMIT snapshotSaved(saved); };
    });
}

void RepoViewModel::loadSources()
{
    setSources(SourceStore(*m_platform.settings).loadSources(defaultSources()));
}

void RepoViewModel::saveSources()
{
    SourceStore(*m_platform.settings).saveSources(m_sources);
}

void RepoViewModel::alert(const QString &message)
{
    setAlertMessage(message);
    setShowAlert(true);
}

void RepoViewModel::refreshSourceViews()
{
    m_sourceModel->update(filteredSources(), m_favoriteSourceLinks, m_selectedSources);
    Q_EMIT filteredSourcesChanged();
    Q_EMIT favoriteSourcesChanged();
    const bool allSelected = isAllSelected();
    if (allSelected != m_lastAllSelected) {
        m_lastAllSelected = allSelected;
        Q_EMIT isAllSelectedChanged();
    }
    Q_EMIT isCopyButtonEnabledChanged();
}

QVariantMap RepoViewModel::importSourceText(const QString &text)
{
    const SourceListImport result = importSourceList(m_sources, text);
    if (!result.added.isEmpty()) {
        setSources(result.sources);
        setReloadView(!m_reloadView);
    }
    return importReport(result);
}

QVariantMap RepoViewModel::importSourceFile(const QString &file)
{
    const SourceListFileText read = readSourceListFile(file);
    if (!read.error.isEmpty())
        return importFailure(read.error);
    return importSourceText(read.text);
}

QString RepoViewModel::exportSources(const QString &format, const QString &scope) const
{
    const std::optional<SourceListFormat> listFormat = sourceListFormatFromName(format);
    const std::optional<SourceExportScope> exportScope = sourceExportScopeFromName(scope);
    if (!listFormat || !exportScope)
        return QString();
    return exportSourceList(sourcesToExport(m_sources, filteredSources(), m_selectedSources, *exportScope),
                            *listFormat);
}

int RepoViewModel::exportSourceCount(const QString &scope) const
{
    const std::optional<SourceExportScope> exportScope = sourceExportScopeFromName(scope);
    if (!exportScope)
        return 0;
    return int(sourcesToExport(m_sources, filteredSources(), m_selectedSources, *exportScope).size());
}

QString RepoViewModel::saveSourceExport(const QString &file, const QString &format,
                                        const QString &scope) const
{
    if (!sourceListFormatFromName(format) || !sourceExportScopeFromName(scope))
        return QStringLiteral("Unknown export format or scope.");
    return writeSourceListFile(file, exportSources(format, scope));
}
