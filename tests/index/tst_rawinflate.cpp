// The app reads "Packages.gz" as a bare DEFLATE stream into a buffer of fixed size; these tests build
// their compressed inputs with zlib at run time and check the sizes, codes and files that contract fixes.
#include "index/indexdownload.h"
#include "index/indexfile.h"
#include "index/rawinflate.h"

#include "../testfiles.h"
#include "compression.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray text(qsizetype size)
{
    QByteArray out;
    for (int i = 0; out.size() < size; ++i)
        out += "Package: com.example.p" + QByteArray::number(i) + "\nVersion: 1.0\n\n";
    out.truncate(size);
    return out;
}

const QString kFailed = u"Failed to decompress"_s;

} // namespace

class TestRawInflate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void inflate_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("code");            // 0 for success
        QTest::addColumn<QByteArray>("output");   // expected on success
        QTest::addColumn<QString>("description"); // expected on failure

        const QByteArray small = text(5000);
        const QByteArray big = QByteArray(1 << 20, 'a'); // compresses to about 1 KiB
        QTest::newRow("small stream whole") << rawDeflate(small) << 0 << small << QString();
        QTest::newRow("cut at the first capacity") << rawDeflate(big) << 0 << big.left(65536) << QString();
        QTest::newRow("stream then trailing bytes")
            << rawDeflate(small) + "trailer" << 0 << small << QString();
        QTest::newRow("stream cut short") << rawDeflate(small).chopped(10) << -2 << QByteArray() << kFailed;
        QTest::newRow("stream of nothing") << rawDeflate(QByteArray()) << -2 << QByteArray() << kFailed;
    }

    void inflate()
    {
        QFETCH(QByteArray, input);
        QFETCH(int, code);
        QFETCH(QByteArray, output);
        QFETCH(QString, description);

        const InflateResult result = inflateRaw(input);
        if (code == 0) {
            QVERIFY2(!result.error, qPrintable(result.error ? result.error->message() : QString()));
            QCOMPARE(result.data, output);
        } else {
            QVERIFY(result.error.has_value());
            QCOMPARE(result.error->domain, u"decomp"_s);
            QCOMPARE(result.error->code, code);
            QCOMPARE(result.error->description, description);
            QVERIFY(result.data.isEmpty());
        }
    }

    // The download stops a body handled as compressed after its first two bytes when the first is
    // 0x1f: whatever follows, the decoder refuses it.
    void aFirstByteOf0x1fNeverDecodes()
    {
        QByteArray input(4096, Qt::Uninitialized);
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32 *>(input.data()), input.size() / 4);
        for (qsizetype size = 1; size <= input.size(); size += 21)
            QVERIFY(inflateRaw(input.left(size).replace(0, 1, "\x1f")).error);
        const QUrl gz(QStringLiteral("https://r.example/Packages.gz"));
        const QUrl plain(QStringLiteral("https://r.example/Packages"));
        QVERIFY(cannotDecode(gz, {}, "\x1f\x8b"));
        QVERIFY(cannotDecode(gz, {}, "\x1fP"));
        QVERIFY(cannotDecode(plain, {}, "\x1f\x8b"));
        QVERIFY(cannotDecode(plain, "gzip", "\x1fx"));
        QVERIFY(!cannotDecode(plain, {}, "\x1fx")); // plain text, however odd
        QVERIFY(!cannotDecode(gz, {}, "x\x1f"));
        QVERIFY(!cannotDecode(gz, {}, "\x1f")); // not yet known
    }

    void capacityLimit()
    {
        // The buffer is twice the input: an incompressible stream (stored blocks) of n bytes gives n bytes.
        QByteArray noise(100000, Qt::Uninitialized);
        QRandomGenerator random(7);
        for (char &c : noise)
            c = char(random.bounded(256));
        const QByteArray stored = rawDeflate(noise);
        QCOMPARE(inflateRaw(stored).data, noise);
        // A limit below twice the input refuses at once, even though the output would fit.
        const InflateResult refused = inflateRaw(stored, 2 * stored.size() - 1);
        QVERIFY(refused.error.has_value());
        QCOMPARE(refused.error->code, -2);
        QCOMPARE(inflateRaw(stored, 2 * stored.size()).data, noise);
    }

    void gunzipFiles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<bool>("nested");    // the download worker's copy
        QTest::addColumn<QString>("output"); // "" when it fails
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("description");
        const QByteArray plain = rawDeflate(text(20000));
        const QByteArray gzip = gzipFramed(text(5000));
        for (const bool nested : {false, true}) {
            const char *copy = nested ? ", worker copy" : "";
            QTest::addRow("beside the input%s", copy)
                << u"Packages.gz"_s << plain << nested << u"Packages"_s << 0 << QString();
            QTest::addRow("empty%s", copy) << u"Packages.gz"_s << QByteArray() << nested << QString() << -1
                                           << (nested ? u"nil src"_s : QString());
            QTest::addRow("gzip%s", copy) << u"Packages.gz"_s << gzip << nested << QString() << -2 << kFailed;
        }
        QTest::newRow("no extension: replaced")
            << u"index"_s << plain << false << u"index"_s << 0 << QString();
    }

    void gunzipFiles()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, input);
        QFETCH(bool, nested);
        QFETCH(QString, output);
        QFETCH(int, code);
        QFETCH(QString, description);

        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        const QString earlier = dir.filePath(u"Packages"_s);
        QVERIFY(writeFile(path, input));
        QVERIFY(writeFile(earlier, "earlier output"));

        const GunzipResult result = nested ? gunzipFile(path) : gunzip(path);
        if (code == 0) {
            QVERIFY(!result.error);
            QCOMPARE(result.outputPath, dir.filePath(output));
            QCOMPARE(readFile(result.outputPath), text(20000));
            if (output != name)
                QCOMPARE(readFile(path), input); // the input stays
            return;
        }
        QVERIFY(result.error.has_value());
        QCOMPARE(result.error->domain, u"decomp"_s);
        QCOMPARE(result.error->code, code);
        QCOMPARE(result.error->description, description);
        QVERIFY(result.outputPath.isEmpty());
        QCOMPARE(readFile(earlier), "earlier output"_ba);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files).size(), 2); // no temporary left behind
    }

    void readErrorIsPassedOn()
    {
        QTemporaryDir dir;
        const GunzipResult result = gunzip(dir.filePath(u"missing.gz"_s));
        QVERIFY(result.error.has_value());
        QCOMPARE(result.error->domain, u"file"_s);
        QCOMPARE(result.error->code, int(QFileDevice::OpenError));
        QVERIFY(!result.error->description.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestRawInflate)
#include "tst_rawinflate.moc"
