// The desktop app: one window whose content is the main screen.
// Main thread.
#include "app/platform.h"
#include "app/sharedoptions.h"
#include "common/allocator.h"
#include "ui/guiplatform.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTimer>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(TallowPinePlugin)

int main(int argc, char *argv[])
{
    tuneAllocatorForIndexLoads();
    preferEmojiAndArabicFonts();
    QGuiApplication app(argc, argv);
    QGuiApplication::setOrganizationName(QStringLiteral("TallowPine"));
    QGuiApplication::setApplicationName(QStringLiteral("TallowPine"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Browse the packages of many APT repositories at once."));
    parser.addHelpOption();
    const QCommandLineOption screenshotOption(QStringLiteral("screenshot"),
                                              QStringLiteral("Save the first frame to this PNG and quit."),
                                              QStringLiteral("file"));
    addSharedOptions(parser);
    parser.addOption(screenshotOption);
    parser.process(app);

    Platform platform;
    if (const std::optional<QString> problem = applySharedOptions(parser, platform)) {
        qCritical("%s", qPrintable(*problem));
        return 1;
    }
    platform.clipboard = std::make_shared<GuiClipboard>();
    platform.urlOpener = std::make_shared<DesktopUrlOpener>();
    Platform::setDefault(std::move(platform));

    QQuickStyle::setStyle(QStringLiteral("Basic"));
    QQmlApplicationEngine engine;
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
        Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/TallowPine/MyApp.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;

    if (parser.isSet(screenshotOption)) {
        auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst());
        const QString path = parser.value(screenshotOption);
        QObject::connect(
            window, &QQuickWindow::frameSwapped, &app,
            [window, path] {
                // Let the list lay out its rows before grabbing.
                QTimer::singleShot(300, window, [window, path] {
                    const bool saved = window->grabWindow().save(path);
                    QCoreApplication::exit(saved ? 0 : 1);
                });
            },
            Qt::SingleShotConnection);
    }
    return app.exec();
}
