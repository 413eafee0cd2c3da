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
#include <QRandomGenerator>
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
    // Noise does not compress, so the file is as large as the picture.
    QRandomGenerator random(1);
    for (int i = 0; noisy && i < side * side; ++i)
        image.setPixel(i % side, i / side, random.generate());
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

    // Listens from the start: a response may finish while another one is being waited for.
    struct Asked
    {
        std::unique_ptr<QQuickImageResponse> response;
        std::unique_ptr<QSignalSpy> finished;
    };

    [[nodiscard]] Asked ask(const QString &id, QSize size = {})
    {
        auto *response = m_provider->requestImageResponse(id, size);
        return {std::unique_ptr<QQuickImageResponse>(response),
                std::make_unique<QSignalSpy>(response, &QQuickImageResponse::finished)};
    }

    static Answer waitFor(const Asked &asked)
    {
        (void)QTest::qWaitFor([&] { return !asked.finished->isEmpty(); }, 10000);
        Answer answer{!asked.finished->isEmpty(), {}, asked.response->errorString()};
        if (answer.finished && answer.error.isEmpty()) {
            std::unique_ptr<QQuickTextureFactory> factory(asked.response->textureFactory());
            answer.image = factory ? factory->image() : QImage();
        }
        return answer;
    }

    Answer fetch(const QString &address, QSize size = {}) { return waitFor(ask(idFor(address), size)); }

    void makeLoader(bool online)
    {
        IconLimits limits;
        limits.maxBodyBytes = kBodyCap;
        limits.requestTimeoutMs = 1500;
        limits.transferTimeoutMs = 1000;
        limits.networkAllowed = online;
        m_provider.reset();
        m_loader = std::make_unique<IconLoader>(limits);
        m_provider = std::make_unique<IconImageProvider>(m_loader.get());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_certificates.isValid());
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

    void init() { makeLoader(true); }

    void cleanup()
    {
        m_provider.reset();
        m_loader.reset();
    }

    void oneAddress_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QSize>("requested");
        QTest::addColumn<QSize>("shown");  // empty when the view falls back to "Tweaks"
        QTest::addColumn<int>("requests"); // 0: never leaves the machine
        QTest::addColumn<bool>("online");
        const auto row = [](const char *name, const QString &address, QSize shown, int requests = 1,
                            QSize requested = {}, bool online = true) {
            QTest::newRow(name) << address << requested << shown << requests << online;
        };
        const QString icon = m_nginx->url(QStringLiteral("icon.png"));
        row("png", icon, QSize(64, 64));
        row("shrunk to the requested size", icon, QSize(50, 50), 1, QSize(50, 50));
        row("large picture bounded", m_nginx->url(QStringLiteral("huge.png")), QSize(160, 160));
        row("missing file", m_nginx->url(QStringLiteral("missing.png")), {});
        row("error status with a picture", m_faults->url(QStringLiteral("404.png")), QSize(32, 32));
        row("over the size cap", m_nginx->url(QStringLiteral("heavy.png")), {});
        row("connection reset", m_faults->url(QStringLiteral("reset")), {});
        row("body stalls", m_faults->url(QStringLiteral("trickle")), {});
        row("no answer at all", m_faults->url(QStringLiteral("stall")), {});
        // Offline, a good address still gets the default picture.
        row("offline", icon, {}, 0, {}, false);
        for (const char *bad : {"", "not a link", "ftp://127.0.0.1/icon.png", "file:///etc/hostname",
                                "https:///icon.png", "https://127.0.0.1/my icon.png"})
            row(*bad ? bad : "empty", QString::fromLatin1(bad), {}, 0);
    }

    void oneAddress()
    {
        QFETCH(QString, address);
        QFETCH(QSize, requested);
        QFETCH(QSize, shown);
        QFETCH(int, requests);
        QFETCH(bool, online);
        makeLoader(online);
        // Addresses that are never fetched are not even handed to the view.
        QCOMPARE(iconImageSource(address).isEmpty(), online && requests == 0);
        const Answer answer = fetch(address, requested);
        QVERIFY(answer.finished);
        QCOMPARE(answer.image.isNull() ? QSize() : answer.image.size(), shown);
        QCOMPARE(answer.error.isEmpty(), shown.isValid());
        QCOMPARE(m_loader->networkRequestCount(), requests);
    }

    // Verification stays on: a server whose authority is not trusted gives no icon.
    void untrustedServerFails()
    {
        HttpClient::setExtraAuthorities({});
        const Answer answer = fetch(m_nginx->url(QStringLiteral("icon.png")));
        m_certificates.trustInThisProcess();
        QVERIFY(answer.image.isNull());
        QVERIFY(!answer.error.isEmpty());
    }

    // Pictures are kept and shared; failures are asked for again.
    void cacheAndSharing()
    {
        const QString address = m_nginx->url(QStringLiteral("icon.png"));
        const Asked first = ask(idFor(address));
        const Asked second = ask(idFor(address));
        QCOMPARE(waitFor(first).image.size(), QSize(64, 64));
        QCOMPARE(waitFor(second).image.size(), QSize(64, 64));
        QCOMPARE(fetch(address, QSize(30, 30)).image.size(), QSize(30, 30));
        QCOMPARE(m_loader->networkRequestCount(), 1);
        const QString page = m_nginx->url(QStringLiteral("page.html"));
        QVERIFY(fetch(page).image.isNull());
        QVERIFY(fetch(page).image.isNull());
        QCOMPARE(m_loader->networkRequestCount(), 3);
    }

    // A row scrolled away stops its download unless another row still waits for the same icon.
    void cancel()
    {
        const QString address = m_nginx->url(QStringLiteral("icon.png"));
        const Asked leaving = ask(idFor(address));
        const Asked staying = ask(idFor(address));
        leaving.response->cancel();
        QCOMPARE(waitFor(staying).image.size(), QSize(64, 64));
        // The engine deletes a response only after it finishes, so a cancelled one finishes too.
        QVERIFY(!leaving.finished->isEmpty());
        QVERIFY(waitFor(leaving).image.isNull());
        QCOMPARE(m_loader->networkRequestCount(), 1);

        const QString stall = m_faults->url(QStringLiteral("stall"));
        const Asked alone = ask(idFor(stall));
        QTRY_COMPARE(m_loader->networkRequestCount(), 2);
        alone.response->cancel();
        // Were the stalled download still pending, the next request would join it.
        QVERIFY(fetch(stall).image.isNull());
        QCOMPARE(m_loader->networkRequestCount(), 3);
    }

    // The view itself: the icon, or "Tweaks" at once for an address that is never fetched.
    void viewShowsIconOrTweaks_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<int>("requests");
        // The address comes back whole from the image source, query and all.
        QTest::newRow("icon") << m_nginx->url(QStringLiteral("icon.png?v=2&size=large#x")) << "icon" << 1;
        QTest::newRow("failure") << "ftp://127.0.0.1/icon.png"
                                 << "fallback" << 0;
    }

    void viewShowsIconOrTweaks()
    {
        QFETCH(QString, address);
        QFETCH(QString, shown);
        QFETCH(int, requests);
        QQmlEngine engine;
        engine.addImportPath(QStringLiteral("qrc:/"));
        installImageProviders(engine, false);
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
};

QTEST_MAIN(TestIconImages)
#include "tst_iconimages.moc"
