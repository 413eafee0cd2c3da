#include "sources/sourceediting.h"
#include "sources/sourcelinks.h"

#include <QTest>

namespace {

RepoSource userSource(const QString &link, const QString &name = QStringLiteral("User"))
{
    return RepoSource{link, name, link, QStringLiteral("Repos.png"), false};
}

RepoSource builtIn(const QString &link, const QString &name = QStringLiteral("Built In"))
{
    return RepoSource{link, name, link, QStringLiteral("b_icon"), true};
}

} // namespace

class TestSourceEditing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void normalizeLink_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("normalized");
        QTest::newRow("case and slash")
            << QStringLiteral("HTTPS://Repo.Example/Apt/") << QStringLiteral("https://repo.example/apt");
        QTest::newRow("only one slash goes")
            << QStringLiteral("https://repo.example//") << QStringLiteral("https://repo.example/");
        QTest::newRow("blanks and newlines")
            << QStringLiteral(" \t https://r.example/\n") << QStringLiteral("https://r.example");
        QTest::newRow("scheme and www kept")
            << QStringLiteral("http://www.r.example") << QStringLiteral("http://www.r.example");
        QTest::newRow("empty") << QString() << QString();
    }
    void normalizeLink()
    {
        QFETCH(QString, link);
        QFETCH(QString, normalized);
        QCOMPARE(::normalizeLink(link), normalized);
    }

    void dedupeKeepsFirstOccurrenceInOrder()
    {
        const QList<RepoSource> list{
            userSource(QStringLiteral("https://A.example/apt")),
            builtIn(QStringLiteral("https://b.example/")),
            builtIn(QStringLiteral("https://a.example/apt/")),
            userSource(QStringLiteral("https://c.example")),
            builtIn(QStringLiteral("https://B.EXAMPLE")),
        };
        const QList<RepoSource> kept = dedupeByLink(list);
        QCOMPARE(kept.size(), 3);
        QCOMPARE(kept.at(0), list.at(0));
        QCOMPARE(kept.at(1), list.at(1));
        QCOMPARE(kept.at(2), list.at(3));
    }

    void extractName_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("name");
        QTest::newRow("www dropped") << QStringLiteral("https://www.my-repo.example.com/apt/")
                                     << QStringLiteral("My-repo.example.com");
        QTest::newRow("www anywhere")
            << QStringLiteral("https://repo.www.example/") << QStringLiteral("Repo.example");
        QTest::newRow("upper-case host")
            << QStringLiteral("https://REPO.Example/") << QStringLiteral("Repo.example");
        QTest::newRow("no host") << QStringLiteral("https:relative") << QStringLiteral("Unknown Source");
        QTest::newRow("ip address") << QStringLiteral("http://127.0.0.1:8080/")
                                    << QStringLiteral("127.0.0.1");
    }
    void extractName()
    {
        QFETCH(QString, link);
        QFETCH(QString, name);
        QCOMPARE(::extractName(QUrl(link)), name);
    }

    void capitalizedStartsWordsAfterWhiteSpaceOnly()
    {
        QCOMPARE(capitalized(QStringLiteral("hello wORLD.example\tnew")),
                 QStringLiteral("Hello World.example\tNew"));
        QCOMPARE(capitalized(QStringLiteral("élan 🔥x")), QStringLiteral("Élan 🔥x"));
    }

    void addSource_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("alert");
        QTest::addColumn<QString>("name"); // empty: refused
        const QString added = SourceAlerts::added;
        QTest::newRow("empty") << QString() << SourceAlerts::emptyLink << QString();
        QTest::newRow("only blanks is not empty")
            << QStringLiteral("   ") << SourceAlerts::invalidLink << QString();
        QTest::newRow("leading blank")
            << QStringLiteral(" https://new.example/") << SourceAlerts::invalidLink << QString();
        QTest::newRow("space inside")
            << QStringLiteral("https://new.example/my repo/") << SourceAlerts::invalidLink << QString();
        QTest::newRow("no scheme") << QStringLiteral("new.example/apt/") << SourceAlerts::invalidLink
                                   << QString();
        QTest::newRow("other scheme")
            << QStringLiteral("ftp://new.example/") << SourceAlerts::invalidLink << QString();
        QTest::newRow("bad escape") << QStringLiteral("https://new.example/%zz") << SourceAlerts::invalidLink
                                    << QString();
        QTest::newRow("same link") << QStringLiteral("https://repo.example/apt/") << SourceAlerts::duplicate
                                   << QString();
        QTest::newRow("same link upper case")
            << QStringLiteral("HTTPS://REPO.EXAMPLE/APT/") << SourceAlerts::duplicate << QString();
        QTest::newRow("missing slash is another link")
            << QStringLiteral("https://repo.example/apt") << added << QStringLiteral("Repo.example");
        QTest::newRow("http") << QStringLiteral("http://www.old.example/") << added
                              << QStringLiteral("Old.example");
        QTest::newRow("query and fragment")
            << QStringLiteral("https://q.example/apt/?dist=./#x") << added << QStringLiteral("Q.example");
        QTest::newRow("non-ASCII path")
            << QStringLiteral("https://ü.example/مستودع/") << added << QStringLiteral("Ü.example");
    }
    void addSource()
    {
        QFETCH(QString, link);
        QFETCH(QString, alert);
        QFETCH(QString, name);
        const QList<RepoSource> before{builtIn(QStringLiteral("https://repo.example/apt/"))};
        const SourceEdit edit = ::addSource(before, link);
        QCOMPARE(edit.alert, alert);
        if (name.isEmpty()) {
            QVERIFY(!edit.sources);
            return;
        }
        QVERIFY(edit.sources);
        QCOMPARE(edit.sources->size(), 2);
        // Newest first, kept exactly as typed.
        QCOMPARE(edit.sources->first(), (RepoSource{link, name, link, QStringLiteral("Repos.png"), false}));
        QCOMPARE(edit.sources->at(1), before.first());
    }

    void deleteSource_data()
    {
        QTest::addColumn<RepoSource>("target");
        QTest::addColumn<QString>("alert");
        QTest::addColumn<int>("remaining");
        QTest::newRow("user source") << userSource(QStringLiteral("https://u.example/"),
                                                   QStringLiteral("Mine"))
                                     << SourceAlerts::deleted(QStringLiteral("Mine")) << 2;
        QTest::newRow("built-in refused")
            << builtIn(QStringLiteral("https://b.example/")) << SourceAlerts::cannotDeleteDefault << 3;
        QTest::newRow("already gone: silent")
            << userSource(QStringLiteral("https://gone.example/")) << QString() << 3;
        QTest::newRow("same link, other name: not the record")
            << userSource(QStringLiteral("https://u.example/"), QStringLiteral("Renamed")) << QString() << 3;
    }
    void deleteSource()
    {
        QFETCH(RepoSource, target);
        QFETCH(QString, alert);
        QFETCH(int, remaining);
        const QList<RepoSource> before{
            userSource(QStringLiteral("https://u.example/"), QStringLiteral("Mine")),
            builtIn(QStringLiteral("https://b.example/")), userSource(QStringLiteral("https://u2.example/"))};
        const SourceEdit edit = ::deleteSource(before, target);
        QCOMPARE(edit.alert, alert);
        QCOMPARE(edit.sources.value_or(before).size(), remaining);
        QVERIFY(!edit.sources.value_or(before).contains(target) || remaining == 3);
    }

    void deletedAlertEndsWithNameAndFullStop()
    {
        QCOMPARE(SourceAlerts::deleted(QStringLiteral("X")), QStringLiteral("تم حذف السورس X."));
    }
};

QTEST_GUILESS_MAIN(TestSourceEditing)
#include "tst_sourceediting.moc"
