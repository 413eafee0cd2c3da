#include "app/repoviewmodel.h"
#include "index/catalogsnapshot.h"
#include "sources/defaultsources.h"
#include "sources/sourceediting.h"
#include "sources/sourceselection.h"
#include "sources/sourcestore.h"

#include "../testfiles.h"
#include "../testplatform.h"
#include "faultserver.h"
#include "testcertificates.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QList<RepoSource> storedSources(QSettings &settings)
{
    return decodeSourceList(settings.value(SourceStore::sourcesKey).toByteArray())
        .value_or(QList<RepoSource>{});
}

QSet<QString> linksOf(const QList<RepoSource> &sources)
{
    QSet<QString> links;
    for (const RepoSource &s : sources)
        links.insert(s.link);
    return links;
}

using Route = FaultServer::Route;

QByteArray index(const QString &prefix, int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += "Package: " + prefix.toUtf8() + '.' + QByteArray::number(i) + "\nName: " + prefix.toUtf8() +
                "\n\n";
    return text;
}

RepoSource userSource(const QString &link)
{
    return RepoSource{link, link, link, QStringLiteral("Repos.png"), false};
}

} // namespace

// The app's state object: its own rules, and loading sources from a loopback server (this
// executable keeps its name because the ThreadSanitizer run picks it by name).
class TestApp : public QObject
{
    Q_OBJECT

    TestCertificates m_certificates;
    std::unique_ptr<FaultServer> m_server;

    // A state object whose sources are only the given loopback links.
    std::unique_ptr<RepoViewModel> model(TestPlatform &t, const QStringList &links)
    {
        Platform platform = t.platform();
        platform.timeouts = DownloadTimeouts{300, 600};
        auto model = std::make_unique<RepoViewModel>(platform);
        QList<RepoSource> sources;
        for (const QString &link : links)
            sources.append(userSource(link));
        model->setSources(sources);
        return model;
    }

private Q_SLOTS:
    void startUpWritesTheMergedListBack()
    {
        TestPlatform t;
        RepoViewModel model(t.platform());
        QCOMPARE(model.sources(), defaultSources());
        QCOMPARE(storedSources(*t.settings), defaultSources());
    }

    void leavingAllPackagesClearsTheArchitecture_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<bool>("kept");
        using M = RepoViewModel;
        QTest::newRow("to all sources") << int(M::AllPackages) << int(M::AllSources) << false;
        QTest::newRow("same value again") << int(M::AllSources) << int(M::AllSources) << false;
        QTest::newRow("to all packages") << int(M::AllSources) << int(M::AllPackages) << true;
    }
    void leavingAllPackagesClearsTheArchitecture()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(bool, kept);
        TestPlatform t;
        RepoViewModel model(t.platform());
        model.setSelectedMode(RepoViewModel::SelectionMode(from));
        model.setSelectedArchitecture(u"arm64"_s);
        QSignalSpy spy(&model, &RepoViewModel::selectedArchitectureChanged);
        model.setSelectedMode(RepoViewModel::SelectionMode(to));
        QCOMPARE(model.selectedArchitecture().has_value(), kept);
        QCOMPARE(spy.count(), kept ? 0 : 1);
    }

    void filteringAndSelection()
    {
        TestPlatform t;
        RepoViewModel model(t.platform());
        const QList<RepoSource> &all = model.sources();
        const RepoSource a = all.at(10);
        const RepoSource b = all.at(11);

        // Favourites mode with no favourites: nothing shown, nothing "all selected".
        model.setSelectedMode(RepoViewModel::Favorites);
        QVERIFY(!model.isAllSelected());
        model.toggleSelection(a);
        model.selectAll();
        QVERIFY(model.selectedSources().isEmpty());
        QVERIFY(!model.isCopyButtonEnabled());

        model.setSelectedMode(RepoViewModel::AllSources);
        model.toggleSelection(a);
        model.toggleSelection(b);
        QCOMPARE(model.selectedSources(), (QSet<QString>{a.link, b.link}));
        QVERIFY(model.isCopyButtonEnabled());

        // Search only hides; the hidden tick stays but is not exported.
        model.setSearchText(a.name.toUpper());
        QVERIFY(model.filteredSources().contains(a));
        QVERIFY(!model.filteredSources().contains(b));
        model.copySelectedSources();
        QCOMPARE(t.clipboard->texts.constLast(), a.link);
        QCOMPARE(model.selectedSources().size(), 2);

        // Only counts are compared: two ticks against a one-row list is not "all" ...
        QCOMPARE(model.isAllSelected(), model.filteredSources().size() == 2);
        // ... and selectAll drops the hidden tick.
        model.selectAll();
        QCOMPARE(model.selectedSources(), linksOf(model.filteredSources()));
        QVERIFY(model.isAllSelected());

        // Copying every source is the screens test's; here what copying nothing says.
        model.deselectAll();
        model.copySelectedSources();
        QCOMPARE(t.clipboard->texts.constLast(), QString());
        QCOMPARE(model.alertMessage(), SelectionAlerts::sourcesCopied(0));
    }

    void searchMatchesNamesNotLinks()
    {
        TestPlatform t;
        RepoViewModel model(t.platform());
        model.setSearchText(u"https://"_s);
        QVERIFY(model.filteredSources().isEmpty());
        // The invisible prefix is part of a name and can be searched for.
        model.setSearchText(u"\u200F\u200B\u200F"_s);
        QCOMPARE(model.filteredSources().size(), 3);
        model.setSearchText(u" "_s);
        QVERIFY(model.filteredSources().size() < model.sources().size());
    }

    void favouritesPersistAndToggleBack()
    {
        TestPlatform t;
        RepoViewModel model(t.platform());
        const RepoSource source = model.sources().at(5);
        // Stars change rows in place: a reset would scroll the list back to the top.
        QSignalSpy reset(model.sourceModel(), &QAbstractItemModel::modelReset);

        model.toggleFavorite(source);
        QCOMPARE(model.alertMessage(), SelectionAlerts::favoriteAdded(source.name));
        QCOMPARE(model.favoriteSources(), QList<RepoSource>{source});
        t.reopen();
        QCOMPARE(RepoViewModel(t.platform()).favoriteSourceLinks(), QSet<QString>{source.link});

        model.setShowAlert(false);
        model.toggleFavorite(source);
        QCOMPARE(model.alertMessage(), SelectionAlerts::favoriteRemoved(source.name));
        QVERIFY(model.showAlert());
        QVERIFY(model.favoriteSourceLinks().isEmpty());
        QCOMPARE(reset.count(), 0);
    }

    void addingAndDeletingASource()
    {
        TestPlatform t;
        auto model = std::make_unique<RepoViewModel>(t.platform());
        const QString link = u"https://www.new-repo.example/apt"_s;
        const bool reload = model->reloadView();

        model->addNewSource(u"http://first.example/"_s);
        QCOMPARE(model->reloadView(), !reload); // flipped once per change
        model->addNewSource(link);
        QCOMPARE(model->alertMessage(), SourceAlerts::added);
        model->addNewSource(link.toUpper());
        QCOMPARE(model->alertMessage(), SourceAlerts::duplicate);
        QCOMPARE(model->reloadView(), reload);
        const RepoSource added = model->sources().first();
        QCOMPARE(added, (RepoSource{link, u"New-repo.example"_s, link, u"Repos.png"_s, false}));

        // Newest first, across a restart.
        t.reopen();
        model = std::make_unique<RepoViewModel>(t.platform());
        QCOMPARE(model->sources().size(), defaultSources().size() + 2);
        QCOMPARE(model->sources().at(0), added);
        QCOMPARE(model->sources().at(1).link, u"http://first.example/"_s);

        // Deleting keeps the stored favourites until they are next saved.
        model->toggleFavorite(added);
        model->deleteSource(added);
        QCOMPARE(model->alertMessage(), SourceAlerts::deleted(added.name));
        QVERIFY(!model->sources().contains(added));
        QVERIFY(!model->favoriteSourceLinks().contains(link));
        QCOMPARE(storedSources(*t.settings).first().link, u"http://first.example/"_s);
        QCOMPARE(t.settings->value(SourceStore::favoriteSourcesKey).toString(), link);
    }

    void initTestCase()
    {
        QVERIFY(m_certificates.isValid());
        m_certificates.trustInThisProcess();
        m_server = std::make_unique<FaultServer>(m_certificates);
        m_server->setRoute("/fast/Packages", Route{200, index(QStringLiteral("fast"), 3), {}});
        // The first candidate stalls until the request time-out, so this source finishes last.
        m_server->setRoute("/slow/Packages.gz", Route{200, "x", {}, FaultServer::Fault::StallBeforeHeaders});
        m_server->setRoute("/slow/Packages", Route{200, index(QStringLiteral("slow"), 2), {}});
        m_server->setRoute("/same/Packages", Route{200, index(QStringLiteral("fast"), 3), {}});
    }

    void memoryAnswersAtOnceEvenWhenEmpty()
    {
        TestPlatform t;
        const QString missing = QStringLiteral("http://nothing.invalid/");
        auto m = model(t, {missing});
        QSignalSpy loading(m.get(), &RepoViewModel::loadingLinksChanged);
        std::optional<PackageList> delivered;
        m->loadPackages(missing, false, [&](const PackageList &p) { delivered = p; });
        QVERIFY(!delivered);
        QVERIFY(m->loadingLinks().contains(missing));
        QTRY_VERIFY(delivered);
        QVERIFY(delivered->isEmpty() && !m->loadingLinks().contains(missing));

        loading.clear();
        bool again = false;
        m->loadPackages(missing, false, [&](const PackageList &) { again = true; });
        QVERIFY(again); // synchronous
        QCOMPARE(loading.count(), 0);
    }

    void aLateResultDoesNotReplaceTheSourceOnScreen()
    {
        TestPlatform t;
        const QString slow = m_server->url(QStringLiteral("slow/"));
        const QString fast = m_server->url(QStringLiteral("fast/"));
        auto m = model(t, {slow, fast});
        bool fastDone = false;
        m->loadPackages(fast, false, [&](const PackageList &) { fastDone = true; });
        QTRY_VERIFY(fastDone);

        bool slowDone = false;
        m->loadPackages(slow, false, [&](const PackageList &) { slowDone = true; });
        m->loadPackages(fast, false, [](const PackageList &) {}); // the user opens another source
        QCOMPARE(m->currentSourceLink(), fast);
        QTRY_VERIFY_WITH_TIMEOUT(slowDone, 10000);
        QCOMPARE(m->packages(slow).size(), 2);
        QCOMPARE(m->packages().size(), 3);
        QCOMPARE(m->packages().first().sourceLink(), fast);
    }

    void loadProgressAndHealthSurviveARestart()
    {
        TestPlatform t;
        const QString slow = m_server->url(QStringLiteral("slow/"));
        const QString fast = m_server->url(QStringLiteral("fast/"));
        const QString none = QStringLiteral("http://127.0.0.1:9/none/");
        {
            auto m = model(t, {slow, fast, none});
            QList<int> done;
            connect(m.get(), &RepoViewModel::loadProgressChanged, [&] {
                QCOMPARE(m->loadTotal(), 3);
                done.append(m->loadDone());
            });
            bool finished = false;
            m->loadAllPackages([&] { finished = true; });
            QVERIFY(m->loadInProgress());
            QTRY_VERIFY_WITH_TIMEOUT(finished, 10000);
            QCOMPARE(done, (QList<int>{0, 1, 2, 3}));
            QVERIFY(!m->loadInProgress());
            QCOMPARE(m->loadedPackageCount(), 5);

            SourceHealthModel &health = *m->sourceHealthModel();
            health.sortWorstFirst();
            QCOMPARE(health.index(0).data(SourceHealthModel::LinkRole).toString(), none);
            QCOMPARE(health.index(0).data(SourceHealthModel::OutcomeRole).toString(), u"failed"_s);
            m->copyDiagnostics(none);
            QVERIFY(t.clipboard->texts.last().contains(u"Problem: not an https link"_s));
        }
        // Written as the state object went; the next one reads them back.
        auto again = model(t, {slow, fast, none});
        QTRY_VERIFY(again->sourceHealthModel()->health(fast));
        QCOMPARE(again->sourceHealthModel()->health(fast)->outcome, HealthOutcome::Downloaded);
        QCOMPARE(again->sourceHealthModel()->health(slow)->packages, 2);
    }

    void aLoadOfEverySourceIsTheNextLoadsSnapshot()
    {
        TestPlatform t;
        const QString slow = m_server->url(QStringLiteral("slow/"));
        const QString fast = m_server->url(QStringLiteral("fast/"));
        const QString none = QStringLiteral("http://127.0.0.1:9/none/");
        const QString path = QDir(t.platform().dataDirectory).filePath(u"Catalogue.snapshot"_s);
        {
            auto m = model(t, {slow, fast, none});
            QSignalSpy saved(m.get(), &RepoViewModel::snapshotSaved);
            m->loadAllPackages();
            QTRY_COMPARE_WITH_TIMEOUT(saved.size(), 1, 10000);
            QCOMPARE(saved.first().first().toBool(), true);
        }
        // The sources with a cache, in list order; the one that has none is parsed anew in any case.
        const std::shared_ptr<const CatalogSnapshot> snapshot = CatalogSnapshot::open(path);
        QVERIFY(snapshot);
        QCOMPARE(snapshot->sourceCount(), 2);
        QCOMPARE(snapshot->link(0), slow);
        QCOMPARE(snapshot->link(1), fast);
        QCOMPARE(snapshot->packageCount(0) + snapshot->packageCount(1), 5);

        // Offline, a new state object shows the same packages.
        Platform platform = t.platform();
        platform.offline = true;
        RepoViewModel offline(platform);
        QList<RepoSource> sources{userSource(slow), userSource(fast), userSource(none)};
        offline.setSources(sources);
        bool done = false;
        offline.loadAllPackages([&] { done = true; });
        QTRY_VERIFY(done);
        QCOMPARE(offline.loadedPackageCount(), 5);
        QCOMPARE(offline.packagesByLink().value(fast).first().sourceLink(), fast);
    }

    void loadAllWithoutSourcesCompletesOnTheNextTurn()
    {
        TestPlatform t;
        auto m = model(t, {});
        bool done = false;
        m->loadAllPackages([&] { done = true; });
        QVERIFY(!done);
        QTRY_VERIFY(done);
    }

    // The lists on screen while every source loads: sources change one row and one role at a time,
    // and the package list only ever grows at the end, in finish order, so nothing the user looks at moves.
    void loadAllAppendsInFinishOrderWithoutMovingRows()
    {
        TestPlatform t;
        const QString slow = m_server->url(QStringLiteral("slow/"));
        const QString fast = m_server->url(QStringLiteral("fast/"));
        const QString same = m_server->url(QStringLiteral("same/"));
        const QString none = QStringLiteral("http://127.0.0.1:9/none/");
        auto m = model(t, {slow, fast, none, same});
        m->setSelectedMode(RepoViewModel::AllPackages);
        SourceListModel *sourceRows = m->sourceModel();
        PackageListModel *packageRows = m->filteredPackagesModel();
        const auto mode = QAbstractItemModelTester::FailureReportingMode::QtTest;
        QAbstractItemModelTester sourceTester(sourceRows, mode);
        QAbstractItemModelTester packageTester(packageRows, mode);
        QSignalSpy sourceChanges(sourceRows, &QAbstractItemModel::dataChanged);
        QSignalSpy sourceResets(sourceRows, &QAbstractItemModel::modelReset);
        QSignalSpy packageInserts(packageRows, &QAbstractItemModel::rowsInserted);
        QSignalSpy packageResets(packageRows, &QAbstractItemModel::modelReset);

        int completions = 0;
        m->loadAllPackages([&] { ++completions; });
        QVERIFY(m->allPackages().isEmpty());
        for (int row : {0, 1, 3})
            QVERIFY(sourceRows->data(sourceRows->index(row), SourceListModel::IsLoadingRole).toBool());
        QTRY_COMPARE_WITH_TIMEOUT(completions, 1, 10000);
        QTRY_COMPARE(packageRows->rowCount(), 8);

        QCOMPARE(sourceResets.count(), 0);
        for (const QList<QVariant> &change : sourceChanges) {
            QCOMPARE(change.at(0).toModelIndex(), change.at(1).toModelIndex());
            QCOMPARE(change.at(2).value<QList<int>>(), QList<int>{SourceListModel::IsLoadingRole});
        }
        QCOMPARE(packageResets.count(), 0);
        QVERIFY(!packageInserts.isEmpty());
        // The slow source comes last whatever its place in the list; a package offered by two sources is
        // listed twice.
        QCOMPARE(m->allPackages().size(), 8);
        QCOMPARE(packageRows->data(packageRows->index(7), PackageRows::SourceLinkRole).toString(), slow);
        QCOMPARE(m->currentSourceLink(), same);

        // A source's own screen: the packages loaded for it, owned by whoever asked.
        std::unique_ptr<SourcePackagesModel> screen(m->makeSourcePackagesModel(slow));
        QVERIFY(!screen->parent());
        QCOMPARE(screen->rowCount(), 2);

        // Everything in memory now: rebuilt in source order, without touching the server.
        const qsizetype requests = m_server->requests().size();
        m->loadAllPackages([&] { ++completions; });
        QTRY_COMPARE(completions, 2);
        QCOMPARE(m->allPackages().toList().first().sourceLink(), slow);
        QCOMPARE(m->allPackages().size(), 8);
        QCOMPARE(m_server->requests().size(), requests);
    }

    void installedPackagesComeFromTheDevice()
    {
        TestPlatform t;
        QVERIFY(writeFile(t.dir.filePath(QStringLiteral("device/var/jb/var/lib/dpkg/status")),
                          "Package: com.example.one\nStatus: install ok installed\n\n"
                          "Package: gone\nStatus: purge ok not-installed\n"));
        RepoViewModel m(t.platform());
        // Made before the device has answered: the screens follow the set when it arrives.
        std::unique_ptr<SourcePackagesModel> screen(
            m.makeSourcePackagesModel(QStringLiteral("https://r.example/")));
        QTRY_VERIFY(m.isPackageInstalled(QStringLiteral("com.example.one")));
        QCOMPARE(screen->installedPackages(), m.installedPackages());
        QCOMPARE(m.filteredPackagesModel()->installedPackages(), m.installedPackages());
        QVERIFY(!m.isPackageInstalled(QStringLiteral("gone")));
    }
};

QTEST_GUILESS_MAIN(TestApp)
#include "tst_loading.moc"
