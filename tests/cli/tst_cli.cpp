#include "sources/defaultsources.h"
#include "sources/reposource.h"
#include "sources/sourceediting.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run
{
    int status = -1;
    QString out;
    QString err;
};

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    [[nodiscard]] QString settingsFile() const { return m_dir.filePath(QStringLiteral("settings.ini")); }

    Run cli(QStringList args) const
    {
        QProcess process;
        args.prepend(settingsFile());
        args.prepend(QStringLiteral("--settings"));
        process.start(QStringLiteral(TALLOWPINE_CLI), args);
        if (!process.waitForFinished(20000))
            return {};
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

private Q_SLOTS:
    void init() { QFile::remove(settingsFile()); }

    void freshStoreListsTheCatalogue()
    {
        const Run text = cli({QStringLiteral("sources")});
        QCOMPARE(text.status, 0);
        const QStringList lines = text.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), defaultSources().size());
        const RepoSource &first = defaultSources().first();
        QCOMPARE(lines.first(), first.name + QLatin1Char('\t') + first.link + QStringLiteral("\tdefault"));

        const Run json = cli({QStringLiteral("sources"), QStringLiteral("--json")});
        QCOMPARE(json.status, 0);
        QCOMPARE(decodeSourceList(json.out.toUtf8()), std::optional(defaultSources()));
    }

    void addAndRemoveGoThroughTheAppsRules()
    {
        const QString link = QStringLiteral("https://cli.example/repo/");
        Run run = cli({QStringLiteral("sources"), QStringLiteral("add"), link});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.trimmed(), SourceAlerts::added);

        run = cli({QStringLiteral("sources")});
        QCOMPARE(run.out.section(QLatin1Char('\n'), 0, 0),
                 QStringLiteral("Cli.example\t") + link + QStringLiteral("\tuser"));

        const struct
        {
            QStringList args;
            QString err;
        } refusals[] = {
            {{QStringLiteral("add"), link.toUpper()}, SourceAlerts::duplicate},
            {{QStringLiteral("add"), QStringLiteral("not a link")}, SourceAlerts::invalidLink},
            {{QStringLiteral("add"), QString()}, SourceAlerts::emptyLink},
            {{QStringLiteral("remove"), defaultSources().first().link}, SourceAlerts::cannotDeleteDefault},
        };
        for (const auto &refusal : refusals) {
            run = cli(QStringList{QStringLiteral("sources")} + refusal.args);
            QCOMPARE(run.status, 1);
            QCOMPARE(run.err.trimmed(), refusal.err);
            QVERIFY(run.out.isEmpty());
        }

        run = cli({QStringLiteral("sources"), QStringLiteral("remove"), link});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.trimmed(), SourceAlerts::deleted(QStringLiteral("Cli.example")));
        run = cli({QStringLiteral("sources"), QStringLiteral("remove"), link});
        QCOMPARE(run.status, 1);
        QVERIFY(run.err.contains(link));
    }

    void unreadableStoreStillListsAndKeepsTheValue()
    {
        {
            QSettings settings(settingsFile(), QSettings::IniFormat);
            settings.setValue(QStringLiteral("sourcesKey_v2"), QByteArray("{not json"));
        }
        const Run run = cli({QStringLiteral("sources")});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.count(QLatin1Char('\n')), defaultSources().size());
        QSettings settings(settingsFile(), QSettings::IniFormat);
        QCOMPARE(settings.value(QStringLiteral("sourcesKey_v2.unreadable")).toByteArray(),
                 QByteArray("{not json"));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("no command") << QStringList{};
        QTest::newRow("unknown command") << QStringList{QStringLiteral("frobnicate")};
        QTest::newRow("unknown option") << QStringList{QStringLiteral("--nope"), QStringLiteral("sources")};
        QTest::newRow("add without link") << QStringList{QStringLiteral("sources"), QStringLiteral("add")};
        QTest::newRow("unknown verb")
            << QStringList{QStringLiteral("sources"), QStringLiteral("rename"), QStringLiteral("x")};
    }
    void usageErrors()
    {
        QFETCH(QStringList, args);
        const Run run = cli(args);
        QCOMPARE(run.status, 1);
        QVERIFY(run.err.contains(QStringLiteral("usage")));
    }
};

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
