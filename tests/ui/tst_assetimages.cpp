// The app's own pictures: every name the catalogue and the rows use is drawn, and a source icon
// falls back from its asset to the bundle's Tweaks.png to nothing.
#include "sources/defaultsources.h"
#include "ui/assetimages.h"
#include "ui/imageproviders.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QtQml/QQmlExtensionPlugin>
#include <QtTest>

#include <memory>

Q_IMPORT_QML_PLUGIN(TallowPinePlugin)

namespace {

const QString kBundleTweaks = QStringLiteral("image://assets/bundle/Tweaks.png");

bool isDrawn(const QImage &image)
{
    for (int i = 0; i < image.width() * image.height(); ++i) {
        if (image.pixel(i % image.width(), i / image.width()) != image.pixel(0, 0))
            return true;
    }
    return false;
}

QString qmlProperty(const AssetImages &images, const QByteArray &qml, const char *property)
{
    AssetImages::setCurrent(images);
    QQmlEngine engine;
    // Qt 6.4 does not look for modules in the resources by itself.
    engine.addImportPath(QStringLiteral("qrc:/"));
    installImageProviders(engine);
    QQmlComponent component(&engine);
    component.setData("import QtQml\nimport TallowPine\n" + qml, QUrl());
    std::unique_ptr<QObject> object(component.create());
    if (!object)
        return QStringLiteral("error: ") + component.errorString();
    return object->property(property).toString();
}

} // namespace

class TestAssetImages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { AssetImages::setCurrent(AssetImages::builtIn()); }

    void repoImageSource_data()
    {
        QTest::addColumn<QString>("removedAsset");
        QTest::addColumn<bool>("bundleRemoved");
        QTest::addColumn<QString>("imageName");
        QTest::addColumn<QString>("expected");
        const QString none;
        const QString chariz = QStringLiteral("image://assets/chariz_icon");
        QTest::newRow("catalogue icon") << none << false << "chariz_icon" << chariz;
        QTest::newRow("user source") << none << false << "Repos.png" << kBundleTweaks;
        QTest::newRow("icon missing") << "chariz_icon" << false << "chariz_icon" << kBundleTweaks;
        QTest::newRow("icon and bundle missing") << "chariz_icon" << true << "chariz_icon" << none;
        QTest::newRow("user source, bundle missing") << none << true << "Repos.png" << none;
        QTest::newRow("bundle missing, icon there") << none << true << "chariz_icon" << chariz;
        // Names are exact: assets are looked up in their own letter case.
        QTest::newRow("other case") << none << false << "Chariz_icon" << kBundleTweaks;
    }

    void repoImageSource()
    {
        QFETCH(QString, removedAsset);
        QFETCH(bool, bundleRemoved);
        QFETCH(QString, imageName);
        QFETCH(QString, expected);
        AssetImages images = AssetImages::builtIn();
        images.removeAsset(removedAsset);
        if (bundleRemoved)
            images.removeBundleFile(QStringLiteral("Tweaks.png"));
        QCOMPARE(images.repoImageSource(imageName), expected);
        // QML sees the same answer through the Assets singleton.
        const QByteArray qml = "QtObject { readonly property string source: Assets.repoImageSource(\"" +
                               imageName.toUtf8() + "\") }";
        QCOMPARE(qmlProperty(images, qml, "source"), expected);
        // The rows draw what is left, or the photo symbol when nothing is.
        const QByteArray view = "RepoImageView { imageName: \"" + imageName.toUtf8() + "\" }";
        QCOMPARE(qmlProperty(images, view, "imageSource"),
                 expected.isEmpty() ? expected : expected + QStringLiteral("?radius=0.133333"));
    }

    void everyNamedPictureIsDrawn()
    {
        AssetImages images = AssetImages::builtIn();
        QStringList names = {QStringLiteral("Tweaks"), QStringLiteral("s_sileo"), QStringLiteral("z_zebra"),
                             QStringLiteral("c_cydia"), QStringLiteral("bundle/Tweaks.png")};
        for (const RepoSource &source : defaultSources())
            names.append(source.imageName);
        QStringList failed;
        for (const QString &name : names) {
            if ((!name.startsWith(u"bundle/") && !images.hasAsset(name)) ||
                !isDrawn(images.render(name, QSize(60, 60))))
                failed.append(name);
        }
        QVERIFY2(failed.isEmpty(), qPrintable(failed.join(u", ")));
        // A request from a view cannot make the provider allocate without bound.
        QCOMPARE(images.render(QStringLiteral("z_zebra"), QSize(100000, 100000)).size(), QSize(1024, 1024));

        for (const char *id : {"Repos.png", "bundle/Other.png", ""}) {
            QVERIFY2(images.render(QLatin1String(id), QSize(60, 60)).isNull(), id);
            QCOMPARE(images.assetSource(QLatin1String(id)), QString());
        }
        images.removeBundleFile(QStringLiteral("Tweaks.png"));
        QVERIFY(images.render(QStringLiteral("bundle/Tweaks.png"), QSize(60, 60)).isNull());
    }

    void buttonLogoFallsBackToSymbol()
    {
        const QByteArray button =
            "CustomImageButton { fallbackSystemName: \"questionmark.circle\"; imageName: ";
        QCOMPARE(qmlProperty(AssetImages::builtIn(), button + "\"z_zebra\" }", "imageSource"),
                 QStringLiteral("image://assets/z_zebra?radius=0.5"));
        QCOMPARE(qmlProperty(AssetImages::builtIn(), button + "\"x_none\" }", "imageSource"), QString());
    }
};

QTEST_MAIN(TestAssetImages)
#include "tst_assetimages.moc"
