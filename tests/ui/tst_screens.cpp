// Runs the screen tests in tests/ui/qml against the app's own QML module, in an offline world.
#include "screensworld.h"
#include "ui/imageproviders.h"

#include <QQmlEngine>
#include <QQuickStyle>
#include <QtQml/QQmlExtensionPlugin>
#include <QtQuickTest>

Q_IMPORT_QML_PLUGIN(TallowPinePlugin)

class Setup : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable()
    {
        QQuickStyle::setStyle(QStringLiteral("Basic"));
        m_world.install();
    }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        // The module's QML files live in the resources, where the app's engine finds them too.
        engine->addImportPath(QStringLiteral("qrc:/"));
        installImageProviders(*engine, true);
        qmlRegisterSingletonInstance("TallowPineTest", 1, 0, "TestWorld", &m_world);
    }

private:
    ScreensWorld m_world;
};

QUICK_TEST_MAIN_WITH_SETUP(screens, Setup)

#include "tst_screens.moc"
