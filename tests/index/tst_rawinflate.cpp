// The app reads "Packages.gz" as a bare DEFLATE stream into a buffer of fixed size; these tests build
// their compressed inputs with zlib at run time and check the sizes, codes and files that contract fixes.
#include "index/indexfile.h"
#include "index/rawinflate.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <zlib.h>

namespace {

// windowBits: -15 bare DEFLATE, 15 zlib framing, 31 gzip framing.
QByteArray compress(const QByteArray &data, int windowBits)
{
    z_stream stream{};
    if (deflateInit2(&stream, 9, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        qFatal("deflateInit2 failed");
    QByteArray out(qsizetype(deflateBound(&stream, uLong(data.size()))) + 32, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.data()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = uInt(out.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END)
        qFatal("deflate failed");
    out.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return out;
}

QByteArray raw(const QByteArray &data)
{
    return compress(data, -15);
}

QByteArray text(qsizetype size)
{
    QByteArray out;
    for (int i = 0; out.size() < size; ++i)
        out += "Package: com.example.p" + QByteArray::number(i) + "\nVersion: 1.0\n\n";
    out.truncate(size);
    return out;
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

const QString kFailed = QStringLiteral("Failed to decompress");

} // namespace

class TestRawInflate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void inflate_data();
    void inflate();
    void capacityLimit();
    void outputPath_data();
    void outputPath();
    void writesBesideInput();
    void replacesFileWithoutExtension();
    void failureWritesNothing_data();
    void failureWritesNothing();
    void readErrorIsPassedOn();
    void loadsCompressedIndex();
};

void TestRawInflate::inflate_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("code");            // 0 for success
    QTest::addColumn<QByteArray>("output");   // expected on success
    QTest::addColumn<QString>("description"); // expected on failure

    const QByteArray small = text(5000);
    const QByteArray big = QByteArray(1 << 20, 'a'); // compresses to about 1 KiB
    QTest::newRow("small stream whole") << raw(small) << 0 << small << QString();
    QTest::newRow("cut at the first capacity") << raw(big) << 0 << big.left(65536) << QString();
    QTest::newRow("stream then trailing bytes") << raw(small) + "trailer" << 0 << small << QString();
    QTest::newRow("empty input") << QByteArray() << -1 << QByteArray() << QString();
    QTest::newRow("gzip framing") << compress(small, 31) << -2 << QByteArray() << kFailed;
    QTest::newRow("zlib framing") << compress(small, 15) << -2 << QByteArray() << kFailed;
    QTest::newRow("stream cut short") << raw(small).chopped(10) << -2 << QByteArray() << kFailed;
    QTest::newRow("stream of nothing") << raw(QByteArray()) << -2 << QByteArray() << kFailed;
    QTest::newRow("plain text") << small << -2 << QByteArray() << kFailed;
}

void TestRawInflate::inflate()
{
    QFETCH(QByteArray, input);
    QFETCH(int, code);
    QFETCH(QByteArray, output);
    QFETCH(QString, description);

    const InflateResult result = inflateRaw(input);
    if (code == 0) {
        QVERIFY2(!result.error, qPrintable(result.error ? result.error->message() : QString()));
        QCOMPARE(result.data.size(), output.size());
        QCOMPARE(result.data, output);
    } else {
        QVERIFY(result.error.has_value());
        QCOMPARE(result.error->domain, QStringLiteral("decomp"));
        QCOMPARE(result.error->code, code);
        QCOMPARE(result.error->description, description);
        QVERIFY(result.data.isEmpty());
    }
}

void TestRawInflate::capacityLimit()
{
    // The buffer is twice the input: an incompressible stream (stored blocks) of n bytes gives n bytes.
    QByteArray noise(100000, Qt::Uninitialized);
    QRandomGenerator random(7);
    for (char &c : noise)
        c = char(random.bounded(256));
    const QByteArray stored = raw(noise);
    QCOMPARE(inflateRaw(stored).data, noise);
    // A limit below twice the input refuses at once, even though the output would fit.
    const InflateResult refused = inflateRaw(stored, 2 * stored.size() - 1);
    QVERIFY(refused.error.has_value());
    QCOMPARE(refused.error->code, -2);
    QCOMPARE(inflateRaw(stored, 2 * stored.size()).data, noise);
}

void TestRawInflate::outputPath_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");
    QTest::newRow("gz") << "/c/src/Packages.gz"
                        << "/c/src/Packages";
    QTest::newRow("only the last extension") << "/c/x.tar.gz"
                                             << "/c/x.tar";
    QTest::newRow("no extension") << "/c/src/Packages"
                                  << "/c/src/Packages";
    QTest::newRow("dot in a folder name") << "/c/a.b/Packages"
                                          << "/c/a.b/Packages";
    QTest::newRow("hidden name") << "/c/.gz"
                                 << "/c/.gz";
    QTest::newRow("relative") << "Packages.gz"
                              << "Packages";
}

void TestRawInflate::outputPath()
{
    QFETCH(QString, input);
    QFETCH(QString, output);
    QCOMPARE(decompressedPath(input), output);
}

void TestRawInflate::writesBesideInput()
{
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("Packages.gz"));
    const QByteArray plain = text(20000);
    writeFile(input, raw(plain));

    for (const auto run : {gunzip, gunzipFile}) {
        QFile::remove(dir.filePath(QStringLiteral("Packages")));
        const GunzipResult result = run(input);
        QVERIFY(!result.error);
        QCOMPARE(result.outputPath, dir.filePath(QStringLiteral("Packages")));
        QCOMPARE(readFile(result.outputPath), plain);
        QCOMPARE(readFile(input), raw(plain)); // the input stays
    }
}

void TestRawInflate::replacesFileWithoutExtension()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("index"));
    const QByteArray plain = text(3000);
    writeFile(path, raw(plain));
    const GunzipResult result = gunzip(path);
    QVERIFY(!result.error);
    QCOMPARE(result.outputPath, path);
    QCOMPARE(readFile(path), plain);
}

void TestRawInflate::failureWritesNothing_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<bool>("nested"); // the download worker's copy
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("description");
    QTest::newRow("empty") << QByteArray() << false << -1 << QString();
    QTest::newRow("empty, worker copy") << QByteArray() << true << -1 << QStringLiteral("nil src");
    QTest::newRow("gzip") << compress(text(5000), 31) << false << -2 << kFailed;
    QTest::newRow("gzip, worker copy") << compress(text(5000), 31) << true << -2 << kFailed;
}

void TestRawInflate::failureWritesNothing()
{
    QFETCH(QByteArray, input);
    QFETCH(bool, nested);
    QFETCH(int, code);
    QFETCH(QString, description);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Packages.gz"));
    const QString earlier = dir.filePath(QStringLiteral("Packages"));
    writeFile(path, input);
    writeFile(earlier, "earlier output");

    const GunzipResult result = nested ? gunzipFile(path) : gunzip(path);
    QVERIFY(result.error.has_value());
    QCOMPARE(result.error->domain, QStringLiteral("decomp"));
    QCOMPARE(result.error->code, code);
    QCOMPARE(result.error->description, description);
    QVERIFY(result.outputPath.isEmpty());
    QCOMPARE(readFile(earlier), QByteArray("earlier output"));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files).size(), 2); // no temporary left behind
}

void TestRawInflate::readErrorIsPassedOn()
{
    QTemporaryDir dir;
    const GunzipResult result = gunzip(dir.filePath(QStringLiteral("missing.gz")));
    QVERIFY(result.error.has_value());
    QCOMPARE(result.error->domain, QStringLiteral("file"));
    QCOMPARE(result.error->code, int(QFileDevice::OpenError));
    QVERIFY(!result.error->description.isEmpty());
}

void TestRawInflate::loadsCompressedIndex()
{
    QTemporaryDir dir;
    const QByteArray plain = "Package: a\nName: A\n\nPackage: b\n";
    const QString gz = dir.filePath(QStringLiteral("Packages.gz"));
    const QString unnamed = dir.filePath(QStringLiteral("index.bin"));
    const QString gzipped = dir.filePath(QStringLiteral("real.gz"));
    writeFile(gz, raw(plain));
    writeFile(unnamed, raw(plain));
    writeFile(gzipped, compress(plain, 31));

    QCOMPARE(loadIndexFile(gz, QString())->size(), 2);
    QCOMPARE(loadIndexFile(unnamed, QString())->size(), 2);
    QCOMPARE(countIndexFile(gz), 2);

    QString error;
    QVERIFY(!loadIndexFile(gzipped, QString(), &error).has_value());
    QVERIFY(error.contains(kFailed));
    QVERIFY(!error.contains(u'\n'));
}

QTEST_GUILESS_MAIN(TestRawInflate)
#include "tst_rawinflate.moc"
