// Package icons over the network, against loopback servers: what shows, what fails, and how many
// requests it took.
#include "../testfiles.h"
#include "faultserver.h"
#include "nginxserver.h"
#include "testcertificates.h"
#include "ui/iconimageprovider.h"
#include "ui/iconloader.h"
#include "ui/imageproviders.h"

#include <QBuffer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickTextureFactory>
#include <QSslConfiguration>
#include <QTemporaryDir>
#include <QtQml/QQmlExtensionPlugin>
#include <QtTest>

#include <memory>

Q_IMPORT_QML_PLUGIN(TallowPinePlugin)

namespace {

using Fault = FaultServer::Fault;
using Route = FaultServer::Route;

constexpr qint64 kBodyCap = 256 * 1024;

QByteArray png(int side, bool noisy = false)
{
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(QColor(0x33, 0x99, 0xcc));
    if (noisy) {
        // Noise does not compress, so the file is as large as the picture.
        quint32 seed = 1;
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                seed = seed * 1664525u + 1013904223u;
                image.setPixel(x, y, seed);
            }
        }
    }
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return buffer.data();
}

struct Answer
{
    bool finished = false;
    QImage image;
    QString error;
};

// The provider's id for an address, also for addresses the view itself would never ask for.
QString idFor(const QString &address)
{
    return QString::fromLatin1(
        address.toUtf8().toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

} // namespace

class TestIconImages : public QObject
{
    Q_OBJECT

    TestCertificates m_certificates;
    QTemporaryDir m_www;
    std::unique_ptr<NginxServer> m_nginx;
    std::unique_ptr<FaultServer> m_faults;
    std::unique_ptr<IconLoader> m_loader;
    std::unique_ptr<IconImageProvider> m_provider;
    QSslConfiguration m_withoutTestCa;

    // Listens from the start: a response may finish while another one is being waited for.
    struct Asked
    {
        std::unique_ptr<QQuickImageResponse> response;
        std::shared_ptr<Answer> answer = std::make_shared<Answer>();
    };

    [[nodiscard]] Asked ask(const QString &id, QSize size = {})
    {
        Asked asked{std::unique_ptr<QQuickImageResponse>(m_provider->requestImageResponse(id, size))};
        QQuickImageResponse *response = asked.response.get();
        QObject::connect(response, &QQuickImageResponse::finished, response,
                         [response, answer = asked.answer] {
                             answer->finished = true;
                             answer->error = response->errorString();
                             if (answer->error.isEmpty()) {
                                 std::unique_ptr<QQuickTextureFactory> factory(response->textureFactory());
                                 answer->image = factory ? factory->image() : QImage();
                             }
                         });
        return asked;
    }

    static Answer waitFor(const Asked &asked)
    {
        (void)QTest::qWaitFor([&] { return asked.answer->finished; }, 10000);
        return *asked.answer;
    }

    Answer fetch(const QString &address, QSize size = {}) { return waitFor(ask(idFor(address), size)); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_certificates.isValid());
        m_withoutTestCa = QSslConfiguration::defaultConfiguration();
        m_certificates.trustInThisProcess();
        QVERIFY(writeFile(m_www.filePath(QStringLiteral("icon.png")), png(64)));
        QVERIFY(writeFile(m_www.filePath(QStringLiteral("huge.png")), png(1200)));
        QVERIFY(writeFile(m_www.filePath(QStringLiteral("heavy.png")), png(400, true)));
        QVERIFY(writeFile(m_www.filePath(QStringLiteral("page.html")),
                          "<!DOCTYPE html><html><body>Not an icon</body></html>\n"));
        QVERIFY(readFile(m_www.filePath(QStringLiteral("heavy.png"))).size() > kBodyCap);
        m_nginx = std::make_unique<NginxServer>(m_www.path(), m_certificates);
        QVERIFY2(m_nginx->isRunning(), qPrintable(m_nginx->errorLog()));
        m_faults = std::make_unique<FaultServer>(m_certificates);
        QVERIFY(m_faults->isListening());
        m_faults->setRoute("/404.png", Route{404, png(32), {}, Fault::None});
        m_faults->setRoute("/stall", Route{200, png(32), {}, Fault::StallBeforeHeaders});
        m_faults->setRoute("/trickle", Route{200, png(32), {}, Fault::StallMidBody});
        m_faults->setRoute("/reset", Route{200, {}, {}, Fault::Reset});
    }

    void init()
    {
        IconLimits limits;
        limits.maxBodyBytes = kBodyCap;
        limits.requestTimeoutMs = 1500;
        limits.transferTimeoutMs = 1000;
        m_loader = std::make_unique<IconLoader>(limits);
        m_provider = std::make_unique<IconImageProvider>(m_loader.get());
    }

    void cleanup()
    {
        m_provider.reset();
        m_loader.reset();
    }

    void oneAddress_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QSize>("requested");
        QTest::addColumn<QSize>("shown"); // empty when the view falls back to "Tweaks"

        QTest::newRow("png") << m_nginx->url(QStringLiteral("icon.png")) << QSize() << QSize(64, 64);
        QTest::newRow("shrunk to the requested size")
            << m_nginx->url(QStringLiteral("icon.png")) << QSize(50, 50) << QSize(50, 50);
        QTest::newRow("large picture bounded")
            << m_nginx->url(QStringLiteral("huge.png")) << QSize() << QSize(160, 160);
        QTest::newRow("html page") << m_nginx->url(QStringLiteral("page.html")) << QSize() << QSize();
        QTest::newRow("missing file") << m_nginx->url(QStringLiteral("missing.png")) << QSize() << QSize();
        QTest::newRow("error status with a picture")
            << m_faults->url(QStringLiteral("404.png")) << QSize() << QSize(32, 32);
        QTest::newRow("over the size cap") << m_nginx->url(QStringLiteral("heavy.png")) << QSize() << QSize();
        QTest::newRow("connection reset") << m_faults->url(QStringLiteral("reset")) << QSize() << QSize();
        QTest::newRow("body stalls") << m_faults->url(QStringLiteral("trickle")) << QSize() << QSize();
        QTest::newRow("no answer at all") << m_faults->url(QStringLiteral("stall")) << QSize() << QSize();
    }

    void oneAddress()
    {
        QFETCH(QString, address);
        QFETCH(QSize, requested);
        QFETCH(QSize, shown);

        QVERIFY(!iconImageSource(address).isEmpty());
        const Answer answer = fetch(address, requested);
        QVERIFY(answer.finished);
        QCOMPARE(answer.image.isNull() ? QSize() : answer.image.size(), shown);
        QCOMPARE(answer.error.isEmpty(), shown.isValid());
        QCOMPARE(m_loader->networkRequestCount(), 1);
    }

    void unusableAddress_data()
    {
        QTest::addColumn<QString>("address");
        QTest::newRow("empty") << QString();
        QTest::newRow("not a link") << "not a link";
        QTest::newRow("ftp") << "ftp://127.0.0.1/icon.png";
        QTest::newRow("file") << "file:///etc/hostname";
        QTest::newRow("data") << "data:image/png;base64,iVBORw0KGgo=";
        QTest::newRow("no host") << "https:///icon.png";
        QTest::newRow("space inside") << "https://127.0.0.1/my icon.png";
    }

    void unusableAddress()
    {
        QFETCH(QString, address);
        QCOMPARE(iconImageSource(address), QString());
        const Answer answer = fetch(address);
        QVERIFY(answer.finished);
        QVERIFY(answer.image.isNull());
        QVERIFY(!answer.error.isEmpty());
        QCOMPARE(m_loader->networkRequestCount(), 0);
    }

    // Offline, a good address still gets the default picture, and nothing leaves the machine.
    void offlineMakesNoRequest()
    {
        IconLimits limits;
        limits.networkAllowed = false;
        m_provider.reset();
        m_loader = std::make_unique<IconLoader>(limits);
        m_provider = std::make_unique<IconImageProvider>(m_loader.get());
        const Answer answer = fetch(m_nginx->url(QStringLiteral("icon.png")));
        QVERIFY(answer.finished);
        QVERIFY(answer.image.isNull());
        QVERIFY(!answer.error.isEmpty());
        QCOMPARE(m_loader->networkRequestCount(), 0);
    }

    // Verification stays on: a server whose authority is not trusted gives no icon.
    void untrustedServerFails()
    {
        const QSslConfiguration trusted = QSslConfiguration::defaultConfiguration();
        QSslConfiguration::setDefaultConfiguration(m_withoutTestCa);
        const Answer answer = fetch(m_nginx->url(QStringLiteral("icon.png")));
        QSslConfiguration::setDefaultConfiguration(trusted);
        QVERIFY(answer.image.isNull());
        QVERIFY(!answer.error.isEmpty());
    }

    void sourceRoundTripsTheAddress()
    {
        const QString address = m_nginx->url(QStringLiteral("icon.png?v=2&size=large#x"));
        const QString source = iconImageSource(address, 0.16);
        QVERIFY(source.startsWith(QStringLiteral("image://icon/")));
        QVERIFY(source.endsWith(QStringLiteral("?radius=0.16")));
        const Answer answer = waitFor(ask(source.mid(13), QSize(64, 64)));
        QCOMPARE(answer.image.size(), QSize(64, 64));
        QCOMPARE(qAlpha(answer.image.pixel(0, 0)), 0); // rounded corner
        QCOMPARE(qAlpha(answer.image.pixel(32, 32)), 255);
    }

    void decodedIconIsReused()
    {
        const QString address = m_nginx->url(QStringLiteral("icon.png"));
        const Answer first = fetch(address);
        const Answer second = fetch(address, QSize(30, 30));
        QCOMPARE(first.image.size(), QSize(64, 64));
        QCOMPARE(second.image.size(), QSize(30, 30));
        QCOMPARE(m_loader->networkRequestCount(), 1);
    }

    void failuresAreNotCached()
    {
        const QString address = m_nginx->url(QStringLiteral("page.html"));
        QVERIFY(fetch(address).image.isNull());
        QVERIFY(fetch(address).image.isNull());
        QCOMPARE(m_loader->networkRequestCount(), 2);
    }

    void concurrentRequestsShareOneDownload()
    {
        const QString address = m_nginx->url(QStringLiteral("icon.png"));
        const Asked first = ask(idFor(address));
        const Asked second = ask(idFor(address));
        const Answer a = waitFor(first);
        const Answer b = waitFor(second);
        QCOMPARE(a.image.size(), QSize(64, 64));
        QCOMPARE(b.image.size(), QSize(64, 64));
        QCOMPARE(m_loader->networkRequestCount(), 1);
    }

    // A row scrolled away stops its download unless another row still waits for the same icon.
    void cancelKeepsSharedDownloads()
    {
        const QString address = m_nginx->url(QStringLiteral("icon.png"));
        const Asked leaving = ask(idFor(address));
        const Asked staying = ask(idFor(address));
        leaving.response->cancel();
        QCOMPARE(waitFor(staying).image.size(), QSize(64, 64));
        // The engine deletes a response only after it finishes, so a cancelled one finishes too.
        QVERIFY(leaving.answer->finished);
        QVERIFY(leaving.answer->image.isNull());
        QCOMPARE(m_loader->networkRequestCount(), 1);
    }

    // The view itself: the icon, or "Tweaks" at once for an address that is never fetched.
    void viewShowsIconOrTweaks_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<int>("requests");
        QTest::addColumn<bool>("offline");
        QTest::newRow("icon") << m_nginx->url(QStringLiteral("icon.png")) << "icon" << 1 << false;
        QTest::newRow("html page") << m_nginx->url(QStringLiteral("page.html")) << "fallback" << 1 << false;
        QTest::newRow("empty") << QString() << "fallback" << 0 << false;
        QTest::newRow("ftp") << "ftp://127.0.0.1/icon.png"
                             << "fallback" << 0 << false;
        QTest::newRow("offline") << m_nginx->url(QStringLiteral("icon.png")) << "fallback" << 0 << true;
    }

    void viewShowsIconOrTweaks()
    {
        QFETCH(QString, address);
        QFETCH(QString, shown);
        QFETCH(int, requests);
        QFETCH(bool, offline);

        QQmlEngine engine;
        engine.addImportPath(QStringLiteral("qrc:/"));
        installImageProviders(engine, offline);
        QQmlComponent component(&engine);
        component.setData("import TallowPine\nURLImageView { width: 50; height: 50 }", QUrl());
        std::unique_ptr<QObject> view(component.createWithInitialProperties({{"urlString", address}}));
        QVERIFY2(view, qPrintable(component.errorString()));
        auto *image = view->findChild<QObject *>(shown);
        QVERIFY(image);
        QTRY_COMPARE(image->property("status").toInt(), 1); // Image.Ready
        QVERIFY(image->property("visible").toBool());
        QCOMPARE(engine.findChild<IconLoader *>()->networkRequestCount(), requests);
    }

    void cancelStopsUnsharedDownload()
    {
        const QString address = m_faults->url(QStringLiteral("stall"));
        const Asked leaving = ask(idFor(address));
        QTRY_COMPARE(m_loader->networkRequestCount(), 1);
        leaving.response->cancel();
        // Were the stalled download still pending, the next request would join it.
        const Answer again = fetch(address);
        QVERIFY(again.image.isNull());
        QCOMPARE(m_loader->networkRequestCount(), 2);
    }
};

QTEST_MAIN(TestIconImages)
#include "tst_iconimages.moc"
