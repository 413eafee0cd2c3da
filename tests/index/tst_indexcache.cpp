// Cache folder names decide whether two spellings of a link share one cache, and "meta.json" must read
// back what was written; both are easy to break with a small edit.
#include "index/cachepaths.h"
#include "index/repometa.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(RepoMeta)

class TestIndexCache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slugs_data();
    void slugs();
    void sameFolder_data();
    void sameFolder();
    void safeFolderNames_data();
    void safeFolderNames();
    void candidates();
    void encodeMeta_data();
    void encodeMeta();
    void decodeMeta_data();
    void decodeMeta();
    void metaFile();
};

void TestIndexCache::slugs_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("slug");
    QTest::newRow("path") << "https://Host.Example/path/"
                          << "host.example_path";
    QTest::newRow("http") << "http://host/"
                          << "host";
    QTest::newRow("one trailing slash only") << "https://host//x//"
                                             << "host__x_";
    QTest::newRow("query kept") << "https://repo.example.com/?a=b:c"
                                << "repo.example.com_?a=b:c";
    QTest::newRow("scheme anywhere") << "https://a.com/https://b/"
                                     << "a.com_b";
    QTest::newRow("https removed before http") << "http://https://x"
                                               << "x";
    QTest::newRow("trimmed") << " \t\nhttps://repo.example.com/\u2028 "
                             << "repo.example.com";
    QTest::newRow("other schemes stay") << "ftp://x/y"
                                        << "ftp:__x_y";
    QTest::newRow("unicode lower-cased") << "https://ÄÖ.example/"
                                         << "äö.example";
}

void TestIndexCache::slugs()
{
    QFETCH(QString, link);
    QFETCH(QString, slug);
    QCOMPARE(::slug(link), slug);
}

void TestIndexCache::sameFolder_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::newRow("case") << "https://Repo.Example.com/"
                          << "https://repo.example.com/";
    QTest::newRow("scheme") << "http://repo.example.com/"
                            << "https://repo.example.com/";
    QTest::newRow("trailing slash") << "https://repo.example.com"
                                    << "https://repo.example.com/";
}

void TestIndexCache::sameFolder()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QCOMPARE(localCandidates(QStringLiteral("/r"), a).folder,
             localCandidates(QStringLiteral("/r"), b).folder);
}

void TestIndexCache::safeFolderNames_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("name");
    QTest::newRow("separators") << "a/b:c"
                                << "a_b_c";
    QTest::newRow("all eleven") << "/\\:*?\"<>|#%"
                                << "___________";
    QTest::newRow("blanks only") << " \t\n "
                                 << "Unnamed";
    QTest::newRow("empty") << ""
                           << "Unnamed";
    QTest::newRow("case and unicode kept") << "  Repo Élan 中文.  "
                                           << "Repo Élan 中文.";
    QTest::newRow("inner blanks kept") << "a b\tc"
                                       << "a b\tc";
}

void TestIndexCache::safeFolderNames()
{
    QFETCH(QString, text);
    QFETCH(QString, name);
    QCOMPARE(safeFolderName(text), name);
}

void TestIndexCache::candidates()
{
    QTemporaryDir dir;
    const QString root = cacheRootIn(dir.filePath(QStringLiteral("data")));
    QCOMPARE(root, dir.filePath(QStringLiteral("data/RepoPackages")));

    const RepoPaths paths = localCandidates(root, QStringLiteral("https://Repo.Example.com/sub/"));
    QCOMPARE(paths.folder, root + QStringLiteral("/repo.example.com_sub"));
    QCOMPARE(paths.gz, paths.folder + QStringLiteral("/Packages.gz"));
    QCOMPARE(paths.plain, paths.folder + QStringLiteral("/Packages"));
    QCOMPARE(paths.meta, paths.folder + QStringLiteral("/meta.json"));
    QVERIFY(QFileInfo(root).isDir());
    QVERIFY(!QFileInfo::exists(paths.folder)); // made by whoever writes into it
}

void TestIndexCache::encodeMeta_data()
{
    QTest::addColumn<RepoMeta>("meta");
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("no validators") << RepoMeta{std::nullopt, std::nullopt, std::nullopt, 1700000000}
                                   << QByteArray(R"({"updatedAt":1700000000})");
    QTest::newRow("all fields")
        << RepoMeta{QStringLiteral("W/\"5f-1\""), QStringLiteral("Tue, 14 Nov 2023 22:13:20 GMT"),
                    QStringLiteral("https://repo.example.com/Packages"), 1700000000.25}
        << QByteArray(R"({"etag":"W\/\"5f-1\"","lastModified":"Tue, 14 Nov 2023 22:13:20 GMT",)"
                      R"("lastURL":"https:\/\/repo.example.com\/Packages","updatedAt":1700000000.25})");
    QTest::newRow("empty etag kept, others left out")
        << RepoMeta{QStringLiteral(""), std::nullopt, std::nullopt, 0.5}
        << QByteArray(R"({"etag":"","updatedAt":0.5})");
    QTest::newRow("controls and unicode")
        << RepoMeta{QStringLiteral("a\\b\n\x01é"), std::nullopt, std::nullopt, 1}
        << QByteArray("{\"etag\":\"a\\\\b\\n\\u0001\xC3\xA9\",\"updatedAt\":1}");
}

void TestIndexCache::encodeMeta()
{
    QFETCH(RepoMeta, meta);
    QFETCH(QByteArray, json);
    QCOMPARE(encodeRepoMeta(meta), json);
    QCOMPARE(decodeRepoMeta(json), meta);
}

void TestIndexCache::decodeMeta_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<bool>("readable");
    QTest::newRow("unescaped slashes, any order")
        << QByteArray(R"({"updatedAt":3,"lastURL":"https://x/Packages","extra":[1]})") << true;
    QTest::newRow("nulls") << QByteArray(R"({"etag":null,"updatedAt":3})") << true;
    QTest::newRow("integer time") << QByteArray(R"({"updatedAt":3})") << true;
    QTest::newRow("no time") << QByteArray(R"({"etag":"x"})") << false;
    QTest::newRow("time as text") << QByteArray(R"({"updatedAt":"3"})") << false;
    QTest::newRow("etag as number") << QByteArray(R"({"etag":5,"updatedAt":3})") << false;
    QTest::newRow("array") << QByteArray("[]") << false;
    QTest::newRow("truncated") << QByteArray(R"({"updatedAt":3)") << false;
    QTest::newRow("empty") << QByteArray() << false;
}

void TestIndexCache::decodeMeta()
{
    QFETCH(QByteArray, json);
    QFETCH(bool, readable);
    QCOMPARE(decodeRepoMeta(json).has_value(), readable);
}

void TestIndexCache::metaFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("meta.json"));
    QVERIFY(!readRepoMeta(path).has_value());

    const RepoMeta meta{QStringLiteral("\"abc\""), std::nullopt, QStringLiteral("https://x/Packages"), 12.5};
    QVERIFY(saveRepoMeta(path, meta));
    QCOMPARE(readRepoMeta(path), meta);

    QVERIFY(!saveRepoMeta(dir.filePath(QStringLiteral("no/such/folder/meta.json")), meta));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"meta.json"});
}

QTEST_GUILESS_MAIN(TestIndexCache)
#include "tst_indexcache.moc"
