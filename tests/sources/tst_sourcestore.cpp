#include "sources/sourcestore.h"

#include "../testplatform.h"

#include <QTest>

namespace {

RepoSource source(const QString &link, bool isDefault, const QString &name = QStringLiteral("Name"))
{
    return RepoSource{link, name, link, isDefault ? QStringLiteral("x_icon") : QStringLiteral("Repos.png"),
                      isDefault};
}

const QList<RepoSource> catalogue{
    source(QStringLiteral("https://one.example/"), true, QStringLiteral("One")),
    source(QStringLiteral("https://two.example/apt/"), true, QStringLiteral("Two")),
    source(QStringLiteral("http://three.example/"), true, QStringLiteral("Three")),
};

} // namespace

class TestSourceStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstLaunchGivesTheCatalogue()
    {
        TestPlatform t;
        SourceStore store(*t.settings);
        QCOMPARE(store.loadSources(catalogue), catalogue);
        QVERIFY(!t.settings->contains(SourceStore::sourcesKey + SourceStore::unreadableSuffix));
    }

    void roundTripAcrossLaunches()
    {
        TestPlatform t;
        const QList<RepoSource> saved{
            source(QStringLiteral("https://mine.example/repo"), false, QStringLiteral("Mine 🔥")),
            catalogue.at(0), catalogue.at(1), catalogue.at(2)};
        SourceStore(*t.settings).saveSources(saved);
        t.reopen();
        QCOMPARE(SourceStore(*t.settings).loadSources(catalogue), saved);
    }

    void savedRecordsWinAndKeepTheirPlace()
    {
        TestPlatform t;
        // A saved record shadowing a catalogue row (other case, no trailing slash) keeps its
        // name and flag; catalogue rows missing from the saved list go to the end; a saved
        // built-in the catalogue dropped stays.
        const RepoSource shadow =
            source(QStringLiteral("HTTPS://TWO.example/apt"), false, QStringLiteral("My Two"));
        const RepoSource retired =
            source(QStringLiteral("https://retired.example/"), true, QStringLiteral("Retired"));
        const RepoSource mine = source(QStringLiteral("https://mine.example/"), false);
        SourceStore(*t.settings).saveSources({mine, shadow, retired, catalogue.at(2)});
        t.reopen();
        const QList<RepoSource> expected{mine, shadow, retired, catalogue.at(2), catalogue.at(0)};
        QCOMPARE(SourceStore(*t.settings).loadSources(catalogue), expected);
    }

    void duplicatesInTheSavedListCollapse()
    {
        TestPlatform t;
        const RepoSource mine = source(QStringLiteral("https://mine.example/"), false);
        SourceStore(*t.settings).saveSources({mine, source(QStringLiteral(" https://MINE.example "), false)});
        QCOMPARE(SourceStore(*t.settings).loadSources({}), QList<RepoSource>{mine});
    }

    void handEditedPlainJsonIsRead()
    {
        TestPlatform t;
        const char *json = "[{\"id\":\"u\",\"name\":\"U\",\"link\":\"https://u.example/"
                           "\",\"imageName\":\"Repos.png\",\"isDefault\":false}]";
        t.settings->setValue(SourceStore::sourcesKey, QString::fromUtf8(json));
        t.reopen();
        const QList<RepoSource> loaded = SourceStore(*t.settings).loadSources(catalogue);
        QCOMPARE(loaded.size(), 4);
        QCOMPARE(loaded.first().link, QStringLiteral("https://u.example/"));
    }

    void unreadableSourcesAreSetAsideNotLost_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::newRow("truncated JSON")
            << QVariant(QByteArray("[{\"id\":\"u\",\"name\":\"U\",\"link\":\"https://u.ex"));
        QTest::newRow("record missing a key")
            << QVariant(QByteArray("[{\"id\":\"u\",\"name\":\"U\",\"link\":\"l\",\"imageName\":\"m\"}]"));
        QTest::newRow("binary junk") << QVariant(QByteArray("\x00\xff\xfe junk", 9));
        QTest::newRow("a number") << QVariant(42);
        QTest::newRow("a list") << QVariant(QStringList{QStringLiteral("a"), QStringLiteral("b")});
    }
    void unreadableSourcesAreSetAsideNotLost()
    {
        QFETCH(QVariant, stored);
        TestPlatform t;
        t.settings->setValue(SourceStore::sourcesKey, stored);
        t.reopen();
        const QVariant asRead = t.settings->value(SourceStore::sourcesKey);

        SourceStore store(*t.settings);
        QCOMPARE(store.loadSources(catalogue), catalogue);
        store.saveSources(catalogue);
        t.reopen();
        QCOMPARE(t.settings->value(SourceStore::sourcesKey + SourceStore::unreadableSuffix), asRead);
        QCOMPARE(SourceStore(*t.settings).loadSources({}), catalogue);
    }

    void laterUnreadableValuesDoNotOverwriteEarlierOnes()
    {
        TestPlatform t;
        const QString aside = SourceStore::sourcesKey + SourceStore::unreadableSuffix;
        for (const QByteArray &bad :
             {QByteArray("first bad"), QByteArray("first bad"), QByteArray("second bad")}) {
            t.settings->setValue(SourceStore::sourcesKey, bad);
            (void)SourceStore(*t.settings).loadSources(catalogue);
        }
        QCOMPARE(t.settings->value(aside).toByteArray(), QByteArray("first bad"));
        QCOMPARE(t.settings->value(aside + QStringLiteral(".2")).toByteArray(), QByteArray("second bad"));
        QVERIFY(!t.settings->contains(aside + QStringLiteral(".3")));
    }

    void favoritesRoundTrip_data()
    {
        QTest::addColumn<QStringList>("links");
        QTest::newRow("none") << QStringList{};
        // INI keeps a one-entry list as a bare string; it must come back as a list.
        QTest::newRow("one") << QStringList{QStringLiteral("https://one.example/")};
        QTest::newRow("several, with a comma")
            << QStringList{QStringLiteral("https://a.example/x,y"), QStringLiteral("https://b.example/"),
                           QStringLiteral("c")};
    }
    void favoritesRoundTrip()
    {
        QFETCH(QStringList, links);
        TestPlatform t;
        const QSet<QString> set(links.cbegin(), links.cend());
        SourceStore(*t.settings).saveFavorites(set);
        t.reopen();
        const auto loaded = SourceStore(*t.settings).loadFavorites();
        // An empty list is stored as "no value", which leaves the in-memory set as it is.
        QCOMPARE(loaded.value_or(QSet<QString>{}), set);
    }

    void missingFavoritesLeaveTheSetAlone()
    {
        TestPlatform t;
        QCOMPARE(SourceStore(*t.settings).loadFavorites(), std::nullopt);
    }

    void unreadableFavoritesAreSetAside()
    {
        TestPlatform t;
        const QVariantMap bad{{QStringLiteral("k"), 1}};
        t.settings->setValue(SourceStore::favoriteSourcesKey, bad);
        t.reopen();
        QCOMPARE(SourceStore(*t.settings).loadFavorites(), std::nullopt);
        QCOMPARE(t.settings->value(SourceStore::favoriteSourcesKey + SourceStore::unreadableSuffix),
                 QVariant(bad));
    }
};

QTEST_GUILESS_MAIN(TestSourceStore)
#include "tst_sourcestore.moc"
