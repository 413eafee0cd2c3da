// "tallowpine-cli parse" run as a process, the way scripts use it: what it prints, its exit status, and
// that no input makes it crash.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run
{
    int exitCode = -1;
    bool crashed = false;
    QByteArray out;
    QByteArray err;
};

Run cli(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(TALLOWPINE_CLI), arguments);
    process.waitForFinished(60000);
    return Run{process.exitCode(), process.exitStatus() != QProcess::NormalExit,
               process.readAllStandardOutput(), process.readAllStandardError()};
}

QString fixture(const QString &name)
{
    return QStringLiteral(TALLOWPINE_TEST_DATA "/index/") + name;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestParseCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void jsonMatchesGolden_data();
    void jsonMatchesGolden();
    void count();
    void table();
    void refused_data();
    void refused();
    void badInputNeverCrashes();
};

void TestParseCommand::jsonMatchesGolden_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : QDir(fixture(QString())).entryList({QStringLiteral("*.Packages")}))
        QTest::newRow(qPrintable(name)) << name;
}

void TestParseCommand::jsonMatchesGolden()
{
    QFETCH(QString, name);
    const Run run = cli({QStringLiteral("parse"), QStringLiteral("--json"), QStringLiteral("--source"),
                         QStringLiteral("https://repo.example.com/"), fixture(name)});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.out, readFile(fixture(name.chopped(int(qstrlen(".Packages"))) + QStringLiteral(".jsonl"))));
}

void TestParseCommand::count()
{
    const Run run = cli(
        {QStringLiteral("parse"), QStringLiteral("--count"), fixture(QStringLiteral("jailbreak.Packages"))});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("8\n"));

    QTemporaryDir dir;
    const QString empty = dir.filePath(QStringLiteral("Packages"));
    QFile(empty).open(QIODevice::WriteOnly);
    QCOMPARE(cli({QStringLiteral("parse"), QStringLiteral("--count"), empty}).out, QByteArray("0\n"));
}

void TestParseCommand::table()
{
    const Run run = cli({QStringLiteral("parse"), fixture(QStringLiteral("debian.Packages"))});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("0ad\t0.0.26-3\t-\n0ad-data\t0.0.26-1\t-\n"));
}

void TestParseCommand::refused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("no file") << QStringList{"parse"};
    QTest::newRow("two files") << QStringList{"parse", fixture(QStringLiteral("debian.Packages")),
                                              fixture(u"latin1.Packages"_qs)};
    QTest::newRow("count and json") << QStringList{"parse", "--count", "--json",
                                                   fixture(QStringLiteral("debian.Packages"))};
    QTest::newRow("missing file") << QStringList{"parse", fixture(QStringLiteral("missing.Packages"))};
    QTest::newRow("folder") << QStringList{"parse", "--count", fixture(QString())};
}

void TestParseCommand::refused()
{
    QFETCH(QStringList, arguments);
    const Run run = cli(arguments);
    QVERIFY(!run.crashed);
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QVERIFY(!run.err.isEmpty());
}

void TestParseCommand::badInputNeverCrashes()
{
    QTemporaryDir dir;
    QRandomGenerator random(4242);
    QByteArray junk(1 << 16, Qt::Uninitialized);
    for (char &c : junk)
        c = char(random.bounded(256));
    const QByteArray golden = readFile(fixture(QStringLiteral("jailbreak.Packages")));

    const QList<std::pair<QString, QByteArray>> files{
        {QStringLiteral("junk"), junk},
        {QStringLiteral("junk.gz"), junk},
        {QStringLiteral("empty.gz"), QByteArray()},
        {QStringLiteral("nul"), QByteArray(4096, '\0')},
        {QStringLiteral("truncated"), golden.left(golden.size() / 2)},
        {QStringLiteral("gzip.gz"), QByteArray("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10) + junk},
    };
    for (const auto &[name, bytes] : files) {
        QFile file(dir.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        for (const char *mode : {"--count", "--json"}) {
            const Run run = cli({QStringLiteral("parse"), QString::fromLatin1(mode), file.fileName()});
            QVERIFY2(!run.crashed, qPrintable(name));
            // A ".gz" file that does not decode is refused in one line; everything else is text.
            const bool refused = name.endsWith(u".gz");
            QCOMPARE(run.exitCode, refused ? 1 : 0);
            if (refused)
                QCOMPARE(run.err.count('\n'), 1);
        }
    }
}

QTEST_GUILESS_MAIN(TestParseCommand)
#include "tst_parsecommand.moc"
