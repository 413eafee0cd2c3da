#include "index/cachepaths.h"
#include "index/indexdownload.h"
#include "index/repometa.h"
#include "index/sourceloader.h"

#include "../testfiles.h"
#include "compression.h"
#include "faultserver.h"
#include "nginxserver.h"
#include "testcertificates.h"

#include <QDir>
#include <QTest>

using Route = FaultServer::Route;

class TestIndexDownload : public QObject
{
    Q_OBJECT

    TestCertificates m_certificates;
    QTemporaryDir m_www;
    std::unique_ptr<NginxServer> m_nginx;
    std::unique_ptr<FaultServer> m_faults;
    std::unique_ptr<QTemporaryDir> m_data;
    const QByteArray m_index = readFile(testData(QStringLiteral("repo/Packages")));

    [[nodiscard]] LoadEnvironment environment() const
    {
        // Short waits: the stalling routes must not cost 30 seconds each.
        return LoadEnvironment{cacheRootIn(m_data->path()),
                               DeviceRoot(m_data->filePath(QStringLiteral("device"))),
                               DownloadTimeouts{400, 800}};
    }

    [[nodiscard]] RepoPaths cacheOf(const QString &link) const
    {
        return localCandidates(environment().cacheRoot, link);
    }

    // The fault server and the loader share this thread's event loop.
    LoadResult load(const QString &link, bool force = false)
    {
        SourceLoader loader(environment());
        std::optional<LoadResult> result;
        loader.load(link, force, [&](const LoadResult &loaded) { result = loaded; });
        if (!QTest::qWaitFor([&] { return result.has_value(); }, 30000))
            return {};
        return *result;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_certificates.isValid());
        m_certificates.trustInThisProcess();
        const QList<QPair<const char *, QByteArray>> layouts{{"plain/Packages", m_index},
                                                             {"deflate/Packages.gz", rawDeflate(m_index)},
                                                             {"gzip/Packages.gz", gzipFramed(m_index)},
                                                             {"gzip/Packages", m_index},
                                                             {"lower/packages", m_index}};
        for (const auto &[name, bytes] : layouts)
            QVERIFY(writeFile(m_www.filePath(QString::fromLatin1(name)), bytes));
        m_nginx = std::make_unique<NginxServer>(m_www.path(), m_certificates);
        QVERIFY2(m_nginx->isRunning(), qPrintable(m_nginx->errorLog()));
        m_faults = std::make_unique<FaultServer>(m_certificates);
        QVERIFY(m_faults->isListening());
    }

    void init() { m_data = std::make_unique<QTemporaryDir>(); }

    void nginxServesEachLayout_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("servedBy");
        QTest::addColumn<bool>("keepsGz");
        const auto row = [](const char *tag, const char *folder, const char *servedBy, bool keepsGz) {
            QTest::newRow(tag) << QString::fromLatin1(folder) << QString::fromLatin1(servedBy) << keepsGz;
        };
        row("plain, after a 404 for the .gz", "plain", "Packages", false);
        row("raw DEFLATE .gz", "deflate", "Packages.gz", true);
        row("gzip-framed .gz is refused and not kept, plain wins", "gzip", "Packages", false);
        row("lower-case name", "lower", "packages", false);
    }
    void nginxServesEachLayout()
    {
        QFETCH(QString, folder);
        QFETCH(QString, servedBy);
        QFETCH(bool, keepsGz);
        const QString link = m_nginx->url(folder + QLatin1Char('/'));
        const LoadResult first = load(link);
        QCOMPARE(first.servedFrom, ServedFrom::Network);
        QCOMPARE(first.packages.size(), 3);
        QCOMPARE(first.packages.at(1).name(), std::optional(QStringLiteral("Beta ✨")));
        QCOMPARE(first.packages.at(0).sourceLink(), link);

        const RepoPaths paths = cacheOf(link);
        const std::optional<RepoMeta> meta = readRepoMeta(paths.meta);
        QVERIFY(meta);
        QCOMPARE(meta->lastURL, std::optional(link + servedBy));
        QVERIFY(meta->etag && meta->lastModified);
        QVERIFY(QFileInfo::exists(paths.plain));
        QCOMPARE(QFileInfo::exists(paths.gz), keepsGz);

        // nginx answers the stored validators with 304 and the cache fills in.
        const LoadResult second = load(link);
        QCOMPARE(second.servedFrom, ServedFrom::NotModified);
        QCOMPARE(second.packages.size(), 3);
        QVERIFY(first.packages.at(0).id() != second.packages.at(0).id());

        QCOMPARE(load(link, true).servedFrom, ServedFrom::Network);
    }

    void validatorsGoWithEveryCandidateUnlessForced()
    {
        const QString link = m_faults->url(QStringLiteral("validators/"));
        m_faults->setRoute(
            "/validators/Packages",
            Route{200, m_index, {{"ETag", "\"v1\""}, {"Last-Modified", "Sun, 01 Nov 2026 10:00:00 GMT"}}});
        QCOMPARE(load(link).servedFrom, ServedFrom::Network);

        const qsizetype before = m_faults->requests().size();
        m_faults->setRoute("/validators/Packages", Route{304, {}, {}});
        QCOMPARE(load(link).servedFrom, ServedFrom::NotModified);
        const auto conditional = m_faults->requests().mid(before);
        QCOMPARE(conditional.size(), 2); // Packages.gz (404), then Packages (304)
        for (const FaultServer::Request &request : conditional) {
            QCOMPARE(request.headers.value("if-none-match"), QByteArray("\"v1\""));
            QCOMPARE(request.headers.value("if-modified-since"), QByteArray("Sun, 01 Nov 2026 10:00:00 GMT"));
        }

        const qsizetype beforeForce = m_faults->requests().size();
        (void)load(link, true);
        for (const FaultServer::Request &request : m_faults->requests().mid(beforeForce)) {
            QVERIFY(!request.headers.contains("if-none-match"));
            QVERIFY(!request.headers.contains("if-modified-since"));
        }
    }

    void withoutTheServerTheCacheThenTheListsAnswer()
    {
        // Plain http is never fetched: the fault server must see no request at all.
        const QString link = QStringLiteral("http://127.0.0.1:%1/offline/").arg(QUrl(m_faults->url()).port());
        const qsizetype before = m_faults->requests().size();
        QCOMPARE(load(link).servedFrom, ServedFrom::Nothing);

        // A package manager's list on a rootless device.
        const QString lists = m_data->filePath(QStringLiteral("device/var/jb/var/lib/apt/lists/"));
        QVERIFY(writeFile(
            lists + QStringLiteral("127.0.0.1:%1_offline_._Packages").arg(QUrl(m_faults->url()).port()),
            m_index));
        LoadResult result = load(link);
        QCOMPARE(result.servedFrom, ServedFrom::Lists);
        QCOMPARE(result.packages.size(), 3);
        // ... which is now this source's cache too.
        QDir(lists).removeRecursively();
        result = load(link);
        QCOMPARE(result.servedFrom, ServedFrom::Cache);
        QCOMPARE(result.packages.size(), 3);
        QCOMPARE(m_faults->requests().size(), before);
    }

    void compressedListsAndCacheAreInflated()
    {
        const QString link = QStringLiteral("http://lists.example/repo/");
        const QString lists = m_data->filePath(QStringLiteral("device/var/jb/var/lib/apt/lists/"));
        QVERIFY(writeFile(lists + QStringLiteral("lists.example_repo_._Packages.gz"), rawDeflate(m_index)));
        QCOMPARE(load(link).servedFrom, ServedFrom::Lists);

        const QString other = QStringLiteral("http://cache.example/");
        QVERIFY(writeFile(cacheOf(other).gz, rawDeflate(m_index)));
        const LoadResult cached = load(other);
        QCOMPARE(cached.servedFrom, ServedFrom::Cache);
        QCOMPARE(cached.packages.size(), 3);
    }
};

QTEST_GUILESS_MAIN(TestIndexDownload)
#include "tst_indexdownload.moc"
