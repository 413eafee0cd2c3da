#include "app/repoviewmodel.h"

#include "../testfiles.h"
#include "../testplatform.h"
#include "faultserver.h"
#include "testcertificates.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

namespace {

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

class TestLoading : public QObject
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

    void loadAllAppendsInFinishOrder()
    {
        TestPlatform t;
        const QString slow = m_server->url(QStringLiteral("slow/"));
        const QString fast = m_server->url(QStringLiteral("fast/"));
        const QString same = m_server->url(QStringLiteral("same/"));
        const QString none = QStringLiteral("http://127.0.0.1:9/none/");
        auto m = model(t, {slow, fast, none, same});
        int completions = 0;
        m->loadAllPackages([&] { ++completions; });
        QVERIFY(m->allPackages().isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(completions, 1, 10000);

        // The slow source comes last whatever its place in the list; a package offered by two
        // sources is listed twice.
        const PackageList all = m->allPackages().toList();
        QCOMPARE(all.size(), 8);
        QCOMPARE(all.last().sourceLink(), slow);
        QCOMPARE(m->currentSourceLink(), same);

        // Everything in memory now: rebuilt in source order, without touching the server.
        const qsizetype requests = m_server->requests().size();
        m->loadAllPackages([&] { ++completions; });
        QTRY_COMPARE(completions, 2);
        QCOMPARE(m->allPackages().toList().first().sourceLink(), slow);
        QCOMPARE(m->allPackages().size(), 8);
        QCOMPARE(m_server->requests().size(), requests);
    }

    void loadAllWithoutSourcesCompletesOnTheNextTurn()
    {
        TestPlatform t;
        auto m = model(t, {});
        bool done = false;
        m->loadAllPackages([&] { done = true; });
        QVERIFY(!done);
        QTRY_VERIFY(done);
        QVERIFY(m->allPackages().isEmpty());
    }

    // The lists on screen while every source loads: sources change one row and one role at a time,
    // and the package list only ever grows at the end, so nothing the user looks at moves.
    void listsStayInPlaceWhileAllSourcesLoad()
    {
        TestPlatform t;
        const QString slow = m_server->url(QStringLiteral("slow/"));
        const QString fast = m_server->url(QStringLiteral("fast/"));
        const QString same = m_server->url(QStringLiteral("same/"));
        auto m = model(t, {slow, fast, same});
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

        bool done = false;
        m->loadAllPackages([&] { done = true; });
        for (int row = 0; row < 3; ++row)
            QVERIFY(sourceRows->data(sourceRows->index(row), SourceListModel::IsLoadingRole).toBool());
        QTRY_VERIFY_WITH_TIMEOUT(done, 10000);
        QTRY_COMPARE(packageRows->rowCount(), 8);

        QCOMPARE(sourceResets.count(), 0);
        QCOMPARE(sourceChanges.count(), 6); // each row: started, finished
        for (const QList<QVariant> &change : sourceChanges) {
            QCOMPARE(change.at(0).toModelIndex(), change.at(1).toModelIndex());
            QCOMPARE(change.at(2).value<QList<int>>(), QList<int>{SourceListModel::IsLoadingRole});
        }
        QCOMPARE(packageResets.count(), 0);
        QVERIFY(!packageInserts.isEmpty());
        // The slow source finishes last, so its rows are the last ones inserted.
        QCOMPARE(packageRows->data(packageRows->index(7), PackageRows::SourceLinkRole).toString(), slow);

        // A source's own screen: the packages loaded for it, owned by whoever asked.
        std::unique_ptr<SourcePackagesModel> screen(m->makeSourcePackagesModel(slow));
        QVERIFY(!screen->parent());
        QCOMPARE(screen->rowCount(), 2);
        QCOMPARE(std::unique_ptr<SourcePackagesModel>(
                     m->makeSourcePackagesModel(QStringLiteral("https://x.invalid/")))
                     ->rowCount(),
                 0);
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
        QVERIFY(!m.isPackageInstalled(QString()));
    }
};

QTEST_GUILESS_MAIN(TestLoading)
#include "tst_loading.moc"
