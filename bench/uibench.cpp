// Boots the app's window exactly as the app does and measures, in one run, what a user of a big
// catalogue feels: the first frame, the All Packages load with the main thread's longest pause, frame
// times while the package list scrolls, and a keystroke in the search up to the updated list on screen.
// Driven by bench/ui-frames, which makes a warm cache (bench/make-warm-cache) and runs this under Xvfb.
//
// usage: tallowpine-uibench --data-dir DIR --settings FILE --root DIR --offline [--json FILE] [--frames N]
// Main thread; frame times are taken on whichever thread swaps the frames (the render thread under
// the threaded render loop).
#include "app/platform.h"
#include "app/repoviewmodel.h"
#include "app/sharedoptions.h"
#include "common/allocator.h"
#include "common/threadpriority.h"
#include "ui/guiplatform.h"
#include "ui/imageproviders.h"

#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QThread>
#include <QTimer>
#include <QtQml/QQmlExtensionPlugin>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <vector>

Q_IMPORT_QML_PLUGIN(TallowPinePlugin)

namespace {

// Started first thing in main(): every time below is measured from the start of the process's own code.
QElapsedTimer processClock;

qint64 nowNs()
{
    return processClock.nsecsElapsed();
}

double ms(qint64 ns)
{
    return double(ns) / 1e6;
}

struct Frame
{
    qint64 syncStart = -1; // beforeSynchronizing: the main thread is blocked from here
    qint64 syncEnd = -1;   // afterSynchronizing: the main thread runs again (threaded loop)
    qint64 swapped = -1;
};

// Timestamps each frame's synchronisation and swap on the thread that does them, and hands each
// finished frame to the main thread. Attach once the window exists; destroy after the window.
class FrameWatch
{
public:
    std::function<void(const Frame &)> onFrame;

    void attach(QQuickWindow *window)
    {
        QObject::connect(
            window, &QQuickWindow::beforeSynchronizing, window,
            [this] {
                const std::lock_guard lock(m_mutex);
                m_pending.syncStart = nowNs();
            },
            Qt::DirectConnection);
        QObject::connect(
            window, &QQuickWindow::afterSynchronizing, window,
            [this] {
                const std::lock_guard lock(m_mutex);
                m_pending.syncEnd = nowNs();
            },
            Qt::DirectConnection);
        QObject::connect(
            window, &QQuickWindow::beforeRendering, window,
            [this, window] {
                if (m_renderer.load() != nullptr)
                    return;
                QByteArray name = "software";
                if (window->rendererInterface()->graphicsApi() == QSGRendererInterface::OpenGL) {
                    if (QOpenGLContext *context = QOpenGLContext::currentContext())
                        name = reinterpret_cast<const char *>(context->functions()->glGetString(GL_RENDERER));
                }
                m_rendererName = name;
                m_threaded = QThread::currentThread() != window->thread();
                m_renderer.store(&m_rendererName);
            },
            Qt::DirectConnection);
        QObject::connect(
            window, &QQuickWindow::frameSwapped, window,
            [this] {
                Frame frame;
                {
                    const std::lock_guard lock(m_mutex);
                    m_pending.swapped = nowNs();
                    frame = m_pending;
                    m_pending = {};
                }
                QMetaObject::invokeMethod(
                    &m_receiver,
                    [this, frame] {
                        ++m_count;
                        m_last = frame;
                        if (onFrame)
                            onFrame(frame);
                    },
                    Qt::QueuedConnection);
            },
            Qt::DirectConnection);
    }

    [[nodiscard]] qint64 count() const { return m_count; }
    [[nodiscard]] const Frame &last() const { return m_last; }
    [[nodiscard]] QString renderer() const
    {
        const QByteArray *name = m_renderer.load();
        return name ? QString::fromUtf8(*name) : QStringLiteral("?");
    }
    [[nodiscard]] bool threaded() const { return m_renderer.load() != nullptr && m_threaded; }

private:
    QObject m_receiver;
    std::mutex m_mutex;
    Frame m_pending; // guarded by m_mutex
    qint64 m_count = 0;
    Frame m_last;
    QByteArray m_rendererName;
    bool m_threaded = false;
    std::atomic<const QByteArray *> m_renderer{nullptr}; // published once the two above are set
};

// Spins the event loop until `done` holds or the time is up; `done` is looked at every few
// milliseconds, while everything measured is stamped where it happens.
bool waitUntil(const std::function<bool()> &done, int timeoutMs)
{
    if (done())
        return true;
    QEventLoop loop;
    QTimer poll;
    poll.setInterval(5);
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    poll.start();
    limit.start(timeoutMs);
    loop.exec();
    return done();
}

void idle(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

// Nearest rank: the smallest value with at least p of the values at or below it.
double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return -1;
    std::sort(values.begin(), values.end());
    const auto rank = qsizetype(std::ceil(p * double(values.size())));
    return values[size_t(std::clamp<qsizetype>(rank - 1, 0, qsizetype(values.size()) - 1))];
}

double largest(const std::vector<double> &values)
{
    return values.empty() ? -1 : *std::max_element(values.begin(), values.end());
}

// The longest gap between ticks of a 1 ms timer on the main thread: how long the screen could not
// have answered input or started a frame.
struct StallWatch
{
    QTimer ticker;
    qint64 last = 0;
    double maxMs = 0;
    double maxEndMs = 0; // when the longest gap ended, on the process clock
    int over16 = 0;

    void start()
    {
        ticker.setTimerType(Qt::PreciseTimer);
        ticker.setInterval(1);
        QObject::connect(&ticker, &QTimer::timeout, [this] {
            const qint64 now = nowNs();
            const double gap = ms(now - last);
            if (gap > maxMs) {
                maxMs = gap;
                maxEndMs = ms(now);
            }
            if (gap > 16.0)
                ++over16;
            last = now;
        });
        last = nowNs();
        ticker.start();
    }
};

struct LoadTimes
{
    bool finished = false;
    double loadedMs = -1;    // allPackagesLoaded, from the mode switch
    double firstRowsMs = -1; // first frame drawn with rows in the list
    double shownMs = -1;     // first frame drawn with the whole pool in the list
    qint64 packages = 0;
    double maxStallMs = 0;
    double maxStallAtMs = 0; // when that pause ended, from the mode switch
    double switchCallMs = 0; // the setSelectedMode() call itself: the section is built inside it
    int stallsOver16 = 0;
};

struct FlickResult
{
    int step = 0;
    bool finished = false;
    std::vector<double> intervals; // between consecutive swaps, whoever asked for the frame
    std::vector<double> work;      // from each scroll to the swap of the frame that shows it
    // From the scroll to the start of synchronising: the main thread's polish, or waiting for a
    // frame already in flight.
    std::vector<double> toSync;
    std::vector<double> sync;
    std::vector<double> render; // from the end of synchronising to the swap
    qsizetype scrolls = 0;
};

struct KeyResult
{
    QString text;
    bool finished = false;
    double resultMs = -1; // the list model changed
    double shownMs = -1;  // the first frame drawn after that
    int rows = 0;
    bool unchanged = false; // the filter answered with the rows already shown
};

class Bench
{
public:
    Bench(QQuickWindow *window, FrameWatch &frames, RepoViewModel *viewModel)
        : m_window(window)
        , m_frames(frames)
        , m_viewModel(viewModel)
        , m_model(viewModel->filteredPackagesModel())
    {}

    LoadTimes loadAllPackages()
    {
        LoadTimes result;
        bool loaded = false;
        qint64 rowsAt = -1, readyAt = -1;
        qint64 firstRowsSwap = -1, shownSwap = -1;
        auto check = [&] {
            const qint64 now = nowNs();
            if (rowsAt < 0 && m_model->rowCount() > 0)
                rowsAt = now;
            if (readyAt < 0 && loaded && m_model->rowCount() > 0 &&
                m_model->rowCount() == m_viewModel->allPackages().size()) {
                readyAt = now;
                m_window->update();
            }
        };
        QObject context;
        QObject::connect(m_viewModel, &RepoViewModel::allPackagesLoaded, &context, [&] {
            loaded = true;
            result.loadedMs = ms(nowNs() - m_start);
            check();
        });
        QObject::connect(m_model, &PackageListModel::countChanged, &context, check);
        m_frames.onFrame = [&](const Frame &frame) {
            if (firstRowsSwap < 0 && rowsAt >= 0 && frame.syncStart >= rowsAt)
                firstRowsSwap = frame.swapped;
            if (shownSwap < 0 && readyAt >= 0 && frame.syncStart >= readyAt)
                shownSwap = frame.swapped;
        };

        StallWatch stalls;
        m_start = nowNs();
        stalls.start();
        m_viewModel->setSelectedMode(RepoViewModel::AllPackages);
        result.switchCallMs = ms(nowNs() - m_start);
        result.finished = waitUntil([&] { return shownSwap >= 0; }, 180000);
        stalls.ticker.stop();
        m_frames.onFrame = {};

        result.firstRowsMs = firstRowsSwap >= 0 ? ms(firstRowsSwap - m_start) : -1;
        result.shownMs = shownSwap >= 0 ? ms(shownSwap - m_start) : -1;
        result.packages = m_model->rowCount();
        result.maxStallMs = stalls.maxMs;
        result.maxStallAtMs = stalls.maxEndMs - ms(m_start);
        result.stallsOver16 = stalls.over16;
        return result;
    }

    // Moves the list by `step` pixels right after each frame is swapped, so frames follow each other
    // as fast as the app can make them, turning back at either end of the list.
    FlickResult flick(int step, int count)
    {
        FlickResult result;
        result.step = step;
        QQuickItem *list = findList();
        if (!list)
            return result;
        const double top = list->property("originY").toDouble() - list->property("topMargin").toDouble();
        list->setProperty("contentY", top);
        waitForQuiet(300);

        double y = top;
        int direction = 1;
        std::vector<qint64> scrolledAt; // one per scroll
        std::vector<Frame> shown;       // the first frame synchronised after each scroll
        std::vector<Frame> frames;      // every frame, also those an animation asked for
        scrolledAt.reserve(size_t(count) + 1);
        shown.reserve(size_t(count) + 1);
        frames.reserve(size_t(count) * 2);
        qint64 lastProgress = nowNs();
        auto scroll = [&] {
            const double bottom = list->property("originY").toDouble() +
                                  list->property("contentHeight").toDouble() +
                                  list->property("bottomMargin").toDouble() - list->height();
            if (y + direction * step > bottom || y + direction * step < top)
                direction = -direction;
            y += direction * step;
            scrolledAt.push_back(nowNs());
            list->setProperty("contentY", y);
        };
        // A running animation (an icon's spinner) keeps frames coming on its own, so a frame only
        // counts for a scroll when it began synchronising after the scroll.
        m_frames.onFrame = [&](const Frame &frame) {
            lastProgress = nowNs();
            frames.push_back(frame);
            if (shown.size() < scrolledAt.size() && frame.syncStart >= scrolledAt.back()) {
                shown.push_back(frame);
                if (qsizetype(shown.size()) <= count)
                    scroll();
            }
        };
        scroll();
        // A scroll that changes nothing on screen asks for no frame; the watchdog asks for one.
        result.finished = waitUntil(
            [&] {
                if (qsizetype(shown.size()) > count)
                    return true;
                if (nowNs() - lastProgress > 500'000'000) {
                    lastProgress = nowNs();
                    m_window->update();
                }
                return false;
            },
            60000);
        m_frames.onFrame = {};

        // Intervals between every two frames from the first scroll's frame on; the split of each
        // scroll's own frame into main-thread work, synchronising and rendering.
        const auto firstShown = std::find_if(frames.begin(), frames.end(), [&](const Frame &f) {
            return !shown.empty() && f.swapped == shown.front().swapped;
        });
        for (auto f = firstShown; f != frames.end() && f + 1 != frames.end(); ++f)
            result.intervals.push_back(ms((f + 1)->swapped - f->swapped));
        for (size_t i = 1; i < shown.size() && i < scrolledAt.size(); ++i) {
            const Frame &f = shown[i];
            const qint64 at = scrolledAt[i];
            result.work.push_back(ms(f.swapped - at));
            if (f.syncStart >= 0 && f.syncEnd >= 0) {
                result.toSync.push_back(ms(f.syncStart - at));
                result.sync.push_back(ms(f.syncEnd - f.syncStart));
                result.render.push_back(ms(f.swapped - f.syncEnd));
            }
        }
        result.scrolls = qsizetype(shown.size()) - 1;
        return result;
    }

    // One change of the search text, as a keystroke after a pause in typing makes it, up to the
    // first frame drawn after the list model changed.
    KeyResult type(const QString &text)
    {
        KeyResult result;
        result.text = text;
        waitForQuiet(400);
        qint64 changedAt = -1, shownSwap = -1;
        QObject context;
        auto changed = [&] {
            if (changedAt < 0)
                changedAt = nowNs();
        };
        QObject::connect(m_model, &QAbstractItemModel::modelReset, &context, changed);
        QObject::connect(m_model, &QAbstractItemModel::rowsInserted, &context, changed);
        QObject::connect(m_model, &QAbstractItemModel::rowsRemoved, &context, changed);
        QObject::connect(m_model, &QAbstractItemModel::layoutChanged, &context, changed);
        QObject::connect(m_model, &PackageListModel::countChanged, &context, changed);
        // Every filter pass ends here, also one that leaves the rows as they were and so draws nothing.
        qint64 filteredAt = -1;
        QObject::connect(m_viewModel, &RepoViewModel::filteredPackagesChanged, &context, [&] {
            if (filteredAt < 0)
                filteredAt = nowNs();
        });
        m_frames.onFrame = [&](const Frame &frame) {
            if (shownSwap < 0 && changedAt >= 0 && frame.syncStart >= changedAt)
                shownSwap = frame.swapped;
        };
        const qint64 start = nowNs();
        m_viewModel->setSearchText(text);
        result.finished = waitUntil(
            [&] {
                return shownSwap >= 0 ||
                       (changedAt < 0 && filteredAt >= 0 && nowNs() - filteredAt > 500'000'000);
            },
            20000);
        m_frames.onFrame = {};
        result.unchanged = changedAt < 0 && filteredAt >= 0;
        result.resultMs = changedAt >= 0    ? ms(changedAt - start)
                          : filteredAt >= 0 ? ms(filteredAt - start)
                                            : -1;
        result.shownMs = shownSwap >= 0 ? ms(shownSwap - start) : -1;
        result.rows = m_model->rowCount();
        return result;
    }

private:
    // Along the visual tree: the list sits inside a Loader, whose items are not all QObject children.
    [[nodiscard]] QQuickItem *findList() const
    {
        QList<QQuickItem *> pending{m_window->contentItem()};
        while (!pending.isEmpty()) {
            QQuickItem *item = pending.takeFirst();
            if (item->objectName() == QLatin1String("allPackagesList"))
                return item;
            pending.append(item->childItems());
        }
        std::fprintf(stderr, "uibench: no allPackagesList on screen\n");
        return nullptr;
    }

    // Until no frame has been swapped for `quietMs`, so one measurement does not pay for the last.
    void waitForQuiet(int quietMs)
    {
        qint64 lastFrame = nowNs();
        m_frames.onFrame = [&](const Frame &) { lastFrame = nowNs(); };
        waitUntil([&] { return nowNs() - lastFrame > qint64(quietMs) * 1'000'000; }, 10000);
        m_frames.onFrame = {};
    }

    QQuickWindow *m_window = nullptr;
    FrameWatch &m_frames;
    RepoViewModel *m_viewModel = nullptr;
    PackageListModel *m_model = nullptr;
    qint64 m_start = 0;
};

QJsonObject spread(const std::vector<double> &values)
{
    return {{QStringLiteral("p50"), percentile(values, 0.5)},
            {QStringLiteral("p99"), percentile(values, 0.99)},
            {QStringLiteral("max"), largest(values)}};
}

} // namespace

int main(int argc, char *argv[])
{
    processClock.start();
    tuneAllocatorForIndexLoads();
    setThisThreadLatencySensitive(); // as the app does
    preferEmojiAndArabicFonts();
    QGuiApplication app(argc, argv);
    const qint64 appAt = nowNs();
    QGuiApplication::setOrganizationName(QStringLiteral("TallowPine"));
    QGuiApplication::setApplicationName(QStringLiteral("TallowPine"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("First frame, All Packages load, scrolling and search times."));
    parser.addHelpOption();
    const QCommandLineOption jsonOption(
        QStringLiteral("json"), QStringLiteral("Also write the results here."), QStringLiteral("file"));
    const QCommandLineOption framesOption(QStringLiteral("frames"),
                                          QStringLiteral("Frames in each scrolling pass (600 unless told)."),
                                          QStringLiteral("n"), QStringLiteral("600"));
    addSharedOptions(parser);
    parser.addOptions({jsonOption, framesOption});
    parser.process(app);

    Platform platform;
    if (const std::optional<QString> problem = applySharedOptions(parser, platform)) {
        qCritical("%s", qPrintable(*problem));
        return 1;
    }
    const bool offline = platform.offline;
    platform.clipboard = std::make_shared<GuiClipboard>();
    platform.urlOpener = std::make_shared<DesktopUrlOpener>();
    Platform::setDefault(std::move(platform));
    const int frameCount = std::max(10, parser.value(framesOption).toInt());

    // Declared before the engine so it outlives the window and its render thread.
    FrameWatch frames;
    qint64 firstSwap = -1;
    Frame firstFrame;
    frames.onFrame = [&](const Frame &frame) {
        if (firstSwap < 0) {
            firstSwap = frame.swapped;
            firstFrame = frame;
        }
    };

    QQuickStyle::setStyle(QStringLiteral("Basic"));
    QQmlApplicationEngine engine;
    installImageProviders(engine, offline);
    engine.load(QUrl(QStringLiteral("qrc:/TallowPine/MyApp.qml")));
    const qint64 loadedAt = nowNs();
    if (engine.rootObjects().isEmpty()) {
        std::fprintf(stderr, "uibench: the main window did not load\n");
        return 1;
    }
    auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst());
    frames.attach(window);
    if (!waitUntil([&] { return firstSwap >= 0; }, 60000)) {
        std::fprintf(stderr, "uibench: the window never drew a frame\n");
        return 1;
    }
    frames.onFrame = {};

    RepoViewModel *viewModel = nullptr;
    if (auto *content = window->findChild<QQuickItem *>(QStringLiteral("contentView")))
        viewModel = content->property("viewModel").value<RepoViewModel *>();
    if (!viewModel) {
        std::fprintf(stderr, "uibench: the main screen has no state object\n");
        return 1;
    }
    const bool startedInAllSources = viewModel->selectedMode() == RepoViewModel::AllSources;
    idle(500);

    Bench bench(window, frames, viewModel);
    const LoadTimes load = bench.loadAllPackages();
    idle(500);
    const FlickResult slow = bench.flick(60, frameCount);
    const FlickResult fast = bench.flick(400, frameCount);
    QList<KeyResult> keys;
    for (const QString &text : {QStringLiteral("s"), QStringLiteral("sn"), QStringLiteral("snow"),
                                QStringLiteral("snowxq"), QString(), QStringLiteral("s")})
        keys.append(bench.type(text));

    const QString platformName = QGuiApplication::platformName();
    std::printf("\nuibench: %s, %s render loop, renderer %s, window %dx%d, %lld packages%s\n",
                qPrintable(platformName), frames.threaded() ? "threaded" : "basic",
                qPrintable(frames.renderer()), window->width(), window->height(), qint64(load.packages),
                startedInAllSources ? "" : " (did not start in All Sources)");
    std::printf("%-34s %9.1f ms  (application object %.1f, QML loaded %.1f, sync %.1f-%.1f)\n", "first frame",
                ms(firstSwap), ms(appAt), ms(loadedAt), ms(firstFrame.syncStart), ms(firstFrame.syncEnd));
    std::printf("%-34s %9.1f ms  (first rows drawn %.1f, allPackagesLoaded %.1f)%s\n",
                "all packages on screen", load.shownMs, load.firstRowsMs, load.loadedMs,
                load.finished ? "" : "  DID NOT FINISH");
    std::printf(
        "%-34s %9.1f ms  (ended %.0f ms after the switch; %d pauses over 16 ms; the switch call %.1f)\n",
        "  longest main-thread pause", load.maxStallMs, load.maxStallAtMs, load.stallsOver16,
        load.switchCallMs);
    std::printf("%-34s %9s %9s %9s | %9s %9s %9s %9s\n", "scrolling, frame interval ms", "p50", "p99", "max",
                "scroll p99", "to sync", "sync", "render");
    for (const FlickResult *pass : {&slow, &fast}) {
        std::printf("  %3d px, %4lld scrolls, %4zu frames %9.2f %9.2f %9.2f | %9.2f %9.2f %9.2f %9.2f%s\n",
                    pass->step, qint64(pass->scrolls), pass->intervals.size() + 1,
                    percentile(pass->intervals, 0.5), percentile(pass->intervals, 0.99),
                    largest(pass->intervals), percentile(pass->work, 0.99), percentile(pass->toSync, 0.99),
                    percentile(pass->sync, 0.99), percentile(pass->render, 0.99),
                    pass->finished ? "" : "  DID NOT FINISH");
    }
    std::printf("%-34s %9s %9s %9s\n", "search keystroke", "result ms", "drawn ms", "rows");
    for (const KeyResult &key : keys) {
        std::printf("  %-32s %9.1f %9.1f %9d%s%s\n", qPrintable(QStringLiteral("\"%1\"").arg(key.text)),
                    key.resultMs, key.shownMs, key.rows,
                    key.unchanged ? "  (same rows, nothing to draw)" : "",
                    key.finished ? "" : "  DID NOT FINISH");
    }

    QJsonArray flicks;
    for (const FlickResult *pass : {&slow, &fast}) {
        flicks.append(QJsonObject{{QStringLiteral("step"), pass->step},
                                  {QStringLiteral("finished"), pass->finished},
                                  {QStringLiteral("scrolls"), qint64(pass->scrolls)},
                                  {QStringLiteral("frames"), qint64(pass->intervals.size() + 1)},
                                  {QStringLiteral("interval"), spread(pass->intervals)},
                                  {QStringLiteral("work"), spread(pass->work)},
                                  {QStringLiteral("to_sync"), spread(pass->toSync)},
                                  {QStringLiteral("sync"), spread(pass->sync)},
                                  {QStringLiteral("render"), spread(pass->render)}});
    }
    QJsonArray typed;
    for (const KeyResult &key : keys) {
        typed.append(QJsonObject{{QStringLiteral("text"), key.text},
                                 {QStringLiteral("finished"), key.finished},
                                 {QStringLiteral("result_ms"), key.resultMs},
                                 {QStringLiteral("shown_ms"), key.shownMs},
                                 {QStringLiteral("rows"), key.rows},
                                 {QStringLiteral("unchanged"), key.unchanged}});
    }
    const QJsonObject json{
        {QStringLiteral("platform"), platformName},
        {QStringLiteral("threaded"), frames.threaded()},
        {QStringLiteral("renderer"), frames.renderer()},
        {QStringLiteral("first_frame_ms"), ms(firstSwap)},
        {QStringLiteral("app_object_ms"), ms(appAt)},
        {QStringLiteral("qml_loaded_ms"), ms(loadedAt)},
        {QStringLiteral("first_sync_start_ms"), ms(firstFrame.syncStart)},
        {QStringLiteral("first_sync_end_ms"), ms(firstFrame.syncEnd)},
        {QStringLiteral("load"), QJsonObject{{QStringLiteral("finished"), load.finished},
                                             {QStringLiteral("packages"), load.packages},
                                             {QStringLiteral("loaded_ms"), load.loadedMs},
                                             {QStringLiteral("first_rows_ms"), load.firstRowsMs},
                                             {QStringLiteral("shown_ms"), load.shownMs},
                                             {QStringLiteral("max_stall_ms"), load.maxStallMs},
                                             {QStringLiteral("max_stall_at_ms"), load.maxStallAtMs},
                                             {QStringLiteral("switch_call_ms"), load.switchCallMs},
                                             {QStringLiteral("stalls_over_16ms"), load.stallsOver16}}},
        {QStringLiteral("flick"), flicks},
        {QStringLiteral("keys"), typed},
    };
    const QByteArray line = QJsonDocument(json).toJson(QJsonDocument::Compact);
    std::printf("%s\n", line.constData());
    std::fflush(stdout);
    if (parser.isSet(jsonOption)) {
        QFile out(parser.value(jsonOption));
        if (!out.open(QIODevice::WriteOnly) || out.write(line + '\n') < 0)
            std::fprintf(stderr, "uibench: cannot write %s\n", qPrintable(out.fileName()));
    }

    bool finished = load.finished && slow.finished && fast.finished;
    for (const KeyResult &key : keys)
        finished = finished && key.finished;
    // Leaves without tearing the window down: everything measured is written, and the teardown is
    // not what this measures (icon requests still queued on the image reader thread are cancelled
    // after their loader has gone, which crashes).
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(finished ? 0 : 2);
}
