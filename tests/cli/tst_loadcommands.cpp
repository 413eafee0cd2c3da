#include "app/platform.h"
#include "cli/clicommands.h"

#include "../testfiles.h"
#include "compression.h"
#include "nginxserver.h"
#include "testcertificates.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run
{
    int status = -1;
    QStringList lines;
    QString err;
};

} // namespace

// The load and search commands run in process, so the catalogue can be swapped for loopback
// sources: no test ever reaches a real repository.
class TestLoadCommands : public QObject
{
    Q_OBJECT

    TestCertificates m_certificates;
    QTemporaryDir m_www;
    QTemporaryDir m_home;
    std::unique_ptr<NginxServer> m_nginx;
    QStringList m_links;

    Run cli(QStringList args)
    {
        // Later options win, so a test's own --root or --ca-file replaces these.
        args = QStringList{QStringLiteral("tallowpine-cli"),
                           QStringLiteral("--settings"),
                           m_home.filePath(QStringLiteral("settings.ini")),
                           QStringLiteral("--data-dir"),
                           m_home.filePath(QStringLiteral("data")),
                           QStringLiteral("--root"),
                           m_home.filePath(QStringLiteral("device")),
                           QStringLiteral("--ca-file"),
                           m_certificates.caFile()} +
               args;
        QString out;
        QString err;
        QTextStream outStream(&out);
        QTextStream errStream(&err);
        Run run;
        run.status = runCli(args, outStream, errStream);
        outStream.flush();
        errStream.flush();
        run.lines = out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        run.err = err;
        return run;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_certificates.isValid());
        const QByteArray index = readFile(testData(QStringLiteral("repo/Packages")));
        QVERIFY(writeFile(m_www.filePath(QStringLiteral("one/Packages")), index));
        QVERIFY(writeFile(m_www.filePath(QStringLiteral("two/Packages.gz")), rawDeflate(index)));
        QDir().mkpath(m_home.filePath(QStringLiteral("device")));
        m_nginx = std::make_unique<NginxServer>(m_www.path(), m_certificates);
        QVERIFY(m_nginx->isRunning());

        m_links = QStringList{m_nginx->url(QStringLiteral("one/")), m_nginx->url(QStringLiteral("two/")),
                              QStringLiteral("http://127.0.0.1:9/plain-http/")};
        QList<RepoSource> catalogue;
        for (const QString &link : std::as_const(m_links))
            catalogue.append(RepoSource{link, link, link, QStringLiteral("Repos.png"), true});
        Platform platform;
        platform.catalogue = catalogue;
        Platform::setDefault(platform);
    }

    void loadReportsHowEachSourceWasServed()
    {
        Run run = cli({QStringLiteral("load")});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines.size(), 4);
        QCOMPARE(run.lines.at(0), m_links.at(0) + QStringLiteral("\tnetwork\t3"));
        QCOMPARE(run.lines.at(1), m_links.at(1) + QStringLiteral("\tnetwork\t3"));
        QCOMPARE(run.lines.at(2), m_links.at(2) + QStringLiteral("\tnothing\t0"));
        QVERIFY(run.lines.at(3).startsWith(QStringLiteral("total\t3 sources\t6 packages")));

        run = cli({QStringLiteral("load"), QStringLiteral("--json")});
        QCOMPARE(run.status, 0);
        const QJsonObject first = QJsonDocument::fromJson(run.lines.at(0).toUtf8()).object();
        QCOMPARE(first.value(QStringLiteral("link")).toString(), m_links.at(0));
        QCOMPARE(first.value(QStringLiteral("served")).toString(), QStringLiteral("not-modified"));
        QCOMPARE(first.value(QStringLiteral("packages")).toInt(), 3);
        QCOMPARE(QJsonDocument::fromJson(run.lines.last().toUtf8())
                     .object()
                     .value(QStringLiteral("packages"))
                     .toInt(),
                 6);

        run = cli({QStringLiteral("load"), QStringLiteral("--force")});
        QCOMPARE(run.lines.at(1), m_links.at(1) + QStringLiteral("\tnetwork\t3"));

        // Offline, not even a conditional request goes out: the cache answers for itself.
        run = cli({QStringLiteral("load"), QStringLiteral("--offline"), QStringLiteral("--force")});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines.at(0), m_links.at(0) + QStringLiteral("\tcache\t3"));
        QCOMPARE(run.lines.at(1), m_links.at(1) + QStringLiteral("\tcache\t3"));
    }

    void searchUsesTheAppsFilter_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("matches");
        QTest::newRow("name in any case") << QStringList{QStringLiteral("BETA")} << 2;
        QTest::newRow("identifier") << QStringList{QStringLiteral("com.example.")} << 6;
        QTest::newRow("architecture")
            << QStringList{QStringLiteral(" "), QStringLiteral("--arch"), QStringLiteral("arm")} << 2;
        QTest::newRow("nothing") << QStringList{QStringLiteral("zzz")} << 0;
    }
    void searchUsesTheAppsFilter()
    {
        QFETCH(QStringList, args);
        QFETCH(int, matches);
        const Run run = cli(QStringList{QStringLiteral("search")} + args);
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines.size(), matches);
        for (const QString &line : run.lines)
            QCOMPARE(line.count(QLatin1Char('\t')), 4);

        const Run json = cli(QStringList{QStringLiteral("search"), QStringLiteral("--json")} + args);
        QCOMPARE(json.lines.size(), matches);
        for (const QString &line : json.lines) {
            const QJsonObject object = QJsonDocument::fromJson(line.toUtf8()).object();
            QCOMPARE(object.keys().size(), 5);
            QVERIFY(m_links.contains(object.value(QStringLiteral("sourceLink")).toString()));
        }
    }

    void unusableOptionsAreRefused_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("extra argument") << QStringList{QStringLiteral("load"), QStringLiteral("more")};
        QTest::newRow("search without text") << QStringList{QStringLiteral("search")};
        QTest::newRow("root is a file") << QStringList{QStringLiteral("load"), QStringLiteral("--root"),
                                                       QStringLiteral(TALLOWPINE_TEST_DATA "/repo/Packages")};
        QTest::newRow("CA file without certificates")
            << QStringList{QStringLiteral("load"), QStringLiteral("--ca-file"),
                           QStringLiteral(TALLOWPINE_TEST_DATA "/repo/Packages")};
    }
    void unusableOptionsAreRefused()
    {
        QFETCH(QStringList, args);
        const Run run = cli(args);
        QCOMPARE(run.status, 1);
        QVERIFY(!run.err.isEmpty());
        QVERIFY(run.lines.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestLoadCommands)
#include "tst_loadcommands.moc"
