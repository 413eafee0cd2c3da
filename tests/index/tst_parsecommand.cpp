// "tallowpine-cli parse" run as a process, the way scripts use it: what it prints, its exit status, and
// that no input makes it crash.
#include "../testfiles.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

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
    return testData(u"index/"_s + name);
}

} // namespace

class TestParseCommand : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private Q_SLOTS:
    // The parser itself is held against every golden file elsewhere; here one of each output form.
    void output_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("out");
        const QString jailbreak = fixture(u"jailbreak.Packages"_s);
        const QString empty = m_dir.filePath(u"Packages"_s);
        QVERIFY(writeFile(empty, {}));
        QTest::newRow("json") << QStringList{"parse", "--json", "--source", "https://repo.example.com/",
                                             jailbreak}
                              << readFile(fixture(u"jailbreak.jsonl"_s));
        QTest::newRow("count") << QStringList{"parse", "--count", jailbreak} << "8\n"_ba;
        QTest::newRow("count of an empty file") << QStringList{"parse", "--count", empty} << "0\n"_ba;
        QTest::newRow("table") << QStringList{"parse", fixture(u"debian.Packages"_s)}
                               << "0ad\t0.0.26-3\t-\n0ad-data\t0.0.26-1\t-\n"_ba;
    }

    void output()
    {
        QFETCH(QStringList, arguments);
        const Run run = cli(arguments);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.err, QByteArray());
        QTEST(run.out, "out");
    }

    void refused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("no file") << QStringList{"parse"};
        QTest::newRow("two files") << QStringList{"parse", fixture(u"debian.Packages"_s),
                                                  fixture(u"latin1.Packages"_s)};
        QTest::newRow("count and json")
            << QStringList{"parse", "--count", "--json", fixture(u"debian.Packages"_s)};
        QTest::newRow("missing file") << QStringList{"parse", fixture(u"missing.Packages"_s)};
        QTest::newRow("folder") << QStringList{"parse", "--count", fixture(QString())};
        // A ".gz" that does not decode is refused; anything else is text (the parser's own tests feed it
        // junk).
        const QString junk = m_dir.filePath(u"junk.gz"_s);
        QVERIFY(writeFile(junk, "\x1f\x8b\x08\x00 not a stream"));
        QTest::newRow("undecodable .gz") << QStringList{"parse", "--json", junk};
    }

    void refused()
    {
        QFETCH(QStringList, arguments);
        const Run run = cli(arguments);
        QVERIFY(!run.crashed);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray());
        QVERIFY(!run.err.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestParseCommand)
#include "tst_parsecommand.moc"
