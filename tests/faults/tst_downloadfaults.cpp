// Every way a server or the network can let a load down, each checked for the same three promises:
// the load ends (no crash, no hang past the time-outs), the source's last good cache is left
// byte for byte as it was unless the answer really was an index, and healthy sources loading at the
// same time are not disturbed: one on another server, and one on the very same host and port, cold
// and warm, which must get its own bytes and nothing of the misbehaving one's.
#include "common/httpclient.h"
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
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Fault = FaultServer::Fault;
using Route = FaultServer::Route;
using Routes = QList<QPair<QByteArray, Route>>; // candidate file name, route

// Kept: the cache answers, untouched. Written: a 200 with a body is the index as far as the chain goes,
// even one with no package. Replaced: the answer was an index and is now the cache. Nothing: no cache,
// nothing serves, nothing written.
enum class Outcome { Kept, Written, Replaced, Nothing };

const QList<QByteArray> kCandidateNames{"Packages.gz", "Packages", "packages.gz", "packages"};

Routes everyCandidate(const Route &route)
{
    Routes routes;
    for (const QByteArray &name : kCandidateNames)
        routes.append({name, route});
    return routes;
}

const QByteArray kSeed = "Package: seed.one\nName: Seed One\n\nPackage: seed.two\nName: Seed Two\n";

QStringList identifiers(const PackageList &packages)
{
    QStringList out;
    for (const PackageInfo &package : packages)
        out.append(package.package().value_or(QString()));
    return out;
}

// The index and its validators: what the cache serves. A compressed answer that does not decompress
// is left beside them as "Packages.gz", as the chain says, and changes neither.
QMap<QString, QByteArray> snapshot(const QString &folder)
{
    QMap<QString, QByteArray> files;
    for (const QFileInfo &info : QDir(folder).entryInfoList(QDir::Files)) {
        if (info.fileName() != QLatin1String("Packages.gz"))
            files.insert(info.fileName(), readFile(info.filePath()));
    }
    return files;
}

} // namespace

class TestDownloadFaults : public QObject
{
    Q_OBJECT

    TestCertificates m_certificates;
    QTemporaryDir m_www;
    std::unique_ptr<NginxServer> m_nginx;
    std::unique_ptr<FaultServer> m_faults;
    QTcpServer m_plainHttp; // counts connections: an https source must never end up here
    int m_plainConnections = 0;
    // The words a source's health record gives for some faults, by row.
    QHash<QByteArray, QString> m_problems;
    quint16 m_closedPort = 0;
    const QByteArray m_index = readFile(testData(QStringLiteral("repo/Packages")));

    struct Loaded
    {
        LoadResult faulty;
        LoadResult neighbour; // on the same host and port
        LoadResult healthy;   // on another server
        bool ended = false;
    };

    // The neighbour of a row: a well-behaved repository on the fault server itself, with an index of
    // its own that names the row, so that its packages could not have come from anywhere else.
    QString neighbourOf(const QByteArray &tag)
    {
        const QByteArray folder = "/" + tag.toPercentEncoding() + "%20neighbour/";
        const QByteArray index = "Package: neighbour.one\nName: " + tag +
                                 "\n\nPackage: neighbour.two\nName: " + tag + "\nVersion: 2\n";
        m_faults->setRoute(folder + "Packages", Route{200, index}.healthy("\"" + tag.toHex() + "\""));
        return m_faults->url(QString::fromLatin1(folder.mid(1)));
    }

    // What the app keeps after a load of every source: the sources that came from their cache, as the
    // snapshot the next load reads unchanged caches from. A store that opens it anew.
    static std::shared_ptr<SnapshotStore> keepSnapshot(const QString &cacheRoot,
                                                       const QList<std::pair<QString, LoadResult>> &results)
    {
        const QString path = QFileInfo(cacheRoot).dir().filePath(u"Catalogue.snapshot"_s);
        QList<SnapshotSource> sources;
        for (const auto &[link, result] : results) {
            if (!result.cacheStamp.isEmpty())
                sources.append({link, result.cacheStamp, result.packages});
        }
        if (!SnapshotStore(path).save(sources))
            return {};
        return std::make_shared<SnapshotStore>(path);
    }

    // Loads the faulty source, its neighbour and a healthy nginx source together on one loader.
    Loaded loadAll(const QString &cacheRoot, const QString &link, const QString &neighbour,
                   DownloadTimeouts timeouts, std::shared_ptr<SnapshotStore> snapshots = {})
    {
        SourceLoader loader(LoadEnvironment{cacheRoot, DeviceRoot(cacheRoot + QStringLiteral("/device")),
                                            timeouts, false, std::move(snapshots)});
        Loaded loaded;
        int done = 0;
        const auto into = [&](LoadResult &slot) { return [&](const LoadResult &r) { slot = r, ++done; }; };
        loader.load(link, false, into(loaded.faulty));
        loader.load(neighbour, false, into(loaded.neighbour));
        loader.load(m_nginx->url(QStringLiteral("plain/")), false, into(loaded.healthy));
        // Four candidates, each bounded by the request limit, plus room for a slow machine.
        const int ceiling = 4 * timeouts.waitMilliseconds + 10000;
        loaded.ended = QTest::qWaitFor([&] { return done == 3; }, ceiling);
        return loaded;
    }

    // A neighbour served its own index: downloaded on a cold load, answered 304 on a warm one.
    static bool neighbourIsWhole(const LoadResult &result, const QByteArray &tag, bool warm, QString *why)
    {
        QStringList names;
        for (const PackageInfo &package : result.packages)
            names.append(package.name().value_or(QString()));
        const QString expected = QString::fromUtf8(tag);
        const ServedFrom served = warm ? ServedFrom::NotModified : ServedFrom::Network;
        if (result.servedFrom == served &&
            identifiers(result.packages) == QStringList{u"neighbour.one"_s, u"neighbour.two"_s} &&
            names == QStringList{expected, expected} && result.health.problem.isEmpty())
            return true;
        *why =
            QStringLiteral("%1 neighbour of \"%2\": %3 [%4] [%5] %6")
                .arg(warm ? u"warm"_s : u"cold"_s, expected, servedFromName(result.servedFrom),
                     identifiers(result.packages).join(u", "_s), names.join(u", "_s), result.health.problem);
        return false;
    }

    struct FaultRow
    {
        QByteArray name;
        Routes routes;
        Outcome outcome = Outcome::Kept;
        int packages = 0; // for Replaced
        QString link;     // empty: the fault server's folder for this row
    };
    QList<FaultRow> m_rows;

    // Serves a row's routes and seeds its source's last good download; gives the source's link.
    QString prepare(const FaultRow &row, const QString &cacheRoot, const RepoMeta &seedMeta)
    {
        const QByteArray folder = "/" + row.name.toPercentEncoding() + "/";
        for (const auto &[name, route] : row.routes)
            m_faults->setRoute(folder + name, route);
        const QString link =
            row.link.isEmpty() ? m_faults->url(QString::fromLatin1(folder.mid(1))) : row.link;
        if (row.outcome != Outcome::Nothing) {
            const RepoPaths paths = localCandidates(cacheRoot, link);
            RepoMeta meta = seedMeta;
            meta.lastURL = link + QStringLiteral("Packages");
            (void)writeFile(paths.plain, kSeed);
            (void)writeFile(paths.meta, encodeRepoMeta(meta));
        }
        return link;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_certificates.isValid());
        m_certificates.trustInThisProcess();
        QVERIFY(writeFile(m_www.filePath(QStringLiteral("plain/Packages")), m_index));
        m_nginx = std::make_unique<NginxServer>(m_www.path(), m_certificates);
        QVERIFY2(m_nginx->isRunning(), qPrintable(m_nginx->errorLog()));
        m_faults = std::make_unique<FaultServer>(m_certificates);
        QVERIFY(m_faults->isListening());
        QVERIFY(m_plainHttp.listen(QHostAddress::LocalHost, 0));
        connect(&m_plainHttp, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_plainHttp.nextPendingConnection()) {
                m_plainConnections++;
                socket->deleteLater();
            }
        });
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
        m_closedPort = closed.serverPort(); // closed again when this returns
        makeRows();
    }

    void makeRows()
    {
        const auto row = [this](const char *name, const Routes &routes, Outcome outcome, int packages = 0,
                                const QString &link = QString()) {
            m_rows.append(FaultRow{name, routes, outcome, packages, link});
        };
        const QByteArray html =
            "<!DOCTYPE html>\n<html><head><title>Sign in</title></head>\n"
            "<body><form action=\"/login\">Welcome: please sign in</form></body></html>\n";
        const QByteArray smuggled = "Package: smuggled\nName: Never sent for this request\n\n";
        const qsizetype twoStanzas = m_index.indexOf("\n\n", m_index.indexOf("\n\n") + 2) + 2;
        QByteArray junk(64 * 1024, Qt::Uninitialized);
        QRandomGenerator(13).fillRange(reinterpret_cast<quint32 *>(junk.data()), junk.size() / 4);
        QByteArray latin1 = m_index;
        latin1.replace("Second tweak", "Second tweak, caf\xe9 \xff\xfe");
        QByteArray nul = m_index;
        nul.replace("Second tweak", QByteArray("Second\0tw\0eak", 13));
        QByteArray longLine =
            m_index + "\nPackage: com.example.long\nDescription: " + QByteArray(50 * 1000 * 1000, 'a') + "\n";

        m_problems = {{"connection refused", u"Connection refused"_s},
                      {"stall before headers", u"timed out"_s},
                      {"slow drip past the request limit", u"timed out"_s},
                      {"status 404", u"HTTP 404"_s},
                      {"status 511", u"HTTP 511"_s},
                      {"captive portal page with 200 everywhere", u"not an index"_s},
                      {"empty 200", u"empty answer"_s},
                      {"gzip body", u"decode failure"_s},
                      {"304 without a cache", u"no index anywhere"_s}};
        row("connection refused", {}, Outcome::Kept, 0,
            QStringLiteral("https://127.0.0.1:%1/refused/").arg(m_closedPort));
        const QList<QPair<const char *, Fault>> cutOff{
            {"reset in headers", Fault::ResetInHeaders},
            {"reset in body", Fault::ResetInBody},
            {"long Content-Length", Fault::ShortBody},
            {"absurd Content-Length", Fault::AbsurdLength},
            {"chunked encoding cut short", Fault::ChunkedCutShort}};
        for (const auto &[name, fault] : cutOff)
            row(name, everyCandidate(Route{200, m_index, {}, fault}), Outcome::Kept);
        for (const auto &[name, fault] : {std::pair{"stall before headers", Fault::StallBeforeHeaders},
                                          std::pair{"stall mid-body", Fault::StallMidBody}})
            row(name, {{"Packages", Route{200, m_index, {}, fault}}}, Outcome::Kept);
        // Each piece comes well within the transfer time-out; the whole takes longer than a request may.
        row("slow drip past the request limit", {{"Packages", Route{200, m_index}.dripping(175)}},
            Outcome::Kept);
        for (const int status : {403, 404, 410, 500, 503, 511}) {
            row(("status " + QByteArray::number(status)).constData(), everyCandidate(Route{status, html}),
                Outcome::Kept);
        }
        row("captive portal page with 200 everywhere",
            everyCandidate(Route{200, html, {{"Content-Type", "text/html"}}}), Outcome::Written);
        row("empty 200", everyCandidate(Route{200, {}}), Outcome::Kept);
        // HTTP says the body ends where the length says; what follows is not read.
        row("short Content-Length",
            {{"Packages", Route{200, m_index}.claimingLength(twoStanzas).keptAlive()}}, Outcome::Replaced, 2);
        Routes loop;
        for (const QByteArray &name : kCandidateNames)
            loop.append({name, Route{302, {}, {{"Location", "/redirect%20loop/" + name}}}});
        row("redirect loop", loop, Outcome::Kept);
        row("redirect from https to http",
            everyCandidate(Route{
                301,
                {},
                {{"Location",
                  QStringLiteral("http://127.0.0.1:%1/Packages").arg(m_plainHttp.serverPort()).toUtf8()}}}),
            Outcome::Kept);
        QUrl elsewhere(m_nginx->url(QStringLiteral("plain/Packages")));
        elsewhere.setHost(QStringLiteral("localhost"));
        row("redirect to another host", {{"Packages", Route{301, {}, {{"Location", elsewhere.toEncoded()}}}}},
            Outcome::Replaced, 3);
        row("gzip body", {{"Packages.gz", Route{200, gzipFramed(m_index)}}}, Outcome::Kept);
        row("gzip behind Content-Encoding",
            {{"Packages", Route{200, gzipFramed(m_index), {{"Content-Encoding", "gzip"}}}}}, Outcome::Kept);
        row("Content-Encoding gzip that is not",
            {{"Packages", Route{200, m_index, {{"Content-Encoding", "gzip"}}}}}, Outcome::Kept);
        row("raw DEFLATE body", {{"Packages.gz", Route{200, rawDeflate(m_index)}}}, Outcome::Replaced, 3);
        row("binary junk", everyCandidate(Route{200, junk}), Outcome::Written);
        row("invalid UTF-8", {{"Packages", Route{200, latin1}}}, Outcome::Replaced, 3);
        row("NUL bytes", {{"Packages", Route{200, nul}}}, Outcome::Replaced, 3);
        row("a 50 MB line", {{"Packages", Route{200, longLine}}}, Outcome::Replaced, 4);
        row("Last-Modified in the future",
            {{"Packages", Route{200, m_index, {{"Last-Modified", "Fri, 01 Jan 2100 00:00:00 GMT"}}}}},
            Outcome::Replaced, 3);
        row("304 without a cache", {{"Packages.gz", Route{304, {}}}}, Outcome::Nothing);
        row("304 followed by a body", {{"Packages.gz", Route{304, m_index}.keptAlive()}}, Outcome::Kept);
        // The first answer is a correct 404, and then a whole second response follows on the same
        // connection, ready to be taken for the answer to the next candidate.
        const QByteArray second =
            "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(smuggled.size()) + "\r\n\r\n" +
            smuggled;
        row("excess bytes after a correct response",
            {{"Packages.gz", Route{404, "not here\n"}.followedBy(second)},
             {"Packages", Route{200, m_index}.keptAlive()}},
            Outcome::Replaced, 3);
        // The same after a whole 200 that is then turned down (zlib-wrapped, which the raw decoder
        // refuses): the second response waits on an idle connection while the body is decoded.
        row("excess bytes after an index that does not decode",
            {{"Packages.gz", Route{200, deflateWithWindowBits(m_index, 15)}.followedBy(second)},
             {"Packages", Route{200, m_index}.keptAlive()}},
            Outcome::Replaced, 3);
        // The second response comes 20 ms late, from a server that keeps a connection open unless
        // asked not to: left open, it would be waiting there for the next candidate's request.
        row("excess bytes late after an index that does not decode",
            {{"Packages.gz", Route{200, deflateWithWindowBits(m_index, 15)}.followedLaterBy(second, 20)},
             {"Packages", Route{200, m_index}.keptAlive()}},
            Outcome::Replaced, 3);
        // The same from a server that does not close the connection after its answer: the late
        // response waits there for whichever request is sent next.
        Route keptOpen = Route{404, "not here\n"}.followedLaterBy(second, 20);
        keptOpen.closesWhenAsked = false;
        row("excess bytes late on a connection kept open",
            {{"Packages.gz", keptOpen}, {"Packages", Route{200, m_index}.keptAlive()}}, Outcome::Replaced, 3);
        // A 304 has no body; this one sends a whole response as one, on a connection it keeps, with
        // the neighbour's requests right behind it.
        row("304 followed by a body with another request queued behind it",
            {{"Packages.gz", Route{304, second}.keptAlive()}}, Outcome::Kept);
    }

    void faults_data()
    {
        QTest::addColumn<int>("row");
        for (qsizetype i = 0; i < m_rows.size(); ++i)
            QTest::newRow(m_rows.at(i).name.constData()) << int(i);
    }
    void faults()
    {
        QFETCH(int, row);
        const FaultRow &fault = m_rows.at(row);
        const Outcome outcome = fault.outcome;
        QTemporaryDir data;
        const QString cacheRoot = cacheRootIn(data.path());
        // The last good download of this source.
        const RepoMeta seedMeta{
            QStringLiteral("\"seed\""), QStringLiteral("Sun, 01 Nov 2026 10:00:00 GMT"), {}, 1.5};
        const QString link = prepare(fault, cacheRoot, seedMeta);
        const QString neighbour = neighbourOf(fault.name);
        const RepoPaths paths = localCandidates(cacheRoot, link);
        const QMap<QString, QByteArray> before = snapshot(paths.folder);
        const int plainConnections = m_plainConnections;

        const Loaded loaded = loadAll(cacheRoot, link, neighbour, DownloadTimeouts{3000, 4000});
        QVERIFY(loaded.ended);
        QString why;
        QVERIFY2(neighbourIsWhole(loaded.neighbour, fault.name, false, &why), qPrintable(why));
        QCOMPARE(loaded.healthy.packages.size(), 3);
        QCOMPARE(loaded.healthy.health.outcome, HealthOutcome::Downloaded);
        QCOMPARE(loaded.healthy.health.problem, QString());
        QVERIFY(!identifiers(loaded.faulty.packages).contains(QStringLiteral("smuggled")));
        const QString problem = m_problems.value(fault.name);
        QVERIFY2(loaded.faulty.health.problem.contains(problem), qPrintable(loaded.faulty.health.problem));
        QCOMPARE(m_plainConnections, plainConnections);
        const Routes &routes = fault.routes;
        const int packages = fault.packages;

        switch (outcome) {
        case Outcome::Kept:
            QVERIFY(loaded.faulty.servedFrom == ServedFrom::Cache ||
                    loaded.faulty.servedFrom == ServedFrom::NotModified);
            QCOMPARE(identifiers(loaded.faulty.packages), (QStringList{u"seed.one"_s, u"seed.two"_s}));
            QCOMPARE(snapshot(paths.folder), before);
            QCOMPARE(loaded.faulty.health.cacheUpdatedAt, seedMeta.updatedAt); // the cache's age
            break;
        case Outcome::Replaced: {
            QCOMPARE(loaded.faulty.servedFrom, ServedFrom::Network);
            QCOMPARE(loaded.faulty.packages.size(), packages);
            QVERIFY(readRepoMeta(paths.meta).value_or(seedMeta).updatedAt != seedMeta.updatedAt);
            QVERIFY(!readFile(paths.plain).isEmpty());
            break;
        }
        case Outcome::Written:
            // Served as sent: no package came of it, and the page is now the cached index.
            QCOMPARE(loaded.faulty.servedFrom, ServedFrom::Network);
            QCOMPARE(identifiers(loaded.faulty.packages).join(QString()), QString());
            QCOMPARE(readFile(paths.plain), routes.constLast().second.body);
            QVERIFY(readRepoMeta(paths.meta));
            break;
        case Outcome::Nothing:
            QCOMPARE(loaded.faulty.servedFrom, ServedFrom::Nothing);
            QVERIFY(loaded.faulty.packages.isEmpty());
            QVERIFY(!QFileInfo::exists(paths.folder));
            break;
        }

        // Warm: the neighbour's validators are asked about and it answers 304, whatever the row
        // does meanwhile on the same host and port; its unchanged cache is read from the snapshot
        // the cold load left, the row's from wherever it now is.
        const std::shared_ptr<SnapshotStore> snapshots =
            keepSnapshot(cacheRoot, {{link, loaded.faulty},
                                     {neighbour, loaded.neighbour},
                                     {m_nginx->url(u"plain/"_s), loaded.healthy}});
        QVERIFY(snapshots);
        const Loaded warm = loadAll(cacheRoot, link, neighbour, DownloadTimeouts{3000, 4000}, snapshots);
        QVERIFY(warm.ended);
        QVERIFY2(neighbourIsWhole(warm.neighbour, fault.name, true, &why), qPrintable(why));
        QVERIFY(!identifiers(warm.faulty.packages).contains(QStringLiteral("smuggled")));
    }

    // Every row at once, their neighbours beside them, all on one host and port, cold and then warm,
    // a few times over: the faults depend on timing, and a client that shares connections between
    // requests meets each of them with somebody else's request.
    void everyFaultAtOnce()
    {
        QTemporaryDir data;
        const QString cacheRoot = cacheRootIn(data.path());
        const RepoMeta seedMeta{
            QStringLiteral("\"seed\""), QStringLiteral("Sun, 01 Nov 2026 10:00:00 GMT"), {}, 1.5};
        QStringList links;
        QStringList neighbours;
        for (const FaultRow &row : std::as_const(m_rows)) {
            links.append(prepare(row, cacheRoot, seedMeta));
            neighbours.append(neighbourOf(row.name));
        }
        std::shared_ptr<SnapshotStore> snapshots; // the one each round leaves for the next
        for (int round = 0; round < 3; ++round) {
            // Ninety sources queue for one host's connections here, behind the rows that stall: the
            // limit leaves the neighbours room on a busy machine.
            SourceLoader loader(LoadEnvironment{cacheRoot, DeviceRoot(data.filePath(u"device"_s)),
                                                DownloadTimeouts{8000, 8000}, false, snapshots});
            QList<LoadResult> faulty(m_rows.size());
            QList<LoadResult> beside(m_rows.size());
            int done = 0;
            for (qsizetype i = 0; i < m_rows.size(); ++i) {
                loader.load(links.at(i), false, [&, i](const LoadResult &r) { faulty[i] = r, ++done; });
                loader.load(neighbours.at(i), false, [&, i](const LoadResult &r) { beside[i] = r, ++done; });
            }
            QVERIFY(QTest::qWaitFor([&] { return done == 2 * m_rows.size(); }, 30000));
            for (qsizetype i = 0; i < m_rows.size(); ++i) {
                QString why;
                QVERIFY2(neighbourIsWhole(beside.at(i), m_rows.at(i).name, round > 0, &why), qPrintable(why));
                const QStringList got = identifiers(faulty.at(i).packages);
                QVERIFY2(!got.contains(u"smuggled"_s) && !got.contains(u"neighbour.one"_s),
                         qPrintable(m_rows.at(i).name + ": " + got.join(u", "_s)));
            }
            QList<std::pair<QString, LoadResult>> results;
            for (qsizetype i = 0; i < m_rows.size(); ++i)
                results += {{links.at(i), faulty.at(i)}, {neighbours.at(i), beside.at(i)}};
            snapshots = keepSnapshot(cacheRoot, results);
            QVERIFY(snapshots);
        }
    }

    void aBodyPastTheCeilingIsCutOff_data()
    {
        QTest::addColumn<bool>("announced");
        QTest::newRow("1 GiB body with its length") << true;
        QTest::newRow("a body that never ends") << false;
    }
    // Reading stops once the body passes the ceiling (or at once when its length says it will),
    // long before the server would be done.
    void aBodyPastTheCeilingIsCutOff()
    {
        QFETCH(bool, announced);
        const QByteArray folder = announced ? "/announced/" : "/endless/";
        const Route endless = Route{200, {}}.generating(qint64(1) << 30);
        m_faults->setRoute(folder + "Packages.gz", announced ? endless : endless.withoutLength());
        m_faults->setRoute(folder + "Packages", Route{200, m_index});
        QTemporaryDir data;
        const QString link = m_faults->url(QString::fromLatin1(folder.mid(1)));
        const qint64 sentBefore = m_faults->generatedBytesSent();
        // Limits long enough that only the size can stop the first candidate.
        const Loaded loaded =
            loadAll(cacheRootIn(data.path()), link, neighbourOf(folder), DownloadTimeouts{120000, 120000});
        QVERIFY(loaded.ended);
        QCOMPARE(loaded.faulty.servedFrom, ServedFrom::Network);
        QCOMPARE(loaded.faulty.packages.size(), 3);
        QVERIFY(m_faults->generatedBytesSent() - sentBefore < 2 * kMaxIndexBodyBytes);
        QCOMPARE(loaded.faulty.health.problem, QString()); // the fallback served, so nothing is wrong
    }

    // Every host lookup fails at once; none may hold the load until a time-out. Needs a world
    // without routes (a network namespace with loopback only), where lookups cannot wait on a
    // resolver; CTest runs it there. The hang it guards against came now and then, so the load of
    // 150 such sources is repeated.
    void manyFailedLookupsAllEndAtOnce()
    {
        if (qEnvironmentVariableIsEmpty("TALLOWPINE_NO_ROUTES"))
            QSKIP("runs inside a network namespace without routes (tst_downloadfaults_no_routes)");
        QTemporaryDir data;
        const DownloadTimeouts timeouts{5000, 5000};
        for (int round = 0; round < 20; ++round) {
            SourceLoader loader(LoadEnvironment{
                cacheRootIn(data.path()), DeviceRoot(data.filePath(QStringLiteral("device"))), timeouts});
            int done = 0;
            QElapsedTimer clock;
            clock.start();
            for (int i = 0; i < 150; ++i) {
                loader.load(QStringLiteral("https://host-%1-%2.invalid/repo/").arg(round).arg(i), false,
                            [&](const LoadResult &r) {
                                QCOMPARE(r.servedFrom, ServedFrom::Nothing);
                                ++done;
                            });
            }
            QVERIFY(QTest::qWaitFor([&] { return done == 150; }, 4 * timeouts.waitMilliseconds));
            QVERIFY2(clock.elapsed() < timeouts.requestMilliseconds,
                     "a lookup waited for the request time-out");
        }
    }

    // Closing while requests hang: nothing is delivered afterwards, nothing crashes.
    // Verification stays on: a server whose authority is not trusted serves nothing, and the source's
    // record names the certificate problem.
    void anUntrustedServerIsATlsError()
    {
        HttpClient::setExtraAuthorities({});
        const auto restore = qScopeGuard([&] { m_certificates.trustInThisProcess(); });
        m_faults->setRoute("/untrusted/Packages", Route{200, m_index});
        QTemporaryDir data;
        const QString root = cacheRootIn(data.path());
        SourceLoader loader(
            LoadEnvironment{root, DeviceRoot(data.filePath(u"device"_s)), DownloadTimeouts{3000, 4000}});
        std::optional<LoadResult> result;
        loader.load(m_faults->url(u"untrusted/"_s), false, [&](const LoadResult &r) { result = r; });
        QTRY_VERIFY_WITH_TIMEOUT(result.has_value(), 30000);
        QCOMPARE(result->servedFrom, ServedFrom::Nothing);
        QVERIFY2(result->health.problem.startsWith(u"TLS error: "_s), qPrintable(result->health.problem));
        QVERIFY(result->health.problem.contains(u"certificate"_s, Qt::CaseInsensitive));
    }

    void aLoaderClosedMidLoadDeliversNothing()
    {
        m_faults->setRoute("/closing/Packages.gz", Route{200, m_index, {}, Fault::StallBeforeHeaders});
        QTemporaryDir data;
        bool delivered = false;
        {
            SourceLoader loader(
                LoadEnvironment{cacheRootIn(data.path()), DeviceRoot(data.path()), DownloadTimeouts{}});
            loader.load(m_faults->url(QStringLiteral("closing/")), false,
                        [&](const LoadResult &) { delivered = true; });
            QTest::qWait(200);
        }
        QTest::qWait(100);
        QVERIFY(!delivered);
    }
};

QTEST_GUILESS_MAIN(TestDownloadFaults)
#include "tst_downloadfaults.moc"
