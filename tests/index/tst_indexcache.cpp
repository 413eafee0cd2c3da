// Cache folder names decide whether two spellings of a link share one cache, "meta.json" must read
// back what was written, and a writer that dies must leave the cache it found; all are easy to break
// with a small edit.
#include "../device/fakedevice.h"
#include "index/cachefiles.h"
#include "index/cachepaths.h"
#include "index/indexdownload.h"
#include "index/repometa.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

Q_DECLARE_METATYPE(RepoMeta)

using namespace Qt::StringLiterals;

class TestIndexCache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slugs_data()
    {
        // Two spellings of a link share a cache exactly when their slugs are equal; a slug that is not one
        // plain folder name gives no cache at all.
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("slug");
        QTest::addColumn<bool>("cached");
        QTest::newRow("path, case") << u"https://Host.Example/path/"_s << u"host.example_path"_s << true;
        QTest::newRow("one trailing slash only") << u"https://host//x//"_s << u"host__x_"_s << true;
        QTest::newRow("query kept") << u"https://repo.example.com/?a=b:c"_s << u"repo.example.com_?a=b:c"_s
                                    << true;
        QTest::newRow("scheme anywhere") << u"https://a.com/https://b/"_s << u"a.com_b"_s << true;
        QTest::newRow("https removed before http") << u"http://https://x"_s << u"x"_s << true;
        QTest::newRow("trimmed") << u" \t\nhttps://repo.example.com/\u2028 "_s << u"repo.example.com"_s
                                 << true;
        QTest::newRow("other schemes stay") << u"ftp://x/y"_s << u"ftp:__x_y"_s << true;
        QTest::newRow("unicode lower-cased") << u"https://ÄÖ.example/"_s << u"äö.example"_s << true;
        QTest::newRow("three dots") << u"https://.../"_s << u"..."_s << true;
        QTest::newRow("dot dot inside") << u"https://host/../"_s << u"host_.."_s << true;
        QTest::newRow("scheme only") << u"https://"_s << u""_s << false;
        QTest::newRow("dot") << u"https://./"_s << u"."_s << false;
        QTest::newRow("dot dot") << u"https://../"_s << u".."_s << false;
        QTest::newRow("NUL") << u"https://a\0b/"_s << u"a\0b"_s << false;
        QTest::newRow("255 bytes") << u"https://"_s + QString(255, u'a') << QString(255, u'a') << true;
        QTest::newRow("256 bytes") << u"https://"_s + QString(128, u'é') << QString(128, u'é') << false;
    }

    void slugs()
    {
        QFETCH(QString, link);
        QFETCH(QString, slug);
        QFETCH(bool, cached);
        QCOMPARE(::slug(link), slug);
        QCOMPARE(cacheFolderName(link), cached ? std::optional(slug) : std::nullopt);
    }

    void safeFolderNames_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("name");
        QTest::newRow("all eleven") << u"/\\:*?\"<>|#%"_s << u"___________"_s;
        QTest::newRow("blanks only") << u" \t\n "_s << u"Unnamed"_s;
        QTest::newRow("empty") << u""_s << u"Unnamed"_s;
        QTest::newRow("case and unicode kept") << u"  Repo Élan 中文.  "_s << u"Repo Élan 中文."_s;
    }

    void safeFolderNames()
    {
        QFETCH(QString, text);
        QFETCH(QString, name);
        QCOMPARE(safeFolderName(text), name);
    }

    void encodeMeta_data()
    {
        QTest::addColumn<RepoMeta>("meta");
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("no validators") << RepoMeta{std::nullopt, std::nullopt, std::nullopt, 1700000000}
                                       << "{\"updatedAt\":1700000000}"_ba;
        QTest::newRow("all fields")
            << RepoMeta{u"W/\"5f-1\""_s, u"Tue, 14 Nov 2023 22:13:20 GMT"_s,
                        u"https://repo.example.com/Packages"_s, 1700000000.25}
            << "{\"etag\":\"W\\/\\\"5f-1\\\"\",\"lastModified\":\"Tue, 14 Nov 2023 22:13:20 GMT\","
               "\"lastURL\":\"https:\\/\\/repo.example.com\\/Packages\",\"updatedAt\":1700000000.25}"_ba;
        QTest::newRow("empty etag kept, others left out")
            << RepoMeta{u""_s, std::nullopt, std::nullopt, 0.5} << "{\"etag\":\"\",\"updatedAt\":0.5}"_ba;
        QTest::newRow("controls and unicode") << RepoMeta{u"a\\b\n\x01é"_s, std::nullopt, std::nullopt, 1}
                                              << "{\"etag\":\"a\\\\b\\n\\u0001\xC3\xA9\",\"updatedAt\":1}"_ba;
    }

    void encodeMeta()
    {
        QFETCH(RepoMeta, meta);
        QFETCH(QByteArray, json);
        QCOMPARE(encodeRepoMeta(meta), json);
        QCOMPARE(decodeRepoMeta(json), meta);
    }

    void decodeMeta_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("readable");
        QTest::newRow("unescaped slashes, any order")
            << "{\"updatedAt\":3,\"lastURL\":\"https://x/Packages\",\"extra\":[1]}"_ba << true;
        QTest::newRow("nulls") << "{\"etag\":null,\"updatedAt\":3}"_ba << true;
        QTest::newRow("integer time") << "{\"updatedAt\":3}"_ba << true;
        QTest::newRow("no time") << "{\"etag\":\"x\"}"_ba << false;
        QTest::newRow("time as text") << "{\"updatedAt\":\"3\"}"_ba << false;
        QTest::newRow("etag as number") << "{\"etag\":5,\"updatedAt\":3}"_ba << false;
        QTest::newRow("array") << "[]"_ba << false;
        QTest::newRow("truncated") << "{\"updatedAt\":3"_ba << false;
        QTest::newRow("binary garbage") << QByteArray("\x1f\x8b\x08\0\xff{\0}", 9) << false;
        QTest::newRow("trailing garbage") << "{\"updatedAt\":3}x"_ba << false;
        QTest::newRow("deep nesting") << QByteArray(100000, '[') << false;
    }

    void decodeMeta()
    {
        QFETCH(QByteArray, json);
        QFETCH(bool, readable);
        QCOMPARE(decodeRepoMeta(json).has_value(), readable);
    }

    void metaFileFaults_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: a folder under the name; "|": a FIFO; "-": none
        QTest::newRow("none") << "-"_ba;
        QTest::newRow("garbage") << QByteArray("\0\xff\xfe garbage", 11);
        QTest::newRow("empty") << ""_ba;
        QTest::newRow("wrong shape") << "{\"etag\":\"x\",\"updatedAt\":[3]}"_ba;
        // Valid JSON, but far larger than any record: not read into memory.
        QTest::newRow("huge") << "{\"updatedAt\":3,\"pad\":\"" + QByteArray(8 << 20, 'x') + "\"}";
        QTest::newRow("folder") << QByteArray();
        QTest::newRow("FIFO") << "|"_ba;
    }

    void metaFileFaults()
    {
        QFETCH(QByteArray, content);
        FakeDevice device;
        const QString path = device.hostPath(u"/meta.json"_s);
        if (content.isNull() || content == "|")
            QVERIFY(device.build({content.isNull() ? u"/meta.json/"_s : u"/meta.json |"_s}));
        else if (content != "-")
            QVERIFY(writeFile(path, content));
        // A FIFO must not block the read.
        const auto read = device.finishesInTime([&] { return readRepoMeta(path); });
        QVERIFY2(read, "reading meta.json did not return");
        QVERIFY(!read->has_value());

        // The next save replaces whatever file was there.
        if (!content.isNull()) {
            const RepoMeta meta{u"e"_s, std::nullopt, u"https://x/Packages"_s, 4};
            QVERIFY(saveRepoMeta(path, meta));
            QCOMPARE(readRepoMeta(path), meta);
        }
    }

    void aFailedSaveLeavesNothingBehind()
    {
        QTemporaryDir dir;
        QVERIFY(!saveRepoMeta(dir.filePath(u"no/such/folder/meta.json"_s), RepoMeta{}));
        QVERIFY(QDir(dir.path()).isEmpty());
    }

    void aWriterKilledBeforeTheRenamesLeavesTheCacheItFound_data()
    {
        QTest::addColumn<bool>("compressed");
        QTest::addColumn<bool>("previous");
        QTest::newRow("plain over a cache") << false << true;
        QTest::newRow("compressed over a cache") << true << true;
        QTest::newRow("first download") << false << false;
    }
    void aWriterKilledBeforeTheRenamesLeavesTheCacheItFound()
    {
        QFETCH(bool, compressed);
        QFETCH(bool, previous);
        QTemporaryDir data;
        const QString link = u"https://repo.example/"_s;
        const FetchPlan plan = planFetch(link, true, LoadEnvironment{cacheRootIn(data.path()), {}, {}, true});
        const QMap<QString, QByteArray> before{
            {u"Packages"_s, "Package: old\n"_ba},
            {u"Packages.gz"_s, QByteArray::fromBase64("C0hMzk5MT7VSyM9J4QIA")}, // raw DEFLATE of the same
            {u"meta.json"_s, encodeRepoMeta(RepoMeta{u"\"old\""_s, std::nullopt, std::nullopt, 1})}};
        for (auto file = before.cbegin(); previous && file != before.cend(); ++file)
            QVERIFY(writeFile(QDir(plan.paths.folder).filePath(file.key()), file.value()));

        // The child stores a new index as a download would and dies just before renaming the files.
        const QByteArray text = "Package: new\n";
        const pid_t child = ::fork();
        if (child == 0) {
            setBeforeCacheRenameHookForTests([] { ::raise(SIGKILL); });
            (void)acceptIndexResponse(
                plan, IndexResponse{QUrl(link + (compressed ? u"Packages.gz"_s : u"Packages"_s)),
                                    {compressed ? QByteArray::fromBase64("C0hMzk5MT7VSyEst5wIA") : text},
                                    "\"new\"",
                                    {},
                                    {}});
            ::_exit(0);
        }
        int status = 0;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QVERIFY2(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL, "the writer did not reach its renames");

        // Every file as it was, and nothing else in the folder that a reader could take for the cache.
        QMap<QString, QByteArray> after;
        for (const QFileInfo &info :
             QDir(plan.paths.folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden))
            after.insert(info.fileName(), readFile(info.filePath()));
        QCOMPARE(after, (previous ? before : QMap<QString, QByteArray>()));
        const LoadResult served = loadWithoutNetwork(plan, DeviceRoot(data.filePath(u"device"_s)), false);
        QCOMPARE(served.servedFrom, previous ? ServedFrom::Cache : ServedFrom::Nothing);
        QCOMPARE(served.packages.size(), previous ? 1 : 0);
    }
};

QTEST_GUILESS_MAIN(TestIndexCache)
#include "tst_indexcache.moc"
