#include "device/locallists.h"
#include "index/cachefiles.h"
#include "index/cachepaths.h"
#include "index/indexdownload.h"
#include "index/repometa.h"
#include "index/snapshotstore.h"
#include "index/sourceloader.h"

#include "../testfiles.h"
#include "compression.h"
#include "faultserver.h"
#include "nginxserver.h"
#include "testcertificates.h"

#include <QDir>
#include <QDirIterator>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTest>

#include <cerrno>
#include <cstring>

#include <sys/mount.h>
#include <unistd.h>

using Route = FaultServer::Route;
using namespace Qt::StringLiterals;

namespace {

// Every file below a folder (mounts included), by relative path, with its bytes.
QMap<QString, QByteArray> filesBelow(const QString &folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(QDir(folder).relativeFilePath(path), readFile(path));
    }
    return files;
}

// An index too large for the full disk below (56 KiB, a third of it taken by the previous cache),
// compressed into a "Packages.gz" that still fits there.
QByteArray largeIndex(int packages)
{
    QRandomGenerator random(7);
    QByteArray index;
    for (int i = 0; i < packages; ++i) {
        QByteArray noise(96, Qt::Uninitialized);
        random.fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
        index += "Package: large." + QByteArray::number(i) + "\nDescription: " + noise.toBase64() + ' ' +
                 QByteArray(48, 'x') + "\n\n";
    }
    return index;
}

} // namespace

class TestIndexDownload : public QObject
{
    Q_OBJECT

    TestCertificates m_certificates;
    QTemporaryDir m_www;
    std::unique_ptr<NginxServer> m_nginx;
    std::unique_ptr<FaultServer> m_faults;
    std::unique_ptr<QTemporaryDir> m_data;
    const QByteArray m_index = readFile(testData(QStringLiteral("repo/Packages")));

    std::shared_ptr<SnapshotStore> m_snapshots;

    [[nodiscard]] LoadEnvironment environment(bool offline = false) const
    {
        // Short waits: the stalling routes must not cost 30 seconds each.
        return LoadEnvironment{cacheRootIn(m_data->path()),
                               DeviceRoot(m_data->filePath(QStringLiteral("device"))),
                               DownloadTimeouts{400, 800}, offline, m_snapshots};
    }

    [[nodiscard]] QString listsFolder() const
    {
        return m_data->filePath(QStringLiteral("device/var/jb/var/lib/apt/lists/"));
    }

    [[nodiscard]] RepoPaths cacheOf(const QString &link) const
    {
        return localCandidates(environment().cacheRoot, link);
    }

    // The fault server and the loader share this thread's event loop.
    LoadResult load(const QString &link, bool force = false, bool offline = false)
    {
        SourceLoader loader(environment(offline));
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

    void init()
    {
        m_data = std::make_unique<QTemporaryDir>();
        m_snapshots.reset();
    }

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

        // A package manager's compressed list on a rootless device.
        const QString lists = listsFolder();
        QVERIFY(writeFile(
            lists + QStringLiteral("127.0.0.1:%1_offline_._Packages.gz").arg(QUrl(m_faults->url()).port()),
            rawDeflate(m_index)));
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

    void aSnapshotServesOnlyTheCacheItWasMadeFrom_data()
    {
        // Each row changes something after the snapshot was written; its records stand in for the cache
        // only while they were made from this very cache file.
        QTest::addColumn<std::function<void(const RepoPaths &, const QString &)>>("change");
        QTest::addColumn<bool>("fromSnapshot");
        using Change = std::function<void(const RepoPaths &, const QString &)>;
        QTest::newRow("nothing") << Change([](const RepoPaths &, const QString &) {}) << true;
        QTest::newRow("cache written again, same bytes")
            << Change([this](const RepoPaths &cache, const QString &) {
                   QVERIFY(replaceCacheFiles(cache.folder, {{cache.plain, m_index}}));
               })
            << false;
        QTest::newRow("cache gone, its compressed form left")
            << Change([this](const RepoPaths &cache, const QString &) {
                   QVERIFY(QFile::remove(cache.plain));
                   QVERIFY(writeFile(cache.gz, rawDeflate(m_index)));
               })
            << false;
        QTest::newRow("snapshot cut short") << Change([](const RepoPaths &, const QString &snapshot) {
            QFile file(snapshot);
            QVERIFY(file.resize(file.size() - 8));
        }) << false;
    }

    void aSnapshotServesOnlyTheCacheItWasMadeFrom()
    {
        QFETCH(std::function<void(const RepoPaths &, const QString &)>, change);
        QFETCH(bool, fromSnapshot);
        const QString link = m_nginx->url() + QStringLiteral("plain/");
        const LoadResult fresh = load(link);
        QCOMPARE(fresh.packages.size(), 3);
        QVERIFY(!fresh.cacheStamp.isEmpty());
        QCOMPARE(fresh.cacheStamp, cacheFileStamp(cacheOf(link).plain));

        // A snapshot whose record is not in the cache at all shows where an answer came from.
        const QString path = m_data->filePath(u"Catalogue.snapshot"_s);
        const PackageInfo marker(u"com.example.snapshot"_s, u"From the snapshot"_s, u"1"_s, std::nullopt,
                                 std::nullopt, std::nullopt, std::nullopt, link);
        QVERIFY(SnapshotStore(path).save({{link, fresh.cacheStamp, {marker}}}));
        change(cacheOf(link), path);
        m_snapshots = std::make_shared<SnapshotStore>(path);

        for (const bool offline : {true, false}) {
            const LoadResult result = load(link, false, offline);
            QCOMPARE(result.servedFrom, offline ? ServedFrom::Cache : ServedFrom::NotModified);
            QCOMPARE(result.packages.size(), fromSnapshot ? 1 : 3);
            QCOMPARE(result.packages.first().package() == marker.package(), fromSnapshot);
            QCOMPARE(result.cacheStamp, cacheFileStamp(cacheOf(link).plain));
        }
    }

    void aCompressedCacheIsInflated()
    {
        const QString other = QStringLiteral("http://cache.example/");
        QVERIFY(writeFile(cacheOf(other).gz, rawDeflate(m_index)));
        const LoadResult cached = load(other);
        QCOMPARE(cached.servedFrom, ServedFrom::Cache);
        QCOMPARE(cached.packages.size(), 3);
    }

    void linksWithoutAPlainFolderNameAreNotCached_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("cache"); // the one cache file the loads may leave, if any
        QTest::newRow("plain name") << u"https://repo.example/"_s << u"RepoPackages/repo.example/Packages"_s;
        QTest::newRow("scheme only") << u"https://"_s << QString();
        QTest::newRow("dot") << u"https://./"_s << QString();
        QTest::newRow("dot dot") << u"https://../"_s << QString();
    }
    // Such links came from a hand-edited or older source list. Their slug would put the cache into the
    // cache root or the data folder itself: the list must serve them without reading or writing one.
    void linksWithoutAPlainFolderNameAreNotCached()
    {
        QFETCH(QString, link);
        QFETCH(QString, cache);
        QVERIFY(writeFile(listsFolder() + packagesFileName(link), m_index));
        // Another index where those slugs would have found a cache.
        const QMap<QString, QByteArray> planted{{u"Packages"_s, "Package: planted\n"_ba},
                                                {u"RepoPackages/Packages"_s, "Package: planted\n"_ba}};
        for (auto file = planted.cbegin(); file != planted.cend(); ++file)
            QVERIFY(writeFile(m_data->filePath(file.key()), file.value()));

        for (const ServedFrom expected :
             {ServedFrom::Lists, cache.isEmpty() ? ServedFrom::Lists : ServedFrom::Cache}) {
            const LoadResult result = load(link, false, true);
            QCOMPARE(result.servedFrom, expected);
            QCOMPARE(result.packages.size(), 3);
        }
        QMap<QString, QByteArray> expected = planted;
        if (!cache.isEmpty())
            expected.insert(cache, m_index);
        QMap<QString, QByteArray> files = filesBelow(m_data->path());
        files.removeIf([](const auto &file) { return file.key().startsWith(u"device/"_s); });
        QCOMPARE(files, expected);
    }

    void cacheOnReadOnlyOrFullDisk_data()
    {
        QTest::addColumn<bool>("readOnly");     // else a full disk
        QTest::addColumn<QByteArray>("served"); // the candidate the server answers; empty: only the lists
        QTest::newRow("read-only, network") << true << "Packages"_ba;
        QTest::newRow("read-only, compressed network") << true << "Packages.gz"_ba;
        QTest::newRow("read-only, lists") << true << QByteArray();
        QTest::newRow("full, network") << false << "Packages"_ba;
        QTest::newRow("full, compressed network") << false << "Packages.gz"_ba;
        QTest::newRow("full, lists") << false << QByteArray();
    }
    // Loads still publish, the cache is left byte for byte as it was, and nothing half-written appears.
    void cacheOnReadOnlyOrFullDisk()
    {
        if (qEnvironmentVariableIsEmpty("TALLOWPINE_OWN_MOUNT_NAMESPACE") || ::geteuid() != 0)
            QSKIP("mounts over the cache: run as root by tst_indexdownload_cache_mounts");
        QFETCH(bool, readOnly);
        QFETCH(QByteArray, served);
        const QByteArray index = largeIndex(240);
        static int round = 0;
        const QString folder = u"mounts-%1/"_s.arg(++round);
        const QString link = served.isEmpty() ? u"http://lists.example/"_s + folder : m_faults->url(folder);
        if (served.isEmpty())
            QVERIFY(writeFile(listsFolder() + packagesFileName(link), index));
        else
            m_faults->setRoute("/" + folder.toLatin1() + served,
                               Route{200, served.endsWith(".gz") ? rawDeflate(index) : index});

        // The previous download of this source (the lists source has none yet), and another source.
        const RepoMeta meta{u"\"old\""_s, std::nullopt, link + u"Packages"_s, 1};
        QMap<QString, QByteArray> before{{u"other/Packages"_s, m_index},
                                         {u"other/meta.json"_s, encodeRepoMeta(meta)}};
        if (!served.isEmpty()) {
            const QString own = QDir(environment().cacheRoot).relativeFilePath(cacheOf(link).folder);
            before.insert(own + u"/Packages"_s, m_index);
            before.insert(own + u"/Packages.gz"_s, rawDeflate(m_index));
            before.insert(own + u"/meta.json"_s, encodeRepoMeta(meta));
        }
        const auto seed = [&] {
            for (auto file = before.cbegin(); file != before.cend(); ++file) {
                if (!writeFile(environment().cacheRoot + u"/"_s + file.key(), file.value()))
                    return false;
            }
            return true;
        };
        const QByteArray rootPath = QFile::encodeName(environment().cacheRoot);
        const char *root = rootPath.constData();
        QVERIFY(QDir().mkpath(environment().cacheRoot));
        bool ready = false;
        if (readOnly) {
            ready = seed() && ::mount(root, root, nullptr, MS_BIND, nullptr) == 0 &&
                    ::mount(nullptr, root, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
        } else {
            ready = ::mount("tmpfs", root, "tmpfs", 0, "size=56k") == 0 && seed();
        }
        const auto unmount = qScopeGuard([&] { ::umount2(root, MNT_DETACH); });
        QVERIFY2(ready, strerror(errno));

        const LoadResult result = load(link);
        QCOMPARE(result.servedFrom, served.isEmpty() ? ServedFrom::Lists : ServedFrom::Network);
        QCOMPARE(result.packages.size(), 240);
        QCOMPARE(filesBelow(environment().cacheRoot), before);
    }
};

QTEST_GUILESS_MAIN(TestIndexDownload)
#include "tst_indexdownload.moc"
