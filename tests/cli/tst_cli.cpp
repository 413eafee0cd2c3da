#include "sources/defaultsources.h"
#include "sources/reposource.h"
#include "sources/sourceediting.h"

#include <QJsonArray>
#include <QJsonDocument>
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
};

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    [[nodiscard]] QString settingsFile() const { return m_dir.filePath(u"settings.ini"_s); }

    Run cli(QStringList args) const
    {
        QProcess process;
        args.prepend(settingsFile());
        args.prepend(u"--settings"_s);
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
        const Run text = cli({u"sources"_s});
        QCOMPARE(text.status, 0);
        const QStringList lines = text.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), defaultSources().size());
        const RepoSource &first = defaultSources().first();
        QCOMPARE(lines.first(), first.name + QLatin1Char('\t') + first.link + u"\tdefault"_s);

        const Run json = cli({u"sources"_s, u"--json"_s});
        QCOMPARE(json.status, 0);
        QCOMPARE(decodeSourceList(json.out.toUtf8()), std::optional(defaultSources()));
    }

    void addAndRemoveGoThroughTheAppsRules()
    {
        const QString link = u"https://cli.example/repo/"_s;
        Run run = cli({u"sources"_s, u"add"_s, link});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.trimmed(), SourceAlerts::added);

        run = cli({u"sources"_s});
        QCOMPARE(run.out.section(QLatin1Char('\n'), 0, 0), u"Cli.example\t"_s + link + u"\tuser"_s);

        const struct
        {
            QStringList args;
            QString err;
        } refusals[] = {
            {{u"add"_s, link.toUpper()}, SourceAlerts::duplicate},
            {{u"add"_s, QString()}, SourceAlerts::emptyLink}, // unlike a missing argument
            {{u"remove"_s, defaultSources().first().link}, SourceAlerts::cannotDeleteDefault},
        };
        for (const auto &refusal : refusals) {
            run = cli(QStringList{u"sources"_s} + refusal.args);
            QCOMPARE(run.status, 1);
            QCOMPARE(run.err.trimmed(), refusal.err);
            QVERIFY(run.out.isEmpty());
        }

        run = cli({u"sources"_s, u"remove"_s, link});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.trimmed(), SourceAlerts::deleted(u"Cli.example"_s));
        run = cli({u"sources"_s, u"remove"_s, link});
        QCOMPARE(run.status, 1);
        QVERIFY(run.err.contains(link));
    }

    void unreadableStoreStillListsAndKeepsTheValue()
    {
        {
            QSettings settings(settingsFile(), QSettings::IniFormat);
            settings.setValue(u"sourcesKey_v2"_s, QByteArray("{not json"));
        }
        const Run run = cli({u"sources"_s});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.count(QLatin1Char('\n')), defaultSources().size());
        QSettings settings(settingsFile(), QSettings::IniFormat);
        QCOMPARE(settings.value(u"sourcesKey_v2.unreadable"_s).toByteArray(), QByteArray("{not json"));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("no command") << QStringList{};
        QTest::newRow("unknown command") << QStringList{u"frobnicate"_s};
        QTest::newRow("unknown option") << QStringList{u"--nope"_s, u"sources"_s};
        QTest::newRow("add without link") << QStringList{u"sources"_s, u"add"_s};
        QTest::newRow("unknown verb") << QStringList{u"sources"_s, u"rename"_s, u"x"_s};
    }
    void usageErrors()
    {
        QFETCH(QStringList, args);
        const Run run = cli(args);
        QCOMPARE(run.status, 1);
        QVERIFY(run.err.contains(u"usage"_s));
    }
};

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
