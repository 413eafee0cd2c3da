// The app's own pictures: every name the catalogue and the rows use is drawn, and a source icon
// falls back from its asset to the bundle's Tweaks.png to nothing.
#include "sources/defaultsources.h"
#include "ui/assetimages.h"
#include "ui/imageproviders.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickImageProvider>
#include <QtQml/QQmlExtensionPlugin>
#include <QtTest>

#include <memory>

Q_IMPORT_QML_PLUGIN(TallowPinePlugin)

namespace {

const QString kBundleTweaks = QStringLiteral("image://assets/bundle/Tweaks.png");

// More than one colour: a background with something drawn on it.
bool isDrawn(const QImage &image)
{
    if (image.isNull())
        return false;
    const QRgb first = image.pixel(0, 0);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != first)
                return true;
        }
    }
    return false;
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

        QTest::newRow("catalogue icon") << QString() << false << "chariz_icon"
                                        << "image://assets/chariz_icon";
        QTest::newRow("owner handle") << QString() << false << "ZebraBeta"
                                      << "image://assets/ZebraBeta";
        QTest::newRow("user source") << QString() << false << "Repos.png" << kBundleTweaks;
        QTest::newRow("icon missing") << "chariz_icon" << false << "chariz_icon" << kBundleTweaks;
        QTest::newRow("icon and bundle missing") << "chariz_icon" << true << "chariz_icon" << QString();
        QTest::newRow("user source, bundle missing") << QString() << true << "Repos.png" << QString();
        QTest::newRow("bundle missing, icon there") << QString() << true << "chariz_icon"
                                                    << "image://assets/chariz_icon";
        QTest::newRow("empty name") << QString() << false << QString() << kBundleTweaks;
        // Names are exact: assets are looked up in their own letter case.
        QTest::newRow("other case") << QString() << false << "Chariz_icon" << kBundleTweaks;
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
        AssetImages::setCurrent(images);
        QQmlEngine engine;
        // Qt 6.4 does not look for modules in the resources by itself.
        engine.addImportPath(QStringLiteral("qrc:/"));
        QQmlComponent component(&engine);
        component.setData("import QtQml\nimport TallowPine\nQtObject { property string name; "
                          "readonly property string source: Assets.repoImageSource(name) }",
                          QUrl());
        std::unique_ptr<QObject> object(component.createWithInitialProperties({{"name", imageName}}));
        QVERIFY2(object, qPrintable(component.errorString()));
        QCOMPARE(object->property("source").toString(), expected);
    }

    void everyNamedPictureIsDrawn()
    {
        const AssetImages images = AssetImages::builtIn();
        QStringList names = {QStringLiteral("Tweaks"), QStringLiteral("s_sileo"), QStringLiteral("z_zebra"),
                             QStringLiteral("c_cydia")};
        for (const RepoSource &source : defaultSources())
            names.append(source.imageName);
        QStringList failed;
        for (const QString &name : names) {
            if (!images.hasAsset(name) || !isDrawn(images.render(name, QSize(60, 60))))
                failed.append(name);
        }
        QVERIFY2(failed.isEmpty(), qPrintable(failed.join(u", ")));
        QVERIFY(isDrawn(images.render(QStringLiteral("bundle/Tweaks.png"), QSize(60, 60))));
        QVERIFY(!images.hasAsset(QStringLiteral("Repos.png")));
    }

    void renderedIds_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QSize>("requested");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("cornerClear");

        QTest::newRow("default size") << "s_sileo" << QSize() << QSize(180, 180) << false;
        QTest::newRow("requested size") << "s_sileo" << QSize(90, 90) << QSize(90, 90) << false;
        QTest::newRow("circle") << "s_sileo?radius=0.5" << QSize(30, 30) << QSize(30, 30) << true;
        QTest::newRow("rounded") << "Tweaks?radius=0.13" << QSize(60, 60) << QSize(60, 60) << true;
        QTest::newRow("radius clamped") << "c_cydia?radius=7" << QSize(40, 40) << QSize(40, 40) << true;
        QTest::newRow("bundle rounded")
            << "bundle/Tweaks.png?radius=0.2" << QSize(60, 60) << QSize(60, 60) << true;
        QTest::newRow("absurd size is bounded")
            << "z_zebra" << QSize(100000, 100000) << QSize(1024, 1024) << false;
    }

    void renderedIds()
    {
        QFETCH(QString, id);
        QFETCH(QSize, requested);
        QFETCH(QSize, size);
        QFETCH(bool, cornerClear);

        const QImage image = AssetImages::builtIn().render(id, requested);
        QCOMPARE(image.size(), size);
        QCOMPARE(qAlpha(image.pixel(0, 0)) == 0, cornerClear);
        QCOMPARE(qAlpha(image.pixel(size.width() / 2, size.height() / 2)), 255);
    }

    void nothingToRender_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<bool>("bundleRemoved");
        QTest::newRow("not an asset") << "Repos.png" << false;
        QTest::newRow("other bundle file") << "bundle/Other.png" << false;
        QTest::newRow("bundle removed") << "bundle/Tweaks.png" << true;
        QTest::newRow("empty") << "" << false;
    }

    void nothingToRender()
    {
        QFETCH(QString, id);
        QFETCH(bool, bundleRemoved);
        AssetImages images = AssetImages::builtIn();
        if (bundleRemoved)
            images.removeBundleFile(QStringLiteral("Tweaks.png"));
        QVERIFY(images.render(id, QSize(60, 60)).isNull());
        QCOMPARE(images.assetSource(id), QString());
    }

    // The three logos must tell their package managers apart at a glance.
    void logosDiffer()
    {
        const AssetImages images = AssetImages::builtIn();
        const QRgb sileo = images.render(QStringLiteral("s_sileo"), QSize(30, 30)).pixel(2, 2);
        const QRgb zebra = images.render(QStringLiteral("z_zebra"), QSize(30, 30)).pixel(2, 2);
        const QRgb cydia = images.render(QStringLiteral("c_cydia"), QSize(30, 30)).pixel(2, 2);
        QVERIFY(sileo != zebra && zebra != cydia && sileo != cydia);
    }

    void initials_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("initials");
        QTest::newRow("icon suffix") << "chariz_icon"
                                     << "C";
        QTest::newRow("dash") << "bvn-roothide"
                              << "BR";
        QTest::newRow("camel case") << "ZebraBeta"
                                    << "ZB";
        QTest::newRow("digits") << "34306"
                                << "3";
        QTest::newRow("leading digit") << "0xkuj"
                                       << "0";
        QTest::newRow("only separators") << "_-."
                                         << "?";
    }

    void initials()
    {
        QFETCH(QString, name);
        QFETCH(QString, initials);
        QCOMPARE(assetInitials(name), initials);
    }

    void viewsPickTheirPicture_data()
    {
        QTest::addColumn<QString>("view");
        QTest::addColumn<bool>("bundleRemoved");
        QTest::addColumn<QString>("expected");

        QTest::newRow("source icon") << "RepoImageView { imageName: \"chariz_icon\" }" << false
                                     << "image://assets/chariz_icon?radius=0.133333";
        QTest::newRow("user source") << "RepoImageView { imageName: \"Repos.png\" }" << false
                                     << "image://assets/bundle/Tweaks.png?radius=0.133333";
        QTest::newRow("photo symbol") << "RepoImageView { imageName: \"Repos.png\" }" << true << "";
        QTest::newRow("logo") << "CustomImageButton { imageName: \"z_zebra\"; fallbackSystemName: "
                                 "\"questionmark.circle\" }"
                              << false << "image://assets/z_zebra?radius=0.5";
        QTest::newRow("logo missing") << "CustomImageButton { imageName: \"x_none\"; fallbackSystemName: "
                                         "\"questionmark.circle\" }"
                                      << false << "";
    }

    void viewsPickTheirPicture()
    {
        QFETCH(QString, view);
        QFETCH(bool, bundleRemoved);
        QFETCH(QString, expected);

        AssetImages images = AssetImages::builtIn();
        if (bundleRemoved)
            images.removeBundleFile(QStringLiteral("Tweaks.png"));
        AssetImages::setCurrent(images);
        QQmlEngine engine;
        engine.addImportPath(QStringLiteral("qrc:/"));
        installImageProviders(engine);
        QQmlComponent component(&engine);
        component.setData(("import TallowPine\n" + view).toUtf8(), QUrl());
        std::unique_ptr<QObject> object(component.create());
        QVERIFY2(object, qPrintable(component.errorString()));
        QCOMPARE(object->property("imageSource").toString(), expected);
    }

    void actionButtonLoads()
    {
        QQmlEngine engine;
        engine.addImportPath(QStringLiteral("qrc:/"));
        QQmlComponent component(&engine);
        component.setData("import TallowPine\nActionButton { systemName: \"trash\"; color: \"red\" }",
                          QUrl());
        std::unique_ptr<QObject> object(component.create());
        QVERIFY2(object, qPrintable(component.errorString()));
        QCOMPARE(object->property("implicitWidth").toReal(), 25.0);
    }

    void providersInstalled()
    {
        QQmlEngine engine;
        installImageProviders(engine);
        auto *assets = dynamic_cast<QQuickImageProvider *>(engine.imageProvider(QStringLiteral("assets")));
        QVERIFY(assets);
        QSize size;
        QVERIFY(isDrawn(assets->requestImage(QStringLiteral("Tweaks"), &size, QSize(50, 50))));
        QCOMPARE(size, QSize(50, 50));
        QVERIFY(engine.imageProvider(QStringLiteral("icon")));
    }
};

QTEST_MAIN(TestAssetImages)
#include "tst_assetimages.moc"
