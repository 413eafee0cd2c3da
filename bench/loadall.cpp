// Loads every source of a generated catalogue (bench/make-repos) the way the app does, from a real nginx on
// loopback, and measures one run of each case: cold (empty cache), warm (every index answers 304) and
// offline (server gone, cache only). During the cold load it also records the time to the first
// non-empty package pool, the longest pause of the main thread's event loop and the peak RSS.
// Driven by bench/load-all, which makes the repositories (bench/make-repos) and times apt-get beside it.
//
// Worlds: "single" puts every repository on one host (127.0.0.1, the app's view of the tree);
// "hosts" gives each repository a loopback address of its own (127.0.0.1 to .250, then 127.0.1.1 and
// on; the view apt reads: a real gzip "Packages.gz" beside the plain "Packages"), and --with-builtin
// adds the built-in catalogue, which is unreachable when run inside a network namespace of its own
// (bench/load-all does that). --server-http2 has nginx offer HTTP/2 as well.
//
// usage: tallowpine-loadall-bench --repos DIR [--json FILE] [--mode packages|sources]
//                                 [--world single|hosts] [--with-builtin] [--server-http2]
//                                 [--trace-stalls] [--keep-data DIR]
// Main thread only; the app's own loader threads do the loading.
#include "app/platform.h"
#include "app/repoviewmodel.h"
#include "common/allocator.h"
#include "common/threadpriority.h"
#include "index/cachepaths.h"
#include "index/indexdownload.h"
#include "search/debouncetimer.h"
#include "search/filterpipeline.h"
#include "sources/defaultsources.h"
#include "testcertificates.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <map>

namespace {

struct Repo
{
    QString name;
    QString kind; // gz, plain, missing, stalled-gz, stalled-plain
    qint64 packages = 0;
    qint64 plainBytes = 0;
    qint64 servedBytes = 0;
};

QList<Repo> readRepos(const QString &dir)
{
    QFile file(dir + QStringLiteral("/repos.tsv"));
    QList<Repo> repos;
    if (!file.open(QIODevice::ReadOnly))
        return repos;
    file.readLine(); // header
    while (!file.atEnd()) {
        const QList<QByteArray> cells = file.readLine().trimmed().split('\t');
        if (cells.size() != 5)
            continue;
        repos.append({QString::fromUtf8(cells[0]), QString::fromUtf8(cells[1]), cells[2].toLongLong(),
                      cells[3].toLongLong(), cells[4].toLongLong()});
    }
    return repos;
}

// The n-th loopback address from 1, as tools/testservers/make-test-certificates names them.
QString loopbackAddress(int n)
{
    return QStringLiteral("127.0.%1.%2").arg((n - 1) / 250).arg((n - 1) % 250 + 1);
}

// The repositories' own nginx configuration (its rate map slows the stalled ones down), filled in
// and run as a child that dies with us, so a crash here never leaves a server behind.
class RepoServer
{
public:
    RepoServer(const QString &repoDir, const TestCertificates &certificates, int addresses, bool http2)
    {
        QFile in(repoDir + QStringLiteral("/nginx.conf.in"));
        QTcpServer probe;
        if (!in.open(QIODevice::ReadOnly) || !probe.listen(QHostAddress::LocalHost, 0))
            return;
        const quint16 port = probe.serverPort();
        probe.close();
        QString config = QString::fromUtf8(in.readAll());
        QString listen;
        for (int n = 1; n <= addresses; ++n)
            listen += QStringLiteral("listen %1:@PORT@ ssl%2;\n        ")
                          .arg(loopbackAddress(n), http2 ? QStringLiteral(" http2") : QString());
        config.replace(QStringLiteral("listen 127.0.0.1:@PORT@ ssl;\n        "), listen)
            .replace(QStringLiteral("@PORT@"), QString::number(port))
            .replace(QStringLiteral("@CERT@"), certificates.certificateFile())
            .replace(QStringLiteral("@KEY@"), certificates.keyFile())
            .replace(QStringLiteral("@ROOT@"), QDir(repoDir).absolutePath())
            .replace(QStringLiteral("@RUN@"), m_run.path());
        QFile out(m_run.filePath(QStringLiteral("nginx.conf")));
        if (!out.open(QIODevice::WriteOnly))
            return;
        out.write(config.toUtf8());
        out.close();
        m_process.setProcessChannelMode(QProcess::ForwardedChannels);
        // The repositories stand in for servers far away, whose work is not the device's: nginx runs
        // below the app's threads, so the TLS it serves on the same two cores does not count as the
        // app's pauses. LOADALL_SERVER_NICE=0 puts it level with them.
        const int serverNice = qEnvironmentVariableIsSet("LOADALL_SERVER_NICE")
                                   ? qEnvironmentVariableIntValue("LOADALL_SERVER_NICE")
                                   : 10;
        m_process.setChildProcessModifier([serverNice] {
            ::prctl(PR_SET_PDEATHSIG, SIGTERM);
            (void)::setpriority(PRIO_PROCESS, 0, serverNice);
        });
        m_process.start(QStringLiteral("nginx"),
                        {QStringLiteral("-p"), m_run.path(), QStringLiteral("-c"), out.fileName(),
                         QStringLiteral("-e"), m_run.filePath(QStringLiteral("error.log"))});
        if (!m_process.waitForStarted(5000))
            return;
        for (int i = 0; i < 250 && m_process.state() == QProcess::Running; ++i) {
            QTcpSocket socket;
            socket.connectToHost(QHostAddress::LocalHost, port);
            if (socket.waitForConnected(200)) {
                m_port = port;
                return;
            }
            QThread::msleep(20);
        }
    }
    ~RepoServer() { stop(); }

    [[nodiscard]] quint16 port() const { return m_port; }

    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(2000);
    }

private:
    QTemporaryDir m_run;
    QProcess m_process;
    quint16 m_port = 0;
};

long currentRssKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return 0;
}

// The process's peak RSS since the last resetPeakRss(): VmHWM, which getrusage's ru_maxrss also reads
// but cannot reset.
long peakRssKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return 0;
}

// Each phase measures its own peak: Linux resets VmHWM to the current RSS on "5" in clear_refs.
void resetPeakRss()
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (!clear.open(QIODevice::WriteOnly) || clear.write("5") != 1)
        std::fprintf(stderr, "loadall: cannot reset the peak RSS; later phases show the run's peak\n");
}

double cpuMsSoFar()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

struct PhaseResult
{
    QString name;
    double wallMs = 0;
    double firstResultMs = -1;    // first allPackagesChanged with a non-empty pool
    double allButStalledMs = 0;   // when the last source that is not slowed down finished
    double lastReachableMs = 0;   // when the last source that got packages finished
    double firstKeystrokeMs = -1; // after the load: one letter typed to its filtered list
    double snapshotMs = -1;       // from the end of the load until its snapshot was written
    double maxStallMs = 0;        // longest gap between two ticks of a 1 ms timer on this thread
    double maxStallEndMs = 0;     // when that gap ended
    double startCallMs = 0;       // how long the loadAllPackages() call itself took
    int stallsOver16Ms = 0;
    qint64 ticks = 0;
    qint64 packages = 0;
    std::map<QString, int> served;
    long rssBeforeKiB = 0;
    long rssAfterKiB = 0;
    long peakRssKiB = 0;
    double cpuMs = 0; // user + system time of the whole process during the phase
    bool finished = false;
};

// A what-if for the report, not something the app does: the main thread raised above the loader
// threads (which were created at the normal level) while they run.
void setMainThreadNice(int nice)
{
    if (setpriority(PRIO_PROCESS, id_t(gettid()), nice) != 0)
        std::perror("loadall: setpriority");
}

// --trace-stalls: where a long gap went. Each event the main thread handles is timed, and each gap of
// over 6 ms is printed with the thread's own CPU time and its run-queue wait over the gap (from
// /proc/thread-self/schedstat) and the longest event inside it.
class TracingApplication : public QCoreApplication
{
public:
    using QCoreApplication::QCoreApplication;
    bool notify(QObject *receiver, QEvent *event) override
    {
        if (!tracing || QThread::currentThread() != thread())
            return QCoreApplication::notify(receiver, event);
        QElapsedTimer timer;
        timer.start();
        const QEvent::Type type = event->type();
        const char *className = receiver->metaObject()->className(); // the receiver may be gone after
        const bool handled = QCoreApplication::notify(receiver, event);
        const qint64 ns = timer.nsecsElapsed();
        if (ns > longestNs) {
            longestNs = ns;
            longest = QStringLiteral("%1 event %2").arg(QString::fromLatin1(className)).arg(int(type));
        }
        return handled;
    }
    static inline bool tracing = false;
    static inline qint64 longestNs = 0;
    static inline QString longest;
};

std::pair<qint64, qint64> schedstat() // on-CPU ns, run-queue wait ns
{
    QFile file(QStringLiteral("/proc/thread-self/schedstat"));
    if (!file.open(QIODevice::ReadOnly))
        return {0, 0};
    const QList<QByteArray> fields = file.readAll().split(' ');
    return {fields.value(0).toLongLong(), fields.value(1).toLongLong()};
}

// Event-loop responsiveness: a 1 ms precise timer ticks whenever the main thread is free; the
// longest gap between ticks is the longest time the screen could not have been redrawn.
void watchStalls(QTimer &ticker, const QElapsedTimer &clock, PhaseResult &result)
{
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(1);
    QObject::connect(
        &ticker, &QTimer::timeout,
        [&clock, &result, lastTick = qint64(0), lastStat = std::pair<qint64, qint64>()]() mutable {
            const qint64 now = clock.nsecsElapsed();
            const double gapMs = double(now - lastTick) / 1e6;
            if (TracingApplication::tracing) {
                const auto stat = schedstat();
                if (gapMs > 6.0 && lastTick > 0) {
                    std::fprintf(
                        stderr,
                        "%s: gap %.1f ms ending at %.1f ms: on CPU %.1f ms, waiting for a core %.1f ms; "
                        "longest event %.1f ms (%s)\n",
                        qPrintable(result.name), gapMs, double(now) / 1e6,
                        double(stat.first - lastStat.first) / 1e6,
                        double(stat.second - lastStat.second) / 1e6,
                        double(TracingApplication::longestNs) / 1e6, qPrintable(TracingApplication::longest));
                }
                lastStat = stat;
                TracingApplication::longestNs = 0;
            }
            if (gapMs > result.maxStallMs) {
                result.maxStallMs = gapMs;
                result.maxStallEndMs = double(now) / 1e6;
            }
            if (gapMs > 16.0)
                ++result.stallsOver16Ms;
            ++result.ticks;
            lastTick = now;
        });
}

// Typing settles at once, so a keystroke's time is the filter's own.
class ImmediateDebounce : public DebounceTimer
{
public:
    void start(std::function<void()> action) override { action(); }
};

PhaseResult runPhase(const QString &name, const Platform &platform, const QList<Repo> &repos,
                     const QStringList &links, bool packagesMode, int mainThreadBoost)
{
    PhaseResult result;
    result.name = name;
    resetPeakRss();
    result.rssBeforeKiB = currentRssKiB();

    RepoViewModel model(platform, std::make_unique<ImmediateDebounce>());
    if (packagesMode)
        model.setSelectedMode(RepoViewModel::AllPackages);

    QEventLoop loop;
    QElapsedTimer clock;

    QTimer ticker;
    watchStalls(ticker, clock, result);

    QObject::connect(&model, &RepoViewModel::allPackagesChanged, [&] {
        if (result.firstResultMs < 0 && !model.allPackages().isEmpty())
            result.firstResultMs = double(clock.nsecsElapsed()) / 1e6;
    });

    // Which sources finished when: a link leaves the loading set as its result is published.
    QSet<QString> stalledLinks;
    for (qsizetype i = 0; i < repos.size(); ++i) {
        if (repos.at(i).kind.startsWith(QLatin1String("stalled")))
            stalledLinks.insert(links.at(i));
    }
    // A source with packages has reached its server (or its cache): when the last one is in. Every
    // result is published here, so this also tells when the last source that is not slowed down
    // finished. (Watching the loading set instead would copy it on every change, a cost of the
    // benchmark's that would show up as the app's.)
    qsizetype withPackages = 0;
    qsizetype unslowedDone = 0;
    QObject::connect(&model, &RepoViewModel::packagesByLinkChanged, [&] {
        qsizetype now = 0;
        qsizetype unslowedNow = 0;
        for (auto it = model.packagesByLink().cbegin(); it != model.packagesByLink().cend(); ++it) {
            now += it->isEmpty() ? 0 : 1;
            unslowedNow += stalledLinks.contains(it.key()) ? 0 : 1;
        }
        const double at = double(clock.nsecsElapsed()) / 1e6;
        if (now > withPackages)
            result.lastReachableMs = at;
        if (unslowedNow > unslowedDone)
            result.allButStalledMs = at;
        withPackages = now;
        unslowedDone = unslowedNow;
    });

    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    limit.start(300000);

    // The snapshot this load leaves is written on a worker after it ends; the next phase must find it.
    bool snapshotSaved = false;
    QEventLoop snapshotLoop;
    QObject::connect(&model, &RepoViewModel::snapshotSaved, &snapshotLoop, [&] {
        snapshotSaved = true;
        result.snapshotMs = double(clock.nsecsElapsed()) / 1e6 - result.wallMs;
        snapshotLoop.quit();
    });

    const double cpuBefore = cpuMsSoFar();
    clock.start();
    ticker.start();
    model.loadAllPackages([&] {
        result.wallMs = double(clock.nsecsElapsed()) / 1e6;
        result.finished = true;
        loop.quit();
    });
    result.startCallMs = double(clock.nsecsElapsed()) / 1e6;
    if (mainThreadBoost != 0)
        setMainThreadNice(-mainThreadBoost);
    loop.exec();
    ticker.stop();
    if (mainThreadBoost != 0)
        setMainThreadNice(0);
    result.cpuMs = cpuMsSoFar() - cpuBefore;

    result.packages = model.allPackages().size();
    if (packagesMode) {
        // Let the filter runs queued by the last appends land, then type one letter.
        QTimer::singleShot(300, &loop, &QEventLoop::quit);
        loop.exec();
        QElapsedTimer keystroke;
        const QMetaObject::Connection filtered =
            QObject::connect(&model, &RepoViewModel::filteredPackagesChanged, &loop, [&] {
                if (result.firstKeystrokeMs < 0)
                    result.firstKeystrokeMs = double(keystroke.nsecsElapsed()) / 1e6;
                loop.quit();
            });
        keystroke.start();
        model.setSearchText(QStringLiteral("a"));
        if (result.firstKeystrokeMs < 0)
            loop.exec();
        QObject::disconnect(filtered);
    }
    if (!snapshotSaved) {
        QTimer::singleShot(120000, &snapshotLoop, &QEventLoop::quit);
        snapshotLoop.exec();
    }
    for (const RepoSource &source : model.sources())
        ++result.served[servedFromName(model.loader().lastServedFrom(source.link))];
    result.rssAfterKiB = currentRssKiB();
    result.peakRssKiB = peakRssKiB();
    return result;
}

QJsonObject toJson(const PhaseResult &r)
{
    QJsonObject served;
    for (const auto &[how, count] : r.served)
        served.insert(how, count);
    return QJsonObject{{QStringLiteral("name"), r.name},
                       {QStringLiteral("finished"), r.finished},
                       {QStringLiteral("wall_ms"), r.wallMs},
                       {QStringLiteral("first_result_ms"), r.firstResultMs},
                       {QStringLiteral("all_but_stalled_ms"), r.allButStalledMs},
                       {QStringLiteral("last_reachable_ms"), r.lastReachableMs},
                       {QStringLiteral("first_keystroke_ms"), r.firstKeystrokeMs},
                       {QStringLiteral("snapshot_ms"), r.snapshotMs},
                       {QStringLiteral("max_stall_ms"), r.maxStallMs},
                       {QStringLiteral("max_stall_end_ms"), r.maxStallEndMs},
                       {QStringLiteral("cpu_ms"), r.cpuMs},
                       {QStringLiteral("start_call_ms"), r.startCallMs},
                       {QStringLiteral("stalls_over_16ms"), r.stallsOver16Ms},
                       {QStringLiteral("ticks"), r.ticks},
                       {QStringLiteral("packages"), r.packages},
                       {QStringLiteral("served"), served},
                       {QStringLiteral("rss_before_kib"), qint64(r.rssBeforeKiB)},
                       {QStringLiteral("rss_after_kib"), qint64(r.rssAfterKiB)},
                       {QStringLiteral("peak_rss_kib"), qint64(r.peakRssKiB)}};
}

QString servedText(const PhaseResult &r)
{
    QStringList parts;
    for (const auto &[how, count] : r.served)
        parts.append(QStringLiteral("%1 %2").arg(how).arg(count));
    return parts.join(QStringLiteral(", "));
}

} // namespace

int main(int argc, char **argv)
{
    tuneAllocatorForIndexLoads(); // as the app does
    setThisThreadLatencySensitive();
    TracingApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Cold, warm and offline loadAllPackages over loopback nginx."));
    parser.addHelpOption();
    const QCommandLineOption reposOption(
        QStringLiteral("repos"), QStringLiteral("Tree made by bench/make-repos."), QStringLiteral("DIR"));
    const QCommandLineOption jsonOption(
        QStringLiteral("json"), QStringLiteral("Also write the results here."), QStringLiteral("FILE"));
    const QCommandLineOption modeOption(
        QStringLiteral("mode"),
        QStringLiteral(
            "Screen shown while loading: packages (the filter re-runs on every append) or sources."),
        QStringLiteral("MODE"), QStringLiteral("packages"));
    const QCommandLineOption boostOption(
        QStringLiteral("main-thread-boost"),
        QStringLiteral("What-if: lower the main thread's nice value by N once the loads have started."),
        QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption worldOption(
        QStringLiteral("world"),
        QStringLiteral(
            "single: every repository on 127.0.0.1; hosts: each on a loopback address of its own."),
        QStringLiteral("WORLD"), QStringLiteral("single"));
    const QCommandLineOption builtinOption(QStringLiteral("with-builtin"),
                                           QStringLiteral("Keep the built-in catalogue in the source list."));
    const QCommandLineOption traceOption(
        QStringLiteral("trace-stalls"),
        QStringLiteral("Print where each main-thread gap of over 6 ms went."));
    const QCommandLineOption keepOption(
        QStringLiteral("keep-data"),
        QStringLiteral(
            "Keep the settings (settings.ini), data folder (data) and device root (device) in DIR."),
        QStringLiteral("DIR"));
    const QCommandLineOption http2Option(QStringLiteral("server-http2"),
                                         QStringLiteral("nginx offers HTTP/2 beside HTTP/1.1."));
    parser.addOptions({reposOption, jsonOption, modeOption, boostOption, worldOption, builtinOption,
                       traceOption, http2Option, keepOption});
    parser.process(app);
    TracingApplication::tracing = parser.isSet(traceOption);
    if (!parser.isSet(reposOption))
        parser.showHelp(1);

    const QString repoDir = parser.value(reposOption);
    const QList<Repo> repos = readRepos(repoDir);
    if (repos.isEmpty()) {
        std::fprintf(stderr, "loadall: no repos.tsv in %s (run bench/make-repos)\n", qPrintable(repoDir));
        return 1;
    }
    const bool packagesMode = parser.value(modeOption) != QLatin1String("sources");
    const int boost = parser.value(boostOption).toInt();

    const TestCertificates certificates;
    if (!certificates.isValid()) {
        std::fprintf(stderr, "loadall: openssl could not make the test certificates\n");
        return 1;
    }
    // Before the first request, as --ca-file does it.
    certificates.trustInThisProcess();

    // "scale" is bench/load-all's name for the hosts world of its 1,000-repository tree.
    const bool hosts = parser.value(worldOption) != QLatin1String("single");
    RepoServer server(repoDir, certificates, hosts ? int(repos.size()) : 1, parser.isSet(http2Option));
    if (server.port() == 0) {
        std::fprintf(stderr, "loadall: nginx did not start\n");
        return 1;
    }
    QStringList links;
    for (qsizetype i = 0; i < repos.size(); ++i) {
        links.append(
            hosts ? QStringLiteral("https://%1:%2/apt/%3/")
                        .arg(loopbackAddress(int(i) + 1))
                        .arg(server.port())
                        .arg(repos.at(i).name)
                  : QStringLiteral("https://127.0.0.1:%1/app/%2/").arg(server.port()).arg(repos.at(i).name));
    }

    QList<RepoSource> catalogue;
    if (parser.isSet(builtinOption))
        catalogue = defaultSources();
    qint64 expectedPackages = 0, plainBytes = 0, servedBytes = 0;
    for (qsizetype i = 0; i < repos.size(); ++i) {
        const Repo &repo = repos.at(i);
        catalogue.append({repo.name, repo.name, links.at(i), QString(), true});
        expectedPackages += repo.packages;
        plainBytes += repo.plainBytes;
        servedBytes += repo.servedBytes;
    }

    // The settings, cache and snapshot stay behind with --keep-data, for the command line to search.
    QTemporaryDir temporary;
    const QDir work(parser.isSet(keepOption) ? parser.value(keepOption) : temporary.path());
    if (!work.mkpath(QStringLiteral("."))) {
        std::fprintf(stderr, "loadall: cannot make %s\n", qPrintable(work.path()));
        return 1;
    }
    QDir(work.path()).mkpath(QStringLiteral("device"));
    QDir(work.path()).mkpath(QStringLiteral("data"));
    Platform platform;
    platform.settings =
        std::make_shared<QSettings>(work.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
    platform.dataDirectory = work.filePath(QStringLiteral("data"));
    platform.deviceRoot = DeviceRoot(work.filePath(QStringLiteral("device")));
    platform.catalogue = catalogue;
    platform.diagnostics = stderr;

    const PhaseResult cold = runPhase(QStringLiteral("cold"), platform, repos, links, packagesMode, boost);
    const PhaseResult warm = runPhase(QStringLiteral("warm"), platform, repos, links, packagesMode, boost);
    server.stop();
    const PhaseResult offline =
        runPhase(QStringLiteral("offline"), platform, repos, links, packagesMode, boost);

    std::printf(
        "\nloadAllPackages over %lld sources, %lld packages in the indexes, %.1f MB plain text, %.1f MB "
        "served (screen: %s%s)\n",
        qint64(repos.size()), expectedPackages, double(plainBytes) / 1e6, double(servedBytes) / 1e6,
        packagesMode ? "All Packages" : "All Sources",
        boost ? qPrintable(QStringLiteral(", main thread nice -%1").arg(boost)) : "");
    std::printf("%-20s %8s %8s %9s %9s %9s %9s %6s %8s %8s %9s %9s  %s\n", "phase", "wall ms", "first ms",
                "unslowed", "last data", "max stall", "stall end", ">16ms", "cpu ms", "packages", "peak MiB",
                "keystroke", "served");
    const QList<const PhaseResult *> rows{&cold, &warm, &offline};
    for (const PhaseResult *r : rows) {
        std::printf("%-20s %8.0f %8.0f %9.0f %9.0f %9.1f %9.0f %6d %8.0f %8lld %9.1f %9.1f  %s%s\n",
                    qPrintable(r->name), r->wallMs, r->firstResultMs, r->allButStalledMs, r->lastReachableMs,
                    r->maxStallMs, r->maxStallEndMs, r->stallsOver16Ms, r->cpuMs, r->packages,
                    double(r->peakRssKiB) / 1024.0, r->firstKeystrokeMs, qPrintable(servedText(*r)),
                    r->finished ? "" : "  (DID NOT FINISH)");
    }
    std::printf(
        "(unslowed: when the last source that is not rate-limited finished; last data: when the last source\n"
        " that got packages finished; stall end: when the longest main-thread gap ended, from the start of\n"
        " the load; keystroke: one letter typed after the load, to its filtered list, in ms)\n");
    std::printf("RSS before the cold load %.1f MiB; its peak %.1f MiB (%.2f x the plain text)\n",
                double(cold.rssBeforeKiB) / 1024.0, double(cold.peakRssKiB) / 1024.0,
                double(cold.peakRssKiB) * 1024.0 / double(plainBytes));
    if (cold.packages != expectedPackages) {
        std::printf(
            "Loaded %lld of the %lld packages in the indexes: a raw-DEFLATE index is decoded into a buffer\n"
            "of twice its compressed size, and text past that is dropped; a gzip-framed index is not read;\n"
            "an index over 128 MiB is refused.\n",
            cold.packages, expectedPackages);
    }

    if (parser.isSet(jsonOption)) {
        QFile out(parser.value(jsonOption));
        if (out.open(QIODevice::WriteOnly)) {
            QJsonArray phases;
            for (const PhaseResult *r : rows)
                phases.append(toJson(*r));
            const QJsonObject root{{QStringLiteral("sources"), qint64(repos.size())},
                                   {QStringLiteral("expected_packages"), expectedPackages},
                                   {QStringLiteral("plain_bytes"), plainBytes},
                                   {QStringLiteral("served_bytes"), servedBytes},
                                   {QStringLiteral("packages_mode"), packagesMode},
                                   {QStringLiteral("phases"), phases}};
            out.write(QJsonDocument(root).toJson());
        }
    }
    // Every phase must end, and the cache must give back exactly what the network gave.
    const bool complete = cold.finished && warm.finished && offline.finished && cold.packages > 0 &&
                          warm.packages == cold.packages && offline.packages == cold.packages;
    if (!complete)
        std::fprintf(stderr, "loadall: a phase did not finish, or the phases loaded different packages\n");
    return complete ? 0 : 1;
}
