#include "index/loadhealth.h"
#include "sources/sourcehealthmodel.h"

#include <QAbstractItemModelTester>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr double kNow = 1'800'000'000;

LoadHealth health(HealthOutcome outcome, const QString &problem = {})
{
    LoadHealth h;
    h.outcome = outcome;
    h.problem = problem;
    return h;
}

} // namespace

class TestSourceHealth : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void summaries_data()
    {
        QTest::addColumn<LoadHealth>("health");
        QTest::addColumn<QString>("summary");
        LoadHealth downloaded = health(HealthOutcome::Downloaded);
        downloaded.httpStatus = 200;
        downloaded.bytes = 1'234'567;
        downloaded.milliseconds = 340;
        QTest::newRow("downloaded") << downloaded << u"Downloaded: HTTP 200, 1.2 MB in 340 ms"_s;
        LoadHealth cached = health(HealthOutcome::FromCache, u"timed out"_s);
        cached.cacheUpdatedAt = kNow - 3 * 3600 - 5;
        QTest::newRow("cache with its age") << cached << u"From cache, 3 hours old: timed out"_s;
        LoadHealth unchanged = health(HealthOutcome::NotModified);
        unchanged.cacheUpdatedAt = kNow - 90;
        QTest::newRow("304") << unchanged << u"Not modified (304), from cache, 90 seconds old"_s;
        QTest::newRow("lists") << health(HealthOutcome::FromLists, u"HTTP 404"_s)
                               << u"From the package manager's lists: HTTP 404"_s;
        QTest::newRow("failed") << health(HealthOutcome::Failed, u"host not found"_s)
                                << u"Failed: host not found"_s;
    }
    void summaries()
    {
        QFETCH(LoadHealth, health);
        QFETCH(QString, summary);
        QCOMPARE(healthSummary(health, kNow), summary);
    }

    void recordsRoundTripAndGarbageIsNoRecord()
    {
        HealthRecords records;
        LoadHealth full = health(HealthOutcome::FromCache, u"TLS error: The certificate has expired"_s);
        full.httpStatus = 503;
        full.bytes = qint64(5) << 32; // past 32 bits
        full.milliseconds = 25000;
        full.cacheUpdatedAt = 1.5;
        full.packages = 12;
        full.checkedAt = kNow;
        records.insert(u"https://repo.example.com/"_s, full);
        records.insert(u"https://other.example/"_s, health(HealthOutcome::Downloaded));
        QCOMPARE(decodeHealthRecords(encodeHealthRecords(records)), records);

        for (const QByteArray &bad : {QByteArray("garbage"), QByteArray(), QByteArray("[]"),
                                      QByteArray(R"({"version":2,"sources":{"a":{"outcome":"failed"}}})")})
            QCOMPARE(decodeHealthRecords(bad), HealthRecords());
        // A record that does not say how the load ended is dropped; the others stay.
        const HealthRecords partial = decodeHealthRecords(
            R"({"version":1,"sources":{"a":{"outcome":"exploded"},"b":{"outcome":"lists"},"c":7}})");
        QCOMPARE(partial.keys(), QList<QString>{u"b"_s});
    }

    void worstFirstAndANewerRecordWins()
    {
        SourceHealthModel model([] { return kNow; });
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const auto source = [](const char *name) {
            const QString link = u"https://"_s + QLatin1String(name) + u".example/"_s;
            return RepoSource{link, QString::fromLatin1(name), link, u"Repos.png"_s, false};
        };
        model.setSources({source("fresh"), source("dead"), source("never"), source("stale"), source("listed"),
                          source("Alpha"), source("cached")});
        model.record(source("fresh").link, health(HealthOutcome::Downloaded));
        model.record(source("Alpha").link, health(HealthOutcome::Downloaded));
        model.record(source("dead").link, health(HealthOutcome::Failed, u"HTTP 410"_s));
        model.record(source("stale").link, health(HealthOutcome::FromCache, u"timed out"_s));
        model.record(source("listed").link, health(HealthOutcome::FromLists));
        model.record(source("cached").link, health(HealthOutcome::NotModified));
        // Read back from disk after this run's first load: the newer record stays.
        model.restore({{source("fresh").link, health(HealthOutcome::Failed, u"old"_s)}});
        QStringList order;
        for (int row = 0; row < model.rowCount(); ++row)
            order.append(model.index(row).data(SourceHealthModel::NameRole).toString());
        QCOMPARE(order, (QStringList{u"dead"_s, u"stale"_s, u"never"_s, u"listed"_s, u"cached"_s, u"Alpha"_s,
                                     u"fresh"_s}));
        QVERIFY(model.diagnostics(source("dead").link).contains(u"Problem: HTTP 410"_s));
    }
};

QTEST_GUILESS_MAIN(TestSourceHealth)
#include "tst_sourcehealth.moc"
