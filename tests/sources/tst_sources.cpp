#include "sources/defaultsources.h"
#include "sources/reposource.h"
#include "sources/sourceediting.h"
#include "sources/sourcelinks.h"
#include "sources/sourcelistmodel.h"
#include "sources/sourcestore.h"

#include "../testplatform.h"

#include <QAbstractItemModelTester>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

RepoSource userSource(const QString &link, const QString &name = u"User"_s)
{
    return RepoSource{link, name, link, u"Repos.png"_s, false};
}

RepoSource builtIn(const QString &link, const QString &name = u"Built In"_s)
{
    return RepoSource{link, name, link, u"b_icon"_s, true};
}

const QList<RepoSource> catalogue{builtIn(u"https://one.example/"_s, u"One"_s),
                                  builtIn(u"https://two.example/apt/"_s, u"Two"_s),
                                  builtIn(u"http://three.example/"_s, u"Three"_s)};

const QList<RepoSource> threeSources{userSource(u"https://one.example/"_s),
                                     userSource(u"https://two.example/"_s),
                                     userSource(u"https://three.example/"_s)};

QList<std::tuple<int, int, QList<int>>> changes(const QSignalSpy &spy)
{
    QList<std::tuple<int, int, QList<int>>> out;
    for (const QList<QVariant> &args : spy)
        out.append({args.at(0).toModelIndex().row(), args.at(1).toModelIndex().row(),
                    args.at(2).value<QList<int>>()});
    return out;
}

const QString kInvisiblePrefix = u"\u200F\u200B\u200F"_s;

const RepoSource &at(int position)
{
    return defaultSources().at(position - 1);
}

} // namespace

class TestSources : public QObject
{
    Q_OBJECT

    using Changes = QList<std::tuple<int, int, QList<int>>>;

private Q_SLOTS:
    void roundTripKeepsEveryCharacter_data()
    {
        QTest::addColumn<RepoSource>("source");
        QTest::newRow("invisible prefix")
            << RepoSource{u"https://a.example/"_s, kInvisiblePrefix + u"Chariz"_s, u"https://a.example/"_s,
                          u"chariz_icon"_s, true};
        QTest::newRow("emoji and CJK") << RepoSource{u"https://b.example/"_s, u"刀刀源 🔥™ Zoë's Repo"_s,
                                                     u"https://b.example/"_s, u"b"_s, false};
        QTest::newRow("characters JSON must escape")
            << RepoSource{u"x"_s, u"quote \" back \\ tab \t nl \n ctl \x01"_s,
                          u"https://c.example/a?b=1&c=2#f"_s, u"Repos.png"_s, false};
    }
    void roundTripKeepsEveryCharacter()
    {
        QFETCH(RepoSource, source);
        const QList<RepoSource> list{source, source};
        const QByteArray json = encodeSourceList(list);
        QCOMPARE(decodeSourceList(json), std::optional(list));
        QJsonParseError error;
        QJsonDocument::fromJson(json, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
    }

    void decodingRejectsTheWholeList_data()
    {
        QTest::addColumn<QByteArray>("json");
        const QByteArray good =
            "{\"id\":\"i\",\"name\":\"n\",\"link\":\"l\",\"imageName\":\"m\",\"isDefault\":false}";
        QTest::newRow("bool as string")
            << "[{\"id\":\"i\",\"name\":\"n\",\"link\":\"l\",\"imageName\":\"m\",\"isDefault\":\"true\"}]"_ba;
        QTest::newRow("one bad record among good ones") << "[" + good + ",{\"id\":\"i\"}," + good + "]";
        QTest::newRow("entry not an object") << "[" + good + ",42]";
        QTest::newRow("object, not a list") << good;
    }
    void decodingRejectsTheWholeList()
    {
        QFETCH(QByteArray, json);
        QCOMPARE(decodeSourceList(json), std::nullopt);
    }

    void extraKeysAndKeyOrderDoNotMatter()
    {
        const auto decoded = decodeSourceList("[{\"isDefault\":true,\"imageName\":\"m\",\"link\":\"l\","
                                              "\"name\":\"n\",\"id\":\"other\",\"extra\":1}]");
        QVERIFY(decoded);
        // id is taken as stored, not derived from the link.
        QCOMPARE(decoded->first(), (RepoSource{u"other"_s, u"n"_s, u"l"_s, u"m"_s, true}));
    }

    void normalizeLink_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("normalized");
        QTest::newRow("case and slash") << u"HTTPS://Repo.Example/Apt/"_s << u"https://repo.example/apt"_s;
        QTest::newRow("only one slash goes") << u"https://repo.example//"_s << u"https://repo.example/"_s;
        QTest::newRow("blanks and newlines") << u" \t https://r.example/\n"_s << u"https://r.example"_s;
        QTest::newRow("empty") << QString() << QString();
    }
    void normalizeLink()
    {
        QFETCH(QString, link);
        QFETCH(QString, normalized);
        QCOMPARE(::normalizeLink(link), normalized);
    }

    void extractName_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("name");
        QTest::newRow("www dropped") << u"https://www.my-repo.example.com/apt/"_s << u"My-repo.example.com"_s;
        QTest::newRow("www anywhere") << u"https://repo.www.example/"_s << u"Repo.example"_s;
        QTest::newRow("no host") << u"https:relative"_s << u"Unknown Source"_s;
        // The host as typed, not as Qt lower-cases it: "WWW." is no "www.".
        QTest::newRow("typed case kept") << u"HTTPS://WWW.Example.COM/Apt/"_s << u"Www.example.com"_s;
        QTest::newRow("user and port") << u"https://User@www.Repo.Example:8443/apt"_s << u"Repo.example"_s;
        QTest::newRow("ipv6 literal") << u"http://[FE80::1]:8080/"_s << u"Fe80::1"_s;
        QTest::newRow("punycode shown readable")
            << u"https://www.xn--bcher-kva.Example/"_s << u"Bücher.example"_s;
        QTest::newRow("host of nothing but www.") << u"https://www./a"_s << u""_s;
        QTest::newRow("no scheme") << u"//WWW.a.example/x"_s << u"Www.a.example"_s;
    }
    void extractName()
    {
        QFETCH(QString, link);
        QFETCH(QString, name);
        QCOMPARE(::extractName(link), name);
    }

    void addSource_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("alert");
        QTest::addColumn<QString>("name"); // empty: refused
        const auto refused = [](const char *tag, const QString &link, const QString &alert) {
            QTest::newRow(tag) << link << alert << QString();
        };
        const auto added = [](const char *tag, const QString &link, const QString &name) {
            QTest::newRow(tag) << link << SourceAlerts::added << name;
        };
        refused("empty", QString(), SourceAlerts::emptyLink);
        refused("only blanks is not empty", u"   "_s, SourceAlerts::invalidLink);
        refused("space inside", u"https://new.example/my repo/"_s, SourceAlerts::invalidLink);
        refused("other scheme", u"ftp://new.example/"_s, SourceAlerts::invalidLink);
        refused("bad escape", u"https://new.example/%zz"_s, SourceAlerts::invalidLink);
        refused("same link upper case", u"HTTPS://REPO.EXAMPLE/APT/"_s, SourceAlerts::duplicate);
        added("missing slash is another link", u"https://repo.example/apt"_s, u"Repo.example"_s);
        added("non-ASCII path", u"https://ü.example/مستودع/"_s, u"Ü.example"_s);
    }
    void addSource()
    {
        QFETCH(QString, link);
        QFETCH(QString, alert);
        QFETCH(QString, name);
        const QList<RepoSource> before{builtIn(u"https://repo.example/apt/"_s)};
        const SourceEdit edit = ::addSource(before, link);
        QCOMPARE(edit.alert, alert);
        if (name.isEmpty()) {
            QVERIFY(!edit.sources);
            return;
        }
        QCOMPARE(edit.sources, (QList{RepoSource{link, name, link, u"Repos.png"_s, false}, before.first()}));
    }

    void deleteSource_data()
    {
        QTest::addColumn<RepoSource>("target");
        QTest::addColumn<QString>("alert");
        QTest::addColumn<int>("remaining");
        QTest::newRow("user source") << userSource(u"https://u.example/"_s, u"Mine"_s)
                                     << u"تم حذف السورس Mine."_s << 2;
        QTest::newRow("built-in refused")
            << builtIn(u"https://b.example/"_s) << SourceAlerts::cannotDeleteDefault << 3;
        QTest::newRow("already gone: silent") << userSource(u"https://gone.example/"_s) << QString() << 3;
        QTest::newRow("same link, other name: not the record")
            << userSource(u"https://u.example/"_s, u"Renamed"_s) << QString() << 3;
    }
    void deleteSource()
    {
        QFETCH(RepoSource, target);
        QFETCH(QString, alert);
        QFETCH(int, remaining);
        const QList<RepoSource> before{userSource(u"https://u.example/"_s, u"Mine"_s),
                                       builtIn(u"https://b.example/"_s),
                                       userSource(u"https://u2.example/"_s)};
        const SourceEdit edit = ::deleteSource(before, target);
        QCOMPARE(edit.alert, alert);
        QCOMPARE(edit.sources.value_or(before).size(), remaining);
        QVERIFY(!edit.sources.value_or(before).contains(target) || remaining == 3);
    }

    void savedRecordsWinAndKeepTheirPlace()
    {
        TestPlatform t;
        QCOMPARE(SourceStore(*t.settings).loadSources(catalogue), catalogue);
        QVERIFY(!t.settings->contains(SourceStore::sourcesKey + SourceStore::unreadableSuffix));
        // A saved record shadowing a catalogue row (other case, no trailing slash) keeps its
        // name and flag; catalogue rows missing from the saved list go to the end; a saved
        // built-in the catalogue dropped stays; a saved twin collapses into the first.
        const RepoSource shadow = userSource(u"HTTPS://TWO.example/apt"_s, u"My Two"_s);
        const RepoSource retired = builtIn(u"https://retired.example/"_s, u"Retired"_s);
        const RepoSource mine = userSource(u"https://mine.example/"_s);
        SourceStore(*t.settings)
            .saveSources({mine, shadow, userSource(u" https://MINE.example "_s), retired, catalogue.at(2)});
        t.reopen();
        const QList<RepoSource> expected{mine, shadow, retired, catalogue.at(2), catalogue.at(0)};
        QCOMPARE(SourceStore(*t.settings).loadSources(catalogue), expected);
    }

    void handEditedPlainJsonIsRead()
    {
        TestPlatform t;
        t.settings->setValue(SourceStore::sourcesKey, QString::fromUtf8(encodeSourceList(threeSources)));
        t.reopen();
        QCOMPARE(SourceStore(*t.settings).loadSources({}), threeSources);
    }

    void unreadableSourcesAreSetAsideNotLost_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::newRow("truncated JSON")
            << QVariant(QByteArray("[{\"id\":\"u\",\"name\":\"U\",\"link\":\"https://u.ex"));
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
        // INI keeps a one-entry list as a bare string.
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

    void missingOrUnreadableFavoritesLeaveTheSetAlone()
    {
        TestPlatform t;
        QCOMPARE(SourceStore(*t.settings).loadFavorites(), std::nullopt);
        const QVariantMap bad{{u"k"_s, 1}};
        t.settings->setValue(SourceStore::favoriteSourcesKey, bad);
        t.reopen();
        QCOMPARE(SourceStore(*t.settings).loadFavorites(), std::nullopt);
        QCOMPARE(t.settings->value(SourceStore::favoriteSourcesKey + SourceStore::unreadableSuffix),
                 QVariant(bad));
    }

    void rowsChangeInPlace()
    {
        SourceListModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QList<RepoSource> &sources = threeSources;
        model.update(sources, {}, {});
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        const int loading = SourceListModel::IsLoadingRole;

        model.setLinkLoading(sources.at(1).link, true);
        // Another source starts while the first goes on: only the new one's row changes.
        model.setLinkLoading(sources.at(2).link, true);
        model.setLinkLoading(u"https://not.listed/"_s, true);
        model.setLinkLoading(sources.at(2).link, true);
        model.setLinkLoading(sources.at(1).link, false);
        model.setLinkLoading(sources.at(1).link, false);
        QCOMPARE(changes(changed), (Changes{{1, 1, {loading}}, {2, 2, {loading}}, {1, 1, {loading}}}));
        changed.clear();

        model.update(sources, {sources.at(0).link}, {sources.at(2).link});
        QCOMPARE(changes(changed), (Changes{{0, 0, {SourceListModel::IsFavoriteRole}},
                                            {2, 2, {SourceListModel::IsSelectedRole}}}));
        changed.clear();
        QList<RepoSource> renamed = sources;
        renamed[1].name = u"Two"_s;
        model.update(renamed, {sources.at(0).link}, {sources.at(2).link});
        QCOMPARE(changes(changed), (Changes{{1, 1, {}}})); // a record changed: every role
        QCOMPARE(reset.count(), 0);

        // The loading state outlives a change of the rows themselves.
        model.update({sources.at(2), sources.at(0)}, {}, {});
        QVERIFY(model.data(model.index(0), loading).toBool());
        QCOMPARE(reset.count(), 1);
    }

    void builtOnce()
    {
        // Callers keep references into the list, so a second call must not hand out a fresh copy.
        QCOMPARE(&defaultSources(), &defaultSources());
        // Servers treat host case and a trailing slash loosely: such twins would fetch one repository twice.
        QCOMPARE(dedupeByLink(defaultSources()), defaultSources());
    }

    void record_data()
    {
        QTest::addColumn<int>("position");
        for (int position = 1; position <= defaultSources().size(); ++position)
            QTest::addRow("%d %s", position, qPrintable(at(position).link)) << position;
    }

    void record()
    {
        QFETCH(int, position);
        const RepoSource &source = at(position);

        QVERIFY(source.isDefault);
        QCOMPARE(source.id, source.link);

        const QUrl url(source.link, QUrl::StrictMode);
        QVERIFY(url.isValid() && !url.host().isEmpty() && url.userInfo().isEmpty());
        QVERIFY(url.scheme() == u"https" || url.scheme() == u"http");
        QVERIFY(!url.hasQuery() && !url.hasFragment());
        // A link QUrl rewrites would not match what users type in.
        QCOMPARE(url.toString(), source.link);
        QVERIFY2(url.path().contains(QRegularExpression(u"^(/[^/]+)*/$"_s)),
                 "path must end with '/' and have no empty segments");

        // The invisible prefix opens exactly these names; stray copies would compare unequal to what shows.
        const bool prefixed = position == 1 || position == 3 || position == 20;
        QCOMPARE(source.name.startsWith(kInvisiblePrefix), prefixed);
        const QString visible = prefixed ? source.name.mid(kInvisiblePrefix.size()) : source.name;
        QVERIFY(!visible.isEmpty() && visible.trimmed() == visible);
        QVERIFY(!visible.contains(QChar(0x200F)) && !visible.contains(QChar(0x200B)));
        QVERIFY(source.imageName.contains(QRegularExpression(u"^[A-Za-z0-9_.-]+$"_s)));
    }
};

QTEST_GUILESS_MAIN(TestSources)
#include "tst_sources.moc"
