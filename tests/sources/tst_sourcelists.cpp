#include "sources/reposource.h"
#include "sources/sourceediting.h"
#include "sources/sourcelinks.h"
#include "sources/sourcelistexport.h"
#include "sources/sourcelistimport.h"

#include "../testfiles.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

RepoSource source(const QString &link, bool isDefault = false)
{
    return RepoSource{link, u"Name"_s, link, u"Repos.png"_s, isDefault};
}

QList<int> lines(const QList<SourceListEntry> &entries)
{
    QList<int> out;
    for (const SourceListEntry &entry : entries)
        out.append(entry.line);
    return out;
}

QStringList links(const QList<SourceListEntry> &entries)
{
    QStringList out;
    for (const SourceListEntry &entry : entries)
        out.append(entry.link);
    return out;
}

} // namespace

class TestSourceLists : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void importsEachFormat_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<SourceListFormat>("format");
        QTest::addColumn<QStringList>("added");
        QTest::addColumn<QList<int>>("addedLines");
        QTest::addColumn<QList<int>>("skippedLines");
        QTest::addColumn<QList<int>>("invalidLines");

        const auto file = [](const char *name) {
            return QString::fromUtf8(readFile(testData(u"sources/"_s + QLatin1String(name))));
        };
        QTest::newRow("one-line .list")
            << file("tweaks.list") << SourceListFormat::OneLine
            << QStringList{u"https://repo.chariz.com/"_s, u"https://apt.procurs.us/"_s,
                           u"http://apt.thebigboss.org/repofiles/cydia/"_s,
                           u"https://repo.example.com/tweaks/beta/"_s}
            << QList<int>{2, 6, 7, 8} << QList<int>{3, 10} << QList<int>{11, 12, 13, 14};
        QTest::newRow("deb822 .sources")
            << file("mixed.sources") << SourceListFormat::Deb822
            << QStringList{u"https://deb.example.org/debian/"_s, u"https://repo.example.com/"_s,
                           u"https://mirror.example.net/repo/"_s, u"https://lower.example.com/apt/tweaks/"_s}
            << QList<int>{3, 9, 9, 33} << QList<int>{} << QList<int>{36};
        QTest::newRow("pasted links")
            << file("pasted.txt") << SourceListFormat::Links
            << QStringList{u"https://repo.one.example/"_s, u"https://repo.two.example/apt/"_s,
                           u"https://mixed.example.com/"_s}
            << QList<int>{1, 2, 6} << QList<int>{4} << QList<int>{5, 7};
        QTest::newRow("byte order mark and CR LF")
            << u"\uFEFFTypes: deb\r\nURIs: https://crlf.example.com\r\nSuites: ./\r\n"_s
            << SourceListFormat::Deb822 << QStringList{u"https://crlf.example.com/"_s} << QList<int>{2}
            << QList<int>{} << QList<int>{};
        QTest::newRow("a link first is never deb822")
            << u"https://a.example.com/\nTypes: deb\n"_s << SourceListFormat::Links
            << QStringList{u"https://a.example.com/"_s} << QList<int>{1} << QList<int>{} << QList<int>{2};
        QTest::newRow("nothing usable") << u"\n# only a comment\n\n"_s << SourceListFormat::Links
                                        << QStringList{} << QList<int>{} << QList<int>{} << QList<int>{};
    }
    void importsEachFormat()
    {
        QFETCH(QString, text);
        QFETCH(SourceListFormat, format);
        QFETCH(QStringList, added);
        QFETCH(QList<int>, addedLines);
        QFETCH(QList<int>, skippedLines);
        QFETCH(QList<int>, invalidLines);
        const QList<RepoSource> existing{source(u"https://havoc.app/"_s, true)};

        const SourceListImport result = importSourceList(existing, text);
        QCOMPARE(result.format, format);
        QCOMPARE(links(result.added), added);
        QCOMPARE(lines(result.added), addedLines);
        QCOMPARE(lines(result.skipped), skippedLines);
        QList<int> invalid;
        for (const SourceListProblem &problem : result.invalid) {
            invalid.append(problem.line);
            QVERIFY(!problem.reason.isEmpty());
        }
        QCOMPARE(invalid, invalidLines);

        // The same records addSource() makes, newest first, above what was there.
        QCOMPARE(result.sources.size(), existing.size() + added.size());
        QCOMPARE(result.sources.last(), existing.last());
        for (qsizetype i = 0; i < added.size(); ++i) {
            const QString &link = added.at(added.size() - 1 - i);
            QCOMPARE(result.sources.at(i), addSource({}, link).sources->first());
        }
    }

    void aptEntryLinks_data()
    {
        QTest::addColumn<QString>("uri");
        QTest::addColumn<QString>("suite");
        QTest::addColumn<QString>("link");
        QTest::newRow("exact path below the URI")
            << u"https://a.example/x/"_s << u"./y/"_s << u"https://a.example/x/y/"_s;
        QTest::newRow("root as the path") << u"https://a.example/"_s << u"/"_s << u"https://a.example/"_s;
        QTest::newRow("dists suite with a variable")
            << u"https://a.example/"_s << u"$(ARCH)"_s << u"https://a.example/"_s;
    }
    void aptEntryLinks()
    {
        QFETCH(QString, uri);
        QFETCH(QString, suite);
        QFETCH(QString, link);
        QCOMPARE(linkForAptEntry(uri, suite).value_or(QString()), link);
    }

    void exportReadsBackAsTheSameLinks_data()
    {
        QTest::addColumn<SourceListFormat>("format");
        for (const SourceListFormat format :
             {SourceListFormat::Links, SourceListFormat::OneLine, SourceListFormat::Deb822})
            QTest::newRow(qPrintable(sourceListFormatName(format))) << format;
    }
    void exportReadsBackAsTheSameLinks()
    {
        QFETCH(SourceListFormat, format);
        const QList<RepoSource> mine{source(u"https://flat.example.com/"_s),
                                     source(u"https://no-slash.example.com/apt"_s),
                                     source(u"http://apt.thebigboss.org/repofiles/cydia/"_s, true)};
        const QString text = exportSourceList(mine, format);
        QCOMPARE(sourceListFormatFromName(sourceListFormatName(format)), format);

        const SourceListImport fresh = importSourceList({}, text);
        QCOMPARE(fresh.format, format);
        QVERIFY(fresh.invalid.isEmpty());
        QCOMPARE(fresh.added.size(), mine.size());
        for (qsizetype i = 0; i < mine.size(); ++i)
            QCOMPARE(normalizeLink(fresh.added.at(i).link), normalizeLink(mine.at(i).link));

        const SourceListImport again = importSourceList(mine, text);
        QVERIFY(again.added.isEmpty());
        QCOMPARE(again.skipped.size(), mine.size());
        QCOMPARE(again.sources, mine);
    }
};

QTEST_GUILESS_MAIN(TestSourceLists)
#include "tst_sourcelists.moc"
