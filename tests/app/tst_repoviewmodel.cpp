#include "app/repoviewmodel.h"
#include "sources/defaultsources.h"
#include "sources/sourceediting.h"
#include "sources/sourceselection.h"
#include "sources/sourcestore.h"

#include "../testplatform.h"

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

} // namespace

class TestRepoViewModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startUpWritesTheMergedListBack()
    {
        TestPlatform t;
        RepoViewModel model(t.platform());
        QCOMPARE(model.sources(), defaultSources());
        QCOMPARE(storedSources(*t.settings), defaultSources());
        QVERIFY(model.packages(u"https://nothing.example/"_s).isEmpty());
        QVERIFY(!model.packagesByLink().contains(u"https://nothing.example/"_s));
    }

    void leavingAllPackagesClearsTheArchitecture_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<bool>("kept");
        using M = RepoViewModel;
        QTest::newRow("to all sources") << int(M::AllPackages) << int(M::AllSources) << false;
        QTest::newRow("to favourites") << int(M::AllPackages) << int(M::Favorites) << false;
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
        QVERIFY(model.filteredSources().isEmpty());
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
        QCOMPARE(model.alertMessage(), SelectionAlerts::sourcesCopied(1));
        QCOMPARE(model.selectedSources().size(), 2);

        // Only counts are compared: two ticks against a one-row list is not "all" ...
        QCOMPARE(model.isAllSelected(), model.filteredSources().size() == 2);
        // ... and selectAll drops the hidden tick.
        model.selectAll();
        QCOMPARE(model.selectedSources(), linksOf(model.filteredSources()));
        QVERIFY(model.isAllSelected());

        model.setSearchText(QString());
        model.selectAll();
        model.copySelectedSources();
        QCOMPARE(t.clipboard->texts.constLast().count(QLatin1Char('\n')), all.size() - 1);
        QVERIFY(!t.clipboard->texts.constLast().endsWith(QLatin1Char('\n')));
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
        QSignalSpy feedback(&model, &RepoViewModel::feedback);
        // Stars change rows in place: a reset would scroll the list back to the top.
        QSignalSpy reset(model.sourceModel(), &QAbstractItemModel::modelReset);

        model.toggleFavorite(source);
        QCOMPARE(model.alertMessage(), SelectionAlerts::favoriteAdded(source.name));
        QVERIFY(model.showAlert());
        QCOMPARE(model.favoriteSources(), QList<RepoSource>{source});
        t.reopen();
        QCOMPARE(RepoViewModel(t.platform()).favoriteSourceLinks(), QSet<QString>{source.link});

        model.setShowAlert(false);
        model.toggleFavorite(source);
        QCOMPARE(model.alertMessage(), SelectionAlerts::favoriteRemoved(source.name));
        QVERIFY(model.showAlert());
        QVERIFY(model.favoriteSourceLinks().isEmpty());
        QCOMPARE(feedback.count(), 2);
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
        QVERIFY(model->showAlert());
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
};

QTEST_GUILESS_MAIN(TestRepoViewModel)
#include "tst_repoviewmodel.moc"
