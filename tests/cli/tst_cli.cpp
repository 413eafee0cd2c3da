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

    Run program(QStringList args, const QByteArray &input = {}) const
    {
        QProcess process;
        process.start(QStringLiteral(TALLOWPINE_CLI), QStringList{u"--settings"_s, settingsFile()} + args);
        process.write(input);
        process.closeWriteChannel();
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
        QTest::addColumn<QString>("message");
        QTest::newRow("no command") << QStringList{} << u"usage"_s;
        QTest::newRow("unknown command")
            << QStringList{u"frobnicate"_s} << u"unknown command: frobnicate\nusage"_s;
        QTest::newRow("unknown option") << QStringList{u"--nope"_s, u"sources"_s} << u"usage"_s;
        QTest::newRow("add without link") << QStringList{u"sources"_s, u"add"_s} << u"sources add LINK"_s;
        QTest::newRow("import without file") << QStringList{u"sources"_s, u"import"_s} << u"sources import"_s;
        QTest::newRow("unknown format")
            << QStringList{u"sources"_s, u"export"_s, u"--format"_s, u"xml"_s} << u"unknown format: xml"_s;
        QTest::newRow("limit not a number")
            << QStringList{u"search"_s, u"x"_s, u"--limit"_s, u"-1"_s} << u"--limit"_s;
        QTest::newRow("unreadable import")
            << QStringList{u"sources"_s, u"import"_s, u"/nonexistent/tweaks.list"_s} << u"cannot read"_s;
    }
    void usageErrors()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, message);
        const Run run = program(args);
        QCOMPARE(run.status, 1);
        QVERIFY2(run.err.contains(message), qPrintable(run.err));
        QVERIFY(run.out.isEmpty());
    }

    // Each command's help names its own options and no other command's.
    void helpPerCommand_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<QStringList>("hidden");
        QTest::newRow("all") << QStringList{u"--help"_s} << QStringList{u"search TEXT"_s, u"--settings"_s}
                             << QStringList{};
        QTest::newRow("search") << QStringList{u"search"_s, u"--help"_s}
                                << QStringList{u"--limit"_s, u"--installed"_s, u"--arch"_s}
                                << QStringList{u"--format"_s, u"--count"_s, u"sources add"_s};
        QTest::newRow("sources, after a verb")
            << QStringList{u"sources"_s, u"export"_s, u"-h"_s}
            << QStringList{u"--format"_s, u"--selected"_s, u"sources import FILE|-"_s}
            << QStringList{u"--limit"_s, u"--force"_s};
    }
    void helpPerCommand()
    {
        QFETCH(QStringList, args);
        QFETCH(QStringList, shown);
        QFETCH(QStringList, hidden);
        const Run run = program(args);
        QCOMPARE(run.status, 0);
        QVERIFY(run.err.isEmpty());
        for (const QString &text : shown)
            QVERIFY2(run.out.contains(text), qPrintable(text));
        for (const QString &text : hidden)
            QVERIFY2(!run.out.contains(text), qPrintable(text));
    }

    void importReportsEachLine_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("out");
        QTest::addColumn<QStringList>("err");
        // Which lines a file gives is the list code's test; this is how the command reports them.
        QTest::newRow("file") << QStringList{testData(u"sources/pasted.txt"_s)} << QByteArray() << 1
                              << QStringList{u"added\t1\thttps://repo.one.example/"_s,
                                             u"added\t2\thttps://repo.two.example/apt/"_s,
                                             u"added\t6\thttps://mixed.example.com/"_s,
                                             u"skipped\t4\tHTTPS://REPO.ONE.EXAMPLE"_s,
                                             u"links: 3 added, 1 skipped, 2 invalid"_s}
                              << QStringList{u"invalid\t5\t"_s, u"invalid\t7\t"_s};
        QTest::newRow("stdin, only duplicates")
            << QStringList{u"-"_s} << QByteArray("https://new.example.com/\nhttps://NEW.example.com\n") << 0
            << QStringList{u"added\t1\thttps://new.example.com/"_s, u"skipped\t2\thttps://NEW.example.com"_s,
                           u"links: 1 added, 1 skipped, 0 invalid"_s}
            << QStringList{};
    }
    void importReportsEachLine()
    {
        QFETCH(QStringList, args);
        QFETCH(QByteArray, input);
        QFETCH(int, status);
        QFETCH(QStringList, out);
        QFETCH(QStringList, err);
        const Run run = program(QStringList{u"sources"_s, u"import"_s} + args, input);
        QCOMPARE(run.status, status);
        QCOMPARE(run.lines(), out);
        const QStringList errors = run.err.split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(errors.size(), err.size());
        for (qsizetype i = 0; i < err.size(); ++i)
            QVERIFY(errors.at(i).startsWith(err.at(i)));
    }

    // What was imported is what "--selected" exports, and that export reads back as nothing new.
    void importJsonAndExportRoundTrip()
    {
        Run run = program({u"sources"_s, u"import"_s, u"--json"_s, u"-"_s},
                          readFile(testData(u"sources/mixed.sources"_s)));
        QCOMPARE(run.status, 1);
        const QJsonObject report = QJsonDocument::fromJson(run.out.toUtf8()).object();
        QCOMPARE(report.keys(), (QStringList{u"added"_s, u"format"_s, u"invalid"_s, u"skipped"_s}));
        QCOMPARE(report[u"format"_s].toString(), u"sources"_s);
        QCOMPARE(report[u"added"_s].toArray().size(), 4);
        QCOMPARE(report[u"added"_s][0].toObject(),
                 (QJsonObject{{u"line"_s, 3}, {u"link"_s, u"https://deb.example.org/debian/"_s}}));
        QCOMPARE(report[u"invalid"_s].toArray(),
                 (QJsonArray{QJsonObject{{u"line"_s, 36},
                                         {u"text"_s, u"Types: deb"_s},
                                         {u"reason"_s, u"the stanza needs URIs and Suites"_s}}}));

        // Each format's round trip is the import and export code's own test; this is the options' wiring.
        run = program({u"sources"_s, u"export"_s, u"--selected"_s, u"--format"_s, u"links"_s});
        QCOMPARE(run.status, 0);
        run = program({u"sources"_s, u"import"_s, u"--json"_s, u"-"_s}, run.out.toUtf8());
        QCOMPARE(run.status, 0);
        const QJsonObject again = QJsonDocument::fromJson(run.out.toUtf8()).object();
        QCOMPARE(again[u"format"_s].toString(), u"links"_s);
        QCOMPARE(again[u"added"_s].toArray().size(), 0);
        QCOMPARE(again[u"skipped"_s].toArray().size(), 4);
        run = program({u"sources"_s, u"export"_s});
        QCOMPARE(run.lines().size(), defaultSources().size() + 4);
        QCOMPARE(run.lines().first(), u"deb https://lower.example.com/apt/tweaks/ ./"_s);
    }

    // "parse" the way scripts use it: one of each output form (the parser itself is held against every
    // golden file elsewhere), and refusals that print nothing and do not crash.
    void parseCommand_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("out");
        const auto index = [](const char *name) { return testData(u"index/"_s + QLatin1String(name)); };
        const QString jailbreak = index("jailbreak.Packages");
        const QString debian = index("debian.Packages");
        const QString empty = m_dir.filePath(u"Packages"_s);
        QVERIFY(writeFile(empty, {}));
        // A ".gz" that does not decode is refused; anything else is text (the parser's tests feed it junk).
        const QString junk = m_dir.filePath(u"junk.gz"_s);
        QVERIFY(writeFile(junk, "\x1f\x8b\x08\x00 not a stream"));
        QTest::newRow("json") << QStringList{u"--json"_s, u"--source"_s, u"https://repo.example.com/"_s,
                                             jailbreak}
                              << 0 << readFile(index("jailbreak.jsonl"));
        QTest::newRow("count") << QStringList{u"--count"_s, jailbreak} << 0 << "8\n"_ba;
        QTest::newRow("count of an empty file") << QStringList{u"--count"_s, empty} << 0 << "0\n"_ba;
        QTest::newRow("table") << QStringList{debian} << 0 << "0ad\t0.0.26-3\t-\n0ad-data\t0.0.26-1\t-\n"_ba;
        QTest::newRow("no file") << QStringList{} << 1 << QByteArray();
        QTest::newRow("two files") << QStringList{debian, index("latin1.Packages")} << 1 << QByteArray();
        QTest::newRow("count and json")
            << QStringList{u"--count"_s, u"--json"_s, debian} << 1 << QByteArray();
        QTest::newRow("missing file") << QStringList{index("missing.Packages")} << 1 << QByteArray();
        QTest::newRow("folder") << QStringList{u"--count"_s, index("")} << 1 << QByteArray();
        QTest::newRow("undecodable .gz") << QStringList{u"--json"_s, junk} << 1 << QByteArray();
    }
    void parseCommand()
    {
        QFETCH(QStringList, args);
        QFETCH(int, status);
        QFETCH(QByteArray, out);
        const Run run = program(QStringList{u"parse"_s} + args);
        QCOMPARE(run.status, status);
        QCOMPARE(run.out.toUtf8(), out);
        QCOMPARE(run.err.isEmpty(), status == 0);
    }

    void initTestCase()
    {
        QVERIFY(m_certificates.isValid());
        const QByteArray index = readFile(testData(QStringLiteral("repo/Packages")));
        QVERIFY(writeFile(m_www.filePath(QStringLiteral("one/Packages")), index));
        QVERIFY(writeFile(m_www.filePath(QStringLiteral("two/Packages.gz")), rawDeflate(index)));
        // Beta, served by both sources, is installed; alpha is not.
        QVERIFY(writeFile(m_home.filePath(u"device/var/lib/dpkg/status"_s),
                          "Package: com.example.beta\nStatus: install ok installed\n\n"
                          "Package: com.example.alpha\nStatus: purge ok not-installed\n"));
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
        // Link, how it was served, packages, then its health: outcome, status, bytes, (ms,) problem.
        const auto facts = [](const QString &line) {
            QStringList columns = line.split(u'\t');
            if (columns.size() == 8)
                columns.removeAt(6);
            return columns.join(u'\t');
        };
        Run run = cli({QStringLiteral("load"), QStringLiteral("--progress")});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines().size(), 4); // no bar when standard error is not a terminal
        QCOMPARE(facts(run.lines().at(0)), m_links.at(0) + u"\tnetwork\t3\tdownloaded\t200\t540\t-"_s);
        QVERIFY(facts(run.lines().at(1)).startsWith(m_links.at(1) + u"\tnetwork\t3\tdownloaded\t200\t"_s));
        QCOMPARE(facts(run.lines().at(2)),
                 m_links.at(2) + u"\tnothing\t0\tfailed\t0\t0\tnot an https link"_s);
        QVERIFY(run.lines().at(3).startsWith(QStringLiteral("total\t3 sources\t6 packages")));

        run = cli({QStringLiteral("load"), QStringLiteral("--json")});
        QCOMPARE(run.status, 0);
        const QJsonObject first = QJsonDocument::fromJson(run.lines().at(0).toUtf8()).object();
        QCOMPARE(first.value(QStringLiteral("link")).toString(), m_links.at(0));
        QCOMPARE(first.value(QStringLiteral("served")).toString(), QStringLiteral("not-modified"));
        QCOMPARE(first.value(QStringLiteral("packages")).toInt(), 3);
        QCOMPARE(first.value(u"outcome"_s).toString(), u"not-modified"_s);
        QCOMPARE(first.value(u"status"_s).toInt(), 304);
        QVERIFY(first.value(u"cacheUpdatedAt"_s).toDouble() > 1.7e9);
        QCOMPARE(first.value(u"problem"_s).toString(), QString());
        QCOMPARE(QJsonDocument::fromJson(run.lines().last().toUtf8())[u"packages"_s].toInt(), 6);

        run = cli({QStringLiteral("load"), QStringLiteral("--force")});
        QVERIFY(run.lines().at(1).startsWith(m_links.at(1) + QStringLiteral("\tnetwork\t3\t")));

        // Offline, not even a conditional request goes out: the cache answers for itself.
        run = cli({QStringLiteral("load"), QStringLiteral("--offline"), QStringLiteral("--force")});
        QCOMPARE(run.status, 0);
        for (int i : {0, 1})
            QVERIFY(run.lines().at(i).startsWith(m_links.at(i) + u"\tcache\t3\tcache\t0\t0\t"_s));
        QVERIFY(run.lines().at(0).endsWith(u"\toffline"_s));
    }

    void searchUsesTheAppsFilter_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("matches");
        QTest::newRow("name in any case") << QStringList{QStringLiteral("BETA")} << 2;
        QTest::newRow("architecture")
            << QStringList{QStringLiteral(" "), QStringLiteral("--arch"), QStringLiteral("arm")} << 2;
        QTest::newRow("limit") << QStringList{u"com.example."_s, u"--limit"_s, u"4"_s} << 4;
        QTest::newRow("installed only") << QStringList{u"a"_s, u"--installed"_s} << 2;
        QTest::newRow("installed, limited")
            << QStringList{u"a"_s, u"--installed"_s, u"--limit"_s, u"1"_s} << 1;
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
