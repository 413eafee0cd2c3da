#include "sources/reposource.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

class TestRepoSource : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTripKeepsEveryCharacter_data()
    {
        QTest::addColumn<RepoSource>("source");
        const QString rtlPrefix = u"\u200F\u200B\u200F"_s;
        QTest::newRow("invisible prefix") << RepoSource{u"https://a.example/"_s, rtlPrefix + u"Chariz"_s,
                                                        u"https://a.example/"_s, u"chariz_icon"_s, true};
        QTest::newRow("emoji and CJK") << RepoSource{u"https://b.example/"_s, u"刀刀源 🔥™ Zoë's Repo"_s,
                                                     u"https://b.example/"_s, u"b"_s, false};
        QTest::newRow("characters JSON must escape")
            << RepoSource{u"x"_s, u"quote \" back \\ tab \t nl \n ctl \x01"_s,
                          u"https://c.example/a?b=1&c=2#f"_s, u"Repos.png"_s, false};
        QTest::newRow("empty fields") << RepoSource{QString(), QString(), QString(), QString(), false};
    }
    void roundTripKeepsEveryCharacter()
    {
        QFETCH(RepoSource, source);
        const QList<RepoSource> list{source, source};
        const QByteArray json = encodeSourceList(list);
        QCOMPARE(decodeSourceList(json), std::optional(list));
        // What we write must be ordinary JSON that any reader accepts.
        QJsonParseError error;
        QJsonDocument::fromJson(json, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
    }

    void keysAreWrittenInRecordOrder()
    {
        QCOMPARE(encodeSourceList({RepoSource{u"i"_s, u"n"_s, u"l"_s, u"m"_s, true}}),
                 "[{\"id\":\"i\",\"name\":\"n\",\"link\":\"l\",\"imageName\":\"m\",\"isDefault\":true}]"_ba);
        QCOMPARE(encodeSourceList({}), "[]"_ba);
    }

    void decodingRejectsTheWholeList_data()
    {
        QTest::addColumn<QByteArray>("json");
        const QByteArray good =
            "{\"id\":\"i\",\"name\":\"n\",\"link\":\"l\",\"imageName\":\"m\",\"isDefault\":false}";
        QTest::newRow("missing isDefault")
            << "[{\"id\":\"i\",\"name\":\"n\",\"link\":\"l\",\"imageName\":\"m\"}]"_ba;
        QTest::newRow("missing id")
            << "[{\"name\":\"n\",\"link\":\"l\",\"imageName\":\"m\",\"isDefault\":true}]"_ba;
        QTest::newRow("bool as string")
            << "[{\"id\":\"i\",\"name\":\"n\",\"link\":\"l\",\"imageName\":\"m\",\"isDefault\":\"true\"}]"_ba;
        QTest::newRow("name as number")
            << "[{\"id\":\"i\",\"name\":1,\"link\":\"l\",\"imageName\":\"m\",\"isDefault\":true}]"_ba;
        QTest::newRow("null link")
            << "[{\"id\":\"i\",\"name\":\"n\",\"link\":null,\"imageName\":\"m\",\"isDefault\":true}]"_ba;
        QTest::newRow("one bad record among good ones") << "[" + good + ",{\"id\":\"i\"}," + good + "]";
        QTest::newRow("entry not an object") << "[" + good + ",42]";
        QTest::newRow("object, not a list") << good;
        QTest::newRow("truncated") << "[" + good;
        QTest::newRow("not JSON") << "\x89PNG\r\n"_ba;
        QTest::newRow("empty") << QByteArray();
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
};

QTEST_GUILESS_MAIN(TestRepoSource)
#include "tst_reposource.moc"
