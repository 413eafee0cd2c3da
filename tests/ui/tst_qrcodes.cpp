// QR codes of hand-off links: the module grid a scanner expects, its drawing at whole pixels per module
// inside a white quiet zone, the provider's way from an image id back to the text, and a clear
// failure for what no QR code can hold. With zbarimg installed, codes are also read back by a scanner.
#include "handoff/qrmatrix.h"
#include "ui/qrimageprovider.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kQuiet = 4;

// The 7 by 7 finder pattern with its light separator, whose top-left module is at (x0, y0).
bool hasFinderAt(const QrMatrix &m, int x0, int y0)
{
    for (int dy = -1; dy <= 7; ++dy) {
        for (int dx = -1; dx <= 7; ++dx) {
            const int x = x0 + dx;
            const int y = y0 + dy;
            if (x < 0 || y < 0 || x >= m.size || y >= m.size)
                continue;
            const int ring = std::max(std::abs(dx - 3), std::abs(dy - 3));
            const bool dark = ring != 2 && ring != 4;
            if (m.isDark(x, y) != dark)
                return false;
        }
    }
    return true;
}

QString repeated(const QString &piece, int times)
{
    QString text;
    for (int i = 0; i < times; ++i)
        text += piece;
    return text;
}

} // namespace

class TestQrCodes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void matrix_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("version"); // 0: no code
        // Byte-mode capacities at level M: version 2 holds 26 bytes, 10 holds 213, 40 holds 2331.
        // A level other than M, or characters counted instead of UTF-8 bytes, moves these edges.
        QTest::newRow("26 bytes") << u"https://repo.example/apt/x"_s << 2;
        QTest::newRow("27 bytes") << u"https://repo.example/apt/xy"_s << 3;
        QTest::newRow("long .deb link") << u"https://repo.example/"_s + repeated(u"a"_s, 192) << 10;
        QTest::newRow("largest") << repeated(u"a"_s, 2331) << 40;
        QTest::newRow("one byte too many") << repeated(u"a"_s, 2332) << 0;
        QTest::newRow("Arabic counts two bytes a letter") << repeated(u"ب"_s, 1166) << 0;
        QTest::newRow("empty") << QString() << 0;
        // The encoder stops at a NUL: its code would scan as another link.
        QTest::newRow("NUL inside") << u"https://a.example/\0evil"_s << 0;
    }

    void matrix()
    {
        QFETCH(QString, text);
        QFETCH(int, version);
        const std::optional<QrMatrix> m = encodeQr(text);
        QCOMPARE(m.has_value(), version != 0);
        if (!m)
            return;
        QCOMPARE(m->version, version);
        QCOMPARE(m->size, 17 + 4 * version);
        QCOMPARE(m->modules.size(), std::size_t(m->size) * m->size);
        QVERIFY(hasFinderAt(*m, 0, 0));
        QVERIFY(hasFinderAt(*m, m->size - 7, 0));
        QVERIFY(hasFinderAt(*m, 0, m->size - 7));
        QVERIFY(!hasFinderAt(*m, m->size - 7, m->size - 7));
        // The timing patterns alternate between the finders, starting dark.
        for (int i = 8; i < m->size - 8; ++i) {
            QCOMPARE(m->isDark(i, 6), i % 2 == 0);
            QCOMPARE(m->isDark(6, i), i % 2 == 0);
        }
    }

    void drawing_data()
    {
        QTest::addColumn<QSize>("requested");
        QTest::addColumn<int>("side");
        QTest::addColumn<int>("scale");
        // The source link is 25 modules, 33 with its quiet zone.
        QTest::newRow("exact fit") << QSize(330, 330) << 330 << 10;
        QTest::newRow("rounds down, centred") << QSize(340, 340) << 340 << 10;
        QTest::newRow("shorter side rules") << QSize(500, 100) << 100 << 3;
        QTest::newRow("too small still draws every module") << QSize(20, 20) << 33 << 1;
        QTest::newRow("no size") << QSize() << 33 * 8 << 8;
        QTest::newRow("width only") << QSize(99, 0) << 99 << 3;
    }

    void drawing()
    {
        QFETCH(QSize, requested);
        QFETCH(int, side);
        QFETCH(int, scale);
        const QrMatrix m = *encodeQr(u"https://repo.example/apt/"_s);
        const QImage image = renderQr(m, requested);
        QCOMPARE(image.size(), QSize(side, side));
        const int origin = (side - scale * m.size) / 2;
        QVERIFY(origin >= kQuiet * scale);
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                const int mx = (x - origin) >= 0 ? (x - origin) / scale : -1;
                const int my = (y - origin) >= 0 ? (y - origin) / scale : -1;
                const bool inCode = mx >= 0 && my >= 0 && mx < m.size && my < m.size;
                const QRgb expected = inCode && m.isDark(mx, my) ? qRgb(0, 0, 0) : qRgb(255, 255, 255);
                if (image.pixel(x, y) != expected)
                    QFAIL(qPrintable(u"pixel %1,%2 is not its module's colour"_s.arg(x).arg(y)));
            }
        }
    }

    void hugeRequestIsCapped()
    {
        QCOMPARE(renderQr(*encodeQr(u"https://repo.example/apt/"_s), QSize(100000, 100000)).size(),
                 QSize(4096, 4096));
    }

    void provider_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("plain") << u"https://repo.example/apt/"_s;
        QTest::newRow("query and fragment")
            << u"https://cydia.saurik.com/api/share#?source=https://a.example/"_s;
        QTest::newRow("escapes stay escapes") << u"https://a.example/debs/a%2Bb%20c.deb"_s;
        QTest::newRow("plus and space") << u"https://a.example/a+b c"_s;
        QTest::newRow("not ASCII") << u"https://مثال.example/سورس/"_s;
    }

    void provider()
    {
        QFETCH(QString, text);
        const QString source = qrImageSource(text);
        QVERIFY(source.startsWith(u"image://qr/"_s));
        // The engine hands providers what follows the host, as QUrl prints it.
        const QString id = QUrl(source).toString(QUrl::RemoveScheme | QUrl::RemoveAuthority).mid(1);
        QrImageProvider provider;
        QSize size;
        const QImage image = provider.requestImage(id, &size, QSize(200, 200));
        QCOMPARE(size, image.size());
        QCOMPARE(image, renderQr(*encodeQr(text), QSize(200, 200)));
    }

    void providerFailsCleanly()
    {
        QrImageProvider provider;
        QSize size(7, 7);
        const QString id = qrImageSource(repeated(u"https://repo.example/"_s, 240)).mid(11);
        QVERIFY(provider.requestImage(id, &size, QSize(200, 200)).isNull());
        QCOMPARE(size, QSize(0, 0));
        QVERIFY(provider.requestImage(QString(), &size, QSize(200, 200)).isNull());
        QCOMPARE(qrImageSource(QString()), QString());
    }

    void scannerReadsItBack_data() { provider_data(); }

    void scannerReadsItBack()
    {
        QFETCH(QString, text);
        const QString zbarimg = QStandardPaths::findExecutable(u"zbarimg"_s);
        if (zbarimg.isEmpty())
            QSKIP("zbarimg is not installed (Debian package zbar-tools)");
        QTemporaryDir dir;
        const QString file = dir.filePath(u"code.png"_s);
        QVERIFY(renderQr(*encodeQr(text), QSize(300, 300)).save(file));
        QProcess scan;
        scan.start(zbarimg, {u"--raw"_s, u"--quiet"_s, u"-Sbinary"_s, file});
        QVERIFY(scan.waitForFinished(20000));
        QCOMPARE(scan.exitCode(), 0);
        QString read = QString::fromUtf8(scan.readAllStandardOutput());
        if (read.endsWith(u'\n'))
            read.chop(1);
        QCOMPARE(read, text);
    }
};

QTEST_MAIN(TestQrCodes)

#include "tst_qrcodes.moc"
