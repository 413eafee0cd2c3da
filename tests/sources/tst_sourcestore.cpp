#include "sources/sourcestore.h"

#include "../testplatform.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

RepoSource source(const QString &link, bool isDefault, const QString &name = u"Name"_s)
{
    return RepoSource{link, name, link, isDefault ? u"x_icon"_s : u"Repos.png"_s, isDefault};
}

const QList<RepoSource> catalogue{
    source(u"https://one.example/"_s, true, u"One"_s),
    source(u"https://two.example/apt/"_s, true, u"Two"_s),
    source(u"http://three.example/"_s, true, u"Three"_s),
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

    void savedRecordsWinAndKeepTheirPlace()
    {
        TestPlatform t;
        // A saved record shadowing a catalogue row (other case, no trailing slash) keeps its
        // name and flag; catalogue rows missing from the saved list go to the end; a saved
        // built-in the catalogue dropped stays.
        const RepoSource shadow = source(u"HTTPS://TWO.example/apt"_s, false, u"My Two"_s);
        const RepoSource retired = source(u"https://retired.example/"_s, true, u"Retired"_s);
        const RepoSource mine = source(u"https://mine.example/"_s, false);
        SourceStore(*t.settings).saveSources({mine, shadow, retired, catalogue.at(2)});
        t.reopen();
        const QList<RepoSource> expected{mine, shadow, retired, catalogue.at(2), catalogue.at(0)};
        QCOMPARE(SourceStore(*t.settings).loadSources(catalogue), expected);
    }

    void duplicatesInTheSavedListCollapse()
    {
        TestPlatform t;
        const RepoSource mine = source(u"https://mine.example/"_s, false);
        SourceStore(*t.settings).saveSources({mine, source(u" https://MINE.example "_s, false)});
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
        QCOMPARE(loaded.first().link, u"https://u.example/"_s);
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
        QTest::newRow("a list") << QVariant(QStringList{u"a"_s, u"b"_s});
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
        QCOMPARE(t.settings->value(aside + u".2"_s).toByteArray(), QByteArray("second bad"));
        QVERIFY(!t.settings->contains(aside + u".3"_s));
    }

    void favoritesRoundTrip_data()
    {
        QTest::addColumn<QStringList>("links");
        QTest::newRow("none") << QStringList{};
        // INI keeps a one-entry list as a bare string; it must come back as a list.
        QTest::newRow("one") << QStringList{u"https://one.example/"_s};
        QTest::newRow("several, with a comma")
            << QStringList{u"https://a.example/x,y"_s, u"https://b.example/"_s, u"c"_s};
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
        const QVariantMap bad{{u"k"_s, 1}};
        t.settings->setValue(SourceStore::favoriteSourcesKey, bad);
        t.reopen();
        QCOMPARE(SourceStore(*t.settings).loadFavorites(), std::nullopt);
        QCOMPARE(t.settings->value(SourceStore::favoriteSourcesKey + SourceStore::unreadableSuffix),
                 QVariant(bad));
    }
};

QTEST_GUILESS_MAIN(TestSourceStore)
#include "tst_sourcestore.moc"
