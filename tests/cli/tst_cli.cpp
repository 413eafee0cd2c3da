#include "app/platform.h"
#include "cli/clicommands.h"
#include "sources/defaultsources.h"
#include "sources/reposource.h"
#include "sources/sourceediting.h"

#include "../testfiles.h"
#include "compression.h"
#include "nginxserver.h"
#include "testcertificates.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

struct Run
{
    int status = -1;
    QString out;
    QString err;
    [[nodiscard]] QStringList lines() const { return out.split(QLatin1Char('\n'), Qt::SkipEmptyParts); }
};

} // namespace

// The sources commands run as the real program; load and search run in process, so the catalogue can
// be swapped for loopback sources: no test ever reaches a real repository.
class TestCli : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    TestCertificates m_certificates;
    QTemporaryDir m_www;
    QTemporaryDir m_home;
    std::unique_ptr<NginxServer> m_nginx;
    QStringList m_links;

    [[nodiscard]] QString settingsFile() const { return m_dir.filePath(u"settings.ini"_s); }

    Run program(QStringList args) const
    {
        QProcess process;
        process.start(QStringLiteral(TALLOWPINE_CLI), QStringList{u"--settings"_s, settingsFile()} + args);
        if (!process.waitForFinished(20000))
            return {};
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    Run cli(const QStringList &args)
    {
        // Later options win, so a test's own --root or --ca-file replaces these.
        const QStringList all = QStringList{u"tallowpine-cli"_s,
                                            u"--settings"_s,
                                            m_home.filePath(u"settings.ini"_s),
                                            u"--data-dir"_s,
                                            m_home.filePath(u"data"_s),
                                            u"--root"_s,
                                            m_home.filePath(u"device"_s),
                                            u"--ca-file"_s,
                                            m_certificates.caFile()} +
                                args;
        Run run;
        QTextStream out(&run.out);
        QTextStream err(&run.err);
        run.status = runCli(all, out, err);
        out.flush();
        err.flush();
        return run;
    }

private Q_SLOTS:
    void init() { QFile::remove(settingsFile()); }

    void freshStoreListsTheCatalogue()
    {
        const Run text = program({u"sources"_s});
        QCOMPARE(text.status, 0);
        const QStringList lines = text.lines();
        QCOMPARE(lines.size(), defaultSources().size());
        const RepoSource &first = defaultSources().first();
        QCOMPARE(lines.first(), first.name + QLatin1Char('\t') + first.link + u"\tdefault"_s);

        const Run json = program({u"sources"_s, u"--json"_s});
        QCOMPARE(json.status, 0);
        QCOMPARE(decodeSourceList(json.out.toUtf8()), std::optional(defaultSources()));
    }

    void addAndRemoveGoThroughTheAppsRules()
    {
        const QString link = u"https://cli.example/repo/"_s;
        Run run = program({u"sources"_s, u"add"_s, link});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.trimmed(), SourceAlerts::added);

        run = program({u"sources"_s});
        QCOMPARE(run.out.section(QLatin1Char('\n'), 0, 0), u"Cli.example\t"_s + link + u"\tuser"_s);

        const std::pair<QStringList, QString> refusals[] = {
            {{u"add"_s, link.toUpper()}, SourceAlerts::duplicate},
            {{u"add"_s, QString()}, SourceAlerts::emptyLink}, // unlike a missing argument
            {{u"remove"_s, defaultSources().first().link}, SourceAlerts::cannotDeleteDefault},
        };
        for (const auto &[args, err] : refusals) {
            run = program(QStringList{u"sources"_s} + args);
            QCOMPARE(run.status, 1);
            QCOMPARE(run.err.trimmed(), err);
            QVERIFY(run.out.isEmpty());
        }

        run = program({u"sources"_s, u"remove"_s, link});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.trimmed(), SourceAlerts::deleted(u"Cli.example"_s));
        run = program({u"sources"_s, u"remove"_s, link});
        QCOMPARE(run.status, 1);
        QVERIFY(run.err.contains(link));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("no command") << QStringList{};
        QTest::newRow("unknown command") << QStringList{u"frobnicate"_s};
        QTest::newRow("unknown option") << QStringList{u"--nope"_s, u"sources"_s};
        QTest::newRow("add without link") << QStringList{u"sources"_s, u"add"_s};
    }
    void usageErrors()
    {
        QFETCH(QStringList, args);
        const Run run = program(args);
        QCOMPARE(run.status, 1);
        QVERIFY(run.err.contains(u"usage"_s));
    }

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
        QCOMPARE(run.lines().size(), 4);
        QCOMPARE(run.lines().mid(0, 3),
                 (QStringList{m_links.at(0) + u"\tnetwork\t3"_s, m_links.at(1) + u"\tnetwork\t3"_s,
                              m_links.at(2) + u"\tnothing\t0"_s}));
        QVERIFY(run.lines().at(3).startsWith(QStringLiteral("total\t3 sources\t6 packages")));

        run = cli({QStringLiteral("load"), QStringLiteral("--json")});
        QCOMPARE(run.status, 0);
        const QJsonObject first = QJsonDocument::fromJson(run.lines().at(0).toUtf8()).object();
        QCOMPARE(first.value(QStringLiteral("link")).toString(), m_links.at(0));
        QCOMPARE(first.value(QStringLiteral("served")).toString(), QStringLiteral("not-modified"));
        QCOMPARE(first.value(QStringLiteral("packages")).toInt(), 3);
        QCOMPARE(QJsonDocument::fromJson(run.lines().last().toUtf8())[u"packages"_s].toInt(), 6);

        run = cli({QStringLiteral("load"), QStringLiteral("--force")});
        QCOMPARE(run.lines().at(1), m_links.at(1) + QStringLiteral("\tnetwork\t3"));

        // Offline, not even a conditional request goes out: the cache answers for itself.
        run = cli({QStringLiteral("load"), QStringLiteral("--offline"), QStringLiteral("--force")});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines().mid(0, 2),
                 (QStringList{m_links.at(0) + u"\tcache\t3"_s, m_links.at(1) + u"\tcache\t3"_s}));
    }

    void searchUsesTheAppsFilter_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("matches");
        QTest::newRow("name in any case") << QStringList{QStringLiteral("BETA")} << 2;
        QTest::newRow("identifier") << QStringList{QStringLiteral("com.example.")} << 6;
        QTest::newRow("architecture")
            << QStringList{QStringLiteral(" "), QStringLiteral("--arch"), QStringLiteral("arm")} << 2;
    }
    void searchUsesTheAppsFilter()
    {
        QFETCH(QStringList, args);
        QFETCH(int, matches);
        const Run run = cli(QStringList{QStringLiteral("search")} + args);
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines().size(), matches);
        for (const QString &line : run.lines())
            QCOMPARE(line.count(QLatin1Char('\t')), 4);

        const Run json = cli(QStringList{QStringLiteral("search"), QStringLiteral("--json")} + args);
        QCOMPARE(json.lines().size(), matches);
        for (const QString &line : json.lines()) {
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
        QVERIFY(run.lines().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
