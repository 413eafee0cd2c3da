#include "sources/sourceediting.h"
#include "sources/sourcelinks.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

RepoSource userSource(const QString &link, const QString &name = u"User"_s)
{
    return RepoSource{link, name, link, u"Repos.png"_s, false};
}

RepoSource builtIn(const QString &link, const QString &name = u"Built In"_s)
{
    return RepoSource{link, name, link, u"b_icon"_s, true};
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
        QTest::newRow("case and slash") << u"HTTPS://Repo.Example/Apt/"_s << u"https://repo.example/apt"_s;
        QTest::newRow("only one slash goes") << u"https://repo.example//"_s << u"https://repo.example/"_s;
        QTest::newRow("blanks and newlines") << u" \t https://r.example/\n"_s << u"https://r.example"_s;
        QTest::newRow("scheme and www kept") << u"http://www.r.example"_s << u"http://www.r.example"_s;
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
            userSource(u"https://A.example/apt"_s), builtIn(u"https://b.example/"_s),
            builtIn(u"https://a.example/apt/"_s),   userSource(u"https://c.example"_s),
            builtIn(u"https://B.EXAMPLE"_s),
        };
        QCOMPARE(dedupeByLink(list), (QList{list.at(0), list.at(1), list.at(3)}));
    }

    void extractName_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("name");
        QTest::newRow("www dropped") << u"https://www.my-repo.example.com/apt/"_s << u"My-repo.example.com"_s;
        QTest::newRow("www anywhere") << u"https://repo.www.example/"_s << u"Repo.example"_s;
        QTest::newRow("upper-case host") << u"https://REPO.Example/"_s << u"Repo.example"_s;
        QTest::newRow("no host") << u"https:relative"_s << u"Unknown Source"_s;
        QTest::newRow("ip address") << u"http://127.0.0.1:8080/"_s << u"127.0.0.1"_s;
        // The host as typed, not as Qt lower-cases it: "WWW." is no "www.".
        QTest::newRow("typed case kept") << u"HTTPS://WWW.Example.COM/Apt/"_s << u"Www.example.com"_s;
        QTest::newRow("lower www only") << u"https://www.EXAMPLE.com/"_s << u"Example.com"_s;
        QTest::newRow("user and port") << u"https://User@www.Repo.Example:8443/apt"_s << u"Repo.example"_s;
        QTest::newRow("user, password, query")
            << u"https://u:p@WWW.a.example?x=www.b#www.c"_s << u"Www.a.example"_s;
        QTest::newRow("ipv6 literal") << u"http://[FE80::1]:8080/"_s << u"Fe80::1"_s;
        QTest::newRow("unicode host") << u"https://www.Bücher.example/"_s << u"Bücher.example"_s;
        QTest::newRow("punycode shown readable")
            << u"https://www.xn--bcher-kva.Example/"_s << u"Bücher.example"_s;
        QTest::newRow("host of nothing but www.") << u"https://www./a"_s << u""_s;
        QTest::newRow("no scheme") << u"//WWW.a.example/x"_s << u"Www.a.example"_s;
        QTest::newRow("empty authority") << u"https:///path"_s << u"Unknown Source"_s;
        QTest::newRow("not a web link") << u"mailto:someone@example.com"_s << u"Unknown Source"_s;
    }
    void extractName()
    {
        QFETCH(QString, link);
        QFETCH(QString, name);
        QCOMPARE(::extractName(link), name);
    }

    void capitalizedStartsWordsAfterWhiteSpaceOnly()
    {
        QCOMPARE(capitalized(u"hello wORLD.example\tnew"_s), u"Hello World.example\tNew"_s);
        QCOMPARE(capitalized(u"élan 🔥x"_s), u"Élan 🔥x"_s);
    }

    void addSource_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("alert");
        QTest::addColumn<QString>("name"); // empty: refused
        const auto refused = [](const char *tag, const QString &link, const QString &alert) {
            QTest::newRow(tag) << link << alert << QString();
        };
        const auto added = [](const char *tag, const QString &link, const QString &name) {
            QTest::newRow(tag) << link << SourceAlerts::added << name;
        };
        refused("empty", QString(), SourceAlerts::emptyLink);
        refused("only blanks is not empty", u"   "_s, SourceAlerts::invalidLink);
        refused("leading blank", u" https://new.example/"_s, SourceAlerts::invalidLink);
        refused("space inside", u"https://new.example/my repo/"_s, SourceAlerts::invalidLink);
        refused("no scheme", u"new.example/apt/"_s, SourceAlerts::invalidLink);
        refused("other scheme", u"ftp://new.example/"_s, SourceAlerts::invalidLink);
        refused("bad escape", u"https://new.example/%zz"_s, SourceAlerts::invalidLink);
        refused("same link", u"https://repo.example/apt/"_s, SourceAlerts::duplicate);
        refused("same link upper case", u"HTTPS://REPO.EXAMPLE/APT/"_s, SourceAlerts::duplicate);
        added("missing slash is another link", u"https://repo.example/apt"_s, u"Repo.example"_s);
        added("http", u"http://www.old.example/"_s, u"Old.example"_s);
        added("query and fragment", u"https://q.example/apt/?dist=./#x"_s, u"Q.example"_s);
        added("non-ASCII path", u"https://ü.example/مستودع/"_s, u"Ü.example"_s);
    }
    void addSource()
    {
        QFETCH(QString, link);
        QFETCH(QString, alert);
        QFETCH(QString, name);
        const QList<RepoSource> before{builtIn(u"https://repo.example/apt/"_s)};
        const SourceEdit edit = ::addSource(before, link);
        QCOMPARE(edit.alert, alert);
        if (name.isEmpty()) {
            QVERIFY(!edit.sources);
            return;
        }
        QVERIFY(edit.sources);
        QCOMPARE(edit.sources->size(), 2);
        // Newest first, kept exactly as typed.
        QCOMPARE(edit.sources->first(), (RepoSource{link, name, link, u"Repos.png"_s, false}));
        QCOMPARE(edit.sources->at(1), before.first());
    }

    void deleteSource_data()
    {
        QTest::addColumn<RepoSource>("target");
        QTest::addColumn<QString>("alert");
        QTest::addColumn<int>("remaining");
        QTest::newRow("user source") << userSource(u"https://u.example/"_s, u"Mine"_s)
                                     << u"تم حذف السورس Mine."_s << 2;
        QTest::newRow("built-in refused")
            << builtIn(u"https://b.example/"_s) << SourceAlerts::cannotDeleteDefault << 3;
        QTest::newRow("already gone: silent") << userSource(u"https://gone.example/"_s) << QString() << 3;
        QTest::newRow("same link, other name: not the record")
            << userSource(u"https://u.example/"_s, u"Renamed"_s) << QString() << 3;
    }
    void deleteSource()
    {
        QFETCH(RepoSource, target);
        QFETCH(QString, alert);
        QFETCH(int, remaining);
        const QList<RepoSource> before{userSource(u"https://u.example/"_s, u"Mine"_s),
                                       builtIn(u"https://b.example/"_s),
                                       userSource(u"https://u2.example/"_s)};
        const SourceEdit edit = ::deleteSource(before, target);
        QCOMPARE(edit.alert, alert);
        QCOMPARE(edit.sources.value_or(before).size(), remaining);
        QVERIFY(!edit.sources.value_or(before).contains(target) || remaining == 3);
    }
};

QTEST_GUILESS_MAIN(TestSourceEditing)
#include "tst_sourceediting.moc"
