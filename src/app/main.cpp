// The desktop app: one window whose content is the main screen.
// Main thread.
#include "app/platform.h"
#include "app/sharedoptions.h"
#include "common/allocator.h"
#include "common/threadpriority.h"
#include "ui/guiplatform.h"
#include "ui/imageproviders.h"
#include "ui/screenshotdriver.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(TallowPinePlugin)

int main(int argc, char *argv[])
{
    tuneAllocatorForIndexLoads();
    setThisThreadLatencySensitive(); // before any thread exists, so none of them takes it on
    // Before any application object exists, so the help and version texts carry the right name.
    QCoreApplication::setOrganizationName(QStringLiteral("TallowPine"));
    QCoreApplication::setApplicationName(QStringLiteral("TallowPine"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TALLOWPINE_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Browse the packages of many APT repositories at once."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption screenshotOption(
        QStringLiteral("screenshot"),
        QStringLiteral("Save the window to this PNG once loading has settled, then quit."),
        QStringLiteral("file"));
    const QCommandLineOption modeOption(
        QStringLiteral("mode"), QStringLiteral("With --screenshot: favorites, allSources or allPackages."),
        QStringLiteral("mode"));
    const QCommandLineOption openSourceOption(
        QStringLiteral("open-source"), QStringLiteral("With --screenshot: open this source's package list."),
        QStringLiteral("link"));
    const QCommandLineOption addSheetOption(QStringLiteral("add-sheet"),
                                            QStringLiteral("With --screenshot: show the add-source sheet."));
    const QCommandLineOption addOption(
        QStringLiteral("add"), QStringLiteral("With --screenshot: add this source link, as the sheet would."),
        QStringLiteral("link"));
    const QCommandLineOption searchOption(
        QStringLiteral("search"),
        QStringLiteral("With --screenshot: type this into the shown screen's search."),
        QStringLiteral("text"));
    const QCommandLineOption healthOption(
        QStringLiteral("health"),
        QStringLiteral("With --screenshot: load every source, then show the source health screen."));
    const QCommandLineOption duringLoadOption(
        QStringLiteral("during-load"),
        QStringLiteral("With --screenshot: take it when half of a load of every source has answered."));
    const QCommandLineOption sizeOption(QStringLiteral("size"),
                                        QStringLiteral("Window size in logical pixels, such as 390x844."),
                                        QStringLiteral("WxH"));
    addSharedOptions(parser);
    parser.addOptions({screenshotOption, modeOption, openSourceOption, addSheetOption, addOption,
                       searchOption, healthOption, duringLoadOption, sizeOption});

    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    if (asksForHelpOrVersion(parser, arguments)) {
        // A terminal with no display must still answer --help and --version: the GUI application
        // would abort looking for a platform plugin first.
        QCoreApplication app(argc, argv);
        parser.process(app);
        return 0;
    }

    preferEmojiAndArabicFonts();
    QGuiApplication app(argc, argv);
    // Lets Wayland compositors and docks match the window to the installed desktop entry.
    QGuiApplication::setDesktopFileName(QStringLiteral(TALLOWPINE_APP_ID));
    parser.process(app);

    Platform platform;
    if (const std::optional<QString> problem = applySharedOptions(parser, platform)) {
        qCritical("%s", qPrintable(*problem));
        return 1;
    }
    ScreenshotRequest request;
    request.file = parser.value(screenshotOption);
    request.openSource = parser.value(openSourceOption);
    request.searchText = parser.value(searchOption);
    request.addLink = parser.value(addOption);
    request.addSheet = parser.isSet(addSheetOption);
    request.health = parser.isSet(healthOption);
    request.duringLoad = parser.isSet(duringLoadOption);
    if (parser.isSet(modeOption)) {
        request.mode = ScreenshotDriver::parseMode(parser.value(modeOption));
        if (!request.mode) {
            qCritical("unknown mode %s: use favorites, allSources or allPackages",
                      qPrintable(parser.value(modeOption)));
            return 1;
        }
    }
    if (parser.isSet(sizeOption)) {
        request.size = ScreenshotDriver::parseSize(parser.value(sizeOption));
        if (!request.size) {
            qCritical("unusable window size %s: use WxH, such as 390x844",
                      qPrintable(parser.value(sizeOption)));
            return 1;
        }
    }

    const bool offline = platform.offline;
    platform.clipboard = std::make_shared<GuiClipboard>();
    platform.urlOpener = std::make_shared<DesktopUrlOpener>();
    Platform::setDefault(std::move(platform));

    QQuickStyle::setStyle(QStringLiteral("Basic"));
    QQmlApplicationEngine engine;
    installImageProviders(engine, offline);
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
        Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/TallowPine/MyApp.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst());
    // The scene graph may draw on a thread of its own, as urgent as this one; the window is first
    // exposed in the event loop, so this is in time.
    if (window) {
        QObject::connect(window, &QQuickWindow::sceneGraphInitialized, window, &setThisThreadLatencySensitive,
                         Qt::DirectConnection);
    }

    if (parser.isSet(screenshotOption)) {
        auto *driver = new ScreenshotDriver(window, request, &app);
        QObject::connect(driver, &ScreenshotDriver::finished, &app,
                         [](bool saved) { QCoreApplication::exit(saved ? 0 : 1); });
        driver->start();
    } else if (request.size) {
        window->resize(*request.size);
    }
    return app.exec();
}
