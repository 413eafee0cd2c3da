#include "sources/reposource.h"

#include <QJsonDocument>
#include <QTest>

class TestRepoSource : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTripKeepsEveryCharacter_data()
    {
        QTest::addColumn<RepoSource>("source");
        const QString rtlPrefix = QStringLiteral("\u200F\u200B\u200F");
        QTest::newRow("invisible prefix")
            << RepoSource{QStringLiteral("https://a.example/"), rtlPrefix + QStringLiteral("Chariz"),
                          QStringLiteral("https://a.example/"), QStringLiteral("chariz_icon"), true};
        QTest::newRow("emoji and CJK")
            << RepoSource{QStringLiteral("https://b.example/"), QStringLiteral("刀刀源 🔥™ Zoë's Repo"),
                          QStringLiteral("https://b.example/"), QStringLiteral("b"), false};
        QTest::newRow("characters JSON must escape") << RepoSource{
            QStringLiteral("x"), QStringLiteral("quote \" back \\ tab \t nl \n ctl \x01"),
            QStringLiteral("https://c.example/a?b=1&c=2#f"), QStringLiteral("Repos.png"), false};
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
        const QByteArray json = encodeSourceList({RepoSource{
            QStringLiteral("i"), QStringLiteral("n"), QStringLiteral("l"), QStringLiteral("m"), true}});
        const QByteArray expected = R"([{"id":"i","name":"n","link":"l","imageName":"m","isDefault":true}])";
        QCOMPARE(json, expected);
        QCOMPARE(encodeSourceList({}), QByteArray("[]"));
    }

    void decodingRejectsTheWholeList_data()
    {
        QTest::addColumn<QByteArray>("json");
        const QByteArray good = R"({"id":"i","name":"n","link":"l","imageName":"m","isDefault":false})";
        QTest::newRow("missing isDefault")
            << QByteArray(R"([{"id":"i","name":"n","link":"l","imageName":"m"}])");
        QTest::newRow("missing id") << QByteArray(
            R"([{"name":"n","link":"l","imageName":"m","isDefault":true}])");
        QTest::newRow("bool as string")
            << QByteArray(R"([{"id":"i","name":"n","link":"l","imageName":"m","isDefault":"true"}])");
        QTest::newRow("name as number")
            << QByteArray(R"([{"id":"i","name":1,"link":"l","imageName":"m","isDefault":true}])");
        QTest::newRow("null link") << QByteArray(
            R"([{"id":"i","name":"n","link":null,"imageName":"m","isDefault":true}])");
        QTest::newRow("one bad record among good ones") << "[" + good + ",{\"id\":\"i\"}," + good + "]";
        QTest::newRow("entry not an object") << "[" + good + ",42]";
        QTest::newRow("object, not a list") << good;
        QTest::newRow("truncated") << QByteArray("[") + good;
        QTest::newRow("not JSON") << QByteArray("\x89PNG\r\n");
        QTest::newRow("empty") << QByteArray();
    }
    void decodingRejectsTheWholeList()
    {
        QFETCH(QByteArray, json);
        QCOMPARE(decodeSourceList(json), std::nullopt);
    }

    void extraKeysAndKeyOrderDoNotMatter()
    {
        const auto decoded = decodeSourceList(
            R"([{"isDefault":true,"imageName":"m","link":"l","name":"n","id":"other","extra":1}])");
        QVERIFY(decoded);
        // id is taken as stored, not derived from the link.
        QCOMPARE(decoded->first(), (RepoSource{QStringLiteral("other"), QStringLiteral("n"),
                                               QStringLiteral("l"), QStringLiteral("m"), true}));
    }

    void equalityCoversAllFields()
    {
        const RepoSource a{QStringLiteral("i"), QStringLiteral("n"), QStringLiteral("l"), QStringLiteral("m"),
                           true};
        RepoSource b = a;
        QCOMPARE(a, b);
        b.imageName = QStringLiteral("other");
        QVERIFY(a != b);
        b = a;
        b.isDefault = false;
        QVERIFY(a != b);
    }
};

QTEST_GUILESS_MAIN(TestRepoSource)
#include "tst_reposource.moc"
