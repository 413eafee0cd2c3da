#include "app/repoviewmodel.h"
#include "sources/sourcelistfile.h"
#include "sources/sourcelisttransfer.h"

#include "../testfiles.h"
#include "../testplatform.h"

#include <QTest>
#include <QUrl>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QString alpha = u"https://alpha.example/"_s;
const QString beta = u"https://beta.example/"_s;

Platform smallWorld(const TestPlatform &t)
{
    Platform platform = t.platform();
    platform.catalogue =
        QList<RepoSource>{{alpha, u"Alpha"_s, alpha, u"a"_s, true}, {beta, u"Beta"_s, beta, u"b"_s, true}};
    platform.offline = true;
    return platform;
}

QStringList userLinks(const RepoViewModel &model)
{
    QStringList out;
    for (const RepoSource &source : model.sources()) {
        if (!source.isDefault)
            out.append(source.link);
    }
    return out;
}

} // namespace

class TestSourceListTransfer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readingTakesOnlySmallRegularTextFiles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        QTest::newRow("exactly the limit")
            << u"big.txt"_s << QByteArray(maxSourceListFileSize, '\n') << QString();
        QTest::newRow("over the limit") << u"huge.txt"_s << QByteArray(maxSourceListFileSize + 1, '\n')
                                        << u"huge.txt is larger than 1 MiB"_s;
        QTest::newRow("binary") << u"x.sources"_s << QByteArray("\xff\xfe\x00Types", 8)
                                << u"x.sources is not UTF-8 text."_s;
        QTest::newRow("folder") << u"dir.list"_s << QByteArray() << u"dir.list is not a regular file."_s;
        QTest::newRow("fifo") << u"pipe.list"_s << QByteArray() << u"pipe.list is not a regular file."_s;
        QTest::newRow("missing") << u"gone.list"_s << QByteArray() << u"Cannot open gone.list: "_s;
    }
    void readingTakesOnlySmallRegularTextFiles()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        if (name.startsWith(u"dir"_s))
            QVERIFY(QDir().mkpath(path));
        else if (name.startsWith(u"pipe"_s))
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600),
                     0); // no writer: opening must not wait
        else if (!bytes.isEmpty())
            QVERIFY(writeFile(path, bytes));

        // File dialogs hand over URLs; the command line and tests, paths.
        for (const QString &given : {path, QUrl::fromLocalFile(path).toString()}) {
            const SourceListFileText read = readSourceListFile(given);
            QVERIFY2(read.error.startsWith(error) && read.error.isEmpty() == error.isEmpty(),
                     qPrintable(read.error));
            QCOMPARE(read.text, error.isEmpty() ? QString::fromUtf8(bytes) : QString());
        }
    }

    void writingIsWholeOrReportsWhy()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"out.sources"_s);
        QVERIFY(writeFile(path, "old"));
        QCOMPARE(writeSourceListFile(QUrl::fromLocalFile(path).toString(), u"Types: deb\n"_s), QString());
        QCOMPARE(readFile(path), QByteArray("Types: deb\n"));
        QVERIFY(writeSourceListFile(dir.filePath(u"no/such/folder/out.list"_s), u"x"_s)
                    .startsWith(u"Cannot write out.list: "_s));
    }

    void exportTakesTheChosenSources_data()
    {
        QTest::addColumn<QString>("scope");
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("text");
        // Two added sources on top of the catalogue; alpha and the first added one are ticked, and the
        // search hides the ticked alpha.
        QTest::newRow("added as .list")
            << u"added"_s << u"list"_s << u"deb https://two.example/ ./\ndeb https://one.example/ ./\n"_s;
        QTest::newRow("selected and shown, as links")
            << u"selected"_s << u"links"_s << u"https://one.example/\n"_s;
        QTest::newRow("all as links")
            << u"all"_s << u"links"_s
            << u"https://two.example/\nhttps://one.example/\nhttps://alpha.example/\n"
               u"https://beta.example/\n"_s;
        QTest::newRow("unknown scope") << u"mine"_s << u"list"_s << QString();
        QTest::newRow("unknown format") << u"all"_s << u"json"_s << QString();
    }
    void exportTakesTheChosenSources()
    {
        QFETCH(QString, scope);
        QFETCH(QString, format);
        QFETCH(QString, text);
        TestPlatform t;
        RepoViewModel model(smallWorld(t));
        model.addNewSource(u"https://one.example/"_s);
        model.addNewSource(u"https://two.example/"_s);
        model.setSelectedSources({alpha, u"https://one.example/"_s});
        model.setSearchText(u"e"_s); // "One", "Two", "Beta": not "Alpha"

        QCOMPARE(model.exportSources(format, scope), text);
        // The count follows the scope alone.
        if (format != u"json"_s)
            QCOMPARE(model.exportSourceCount(scope), int(text.count(u"https://"_s)));
    }

    void importAddsSavesAndReports()
    {
        TestPlatform t;
        {
            RepoViewModel model(smallWorld(t));
            const bool reload = model.reloadView();
            const QVariantMap report = model.importSourceText(
                u"https://one.example/\nHTTPS://ALPHA.EXAMPLE\nnot a link\ndeb https://two.example/ ./\n"_s);
            QCOMPARE(report.value(u"added"_s).toInt(), 2);
            QCOMPARE(report.value(u"skipped"_s).toInt(), 1);
            QCOMPARE(report.value(u"format"_s).toString(), u"links"_s);
            QCOMPARE(report.value(u"lines"_s).toStringList(),
                     (QStringList{u"Added 2, skipped 1, invalid 1."_s,
                                  u"Line 3: \u2068رابط السورس غير صالح.\u2069 (\u2068not a link\u2069)"_s}));
            QCOMPARE(userLinks(model), (QStringList{u"https://two.example/"_s, u"https://one.example/"_s}));
            QCOMPARE(model.reloadView(), !reload);
            QVERIFY2(!model.showAlert(), "the screen shows the report; no alert on top of it");

            // A file that cannot be read changes nothing and says why.
            const QVariantMap failed = model.importSourceFile(t.dir.filePath(u"missing.list"_s));
            QVERIFY(failed.value(u"error"_s).toString().startsWith(u"Cannot open missing.list"_s));
            QCOMPARE(failed.value(u"lines"_s).toStringList(),
                     QStringList{failed.value(u"error"_s).toString()});
            QCOMPARE(model.importSourceText(u"# nothing\n"_s).value(u"lines"_s).toStringList(),
                     QStringList{u"No links found in the text."_s});
            QCOMPARE(userLinks(model).size(), 2);
        }
        t.reopen();
        RepoViewModel next(smallWorld(t));
        QCOMPARE(userLinks(next), (QStringList{u"https://two.example/"_s, u"https://one.example/"_s}));
    }

    // Each format's round trip is the import and export code's own test; this is the files' wiring.
    void savedExportImportsOnAnotherDevice()
    {
        const QString format = u"sources"_s;
        TestPlatform first;
        RepoViewModel model(smallWorld(first));
        QVERIFY(model.importSourceFile(testData(u"sources/tweaks.list"_s)).value(u"added"_s).toInt() > 1);
        const QString path = first.dir.filePath(u"export."_s + format);
        QCOMPARE(model.saveSourceExport(path, format, u"added"_s), QString());
        QVERIFY(!model.saveSourceExport(path, format, u"nobody"_s).isEmpty());

        // The order comes back as it was: each import puts its last line on top.
        TestPlatform second;
        RepoViewModel other(smallWorld(second));
        const QVariantMap report = other.importSourceFile(QUrl::fromLocalFile(path).toString());
        QCOMPARE(report.value(u"invalid"_s).toInt(), 0);
        QStringList reversed = userLinks(model);
        std::reverse(reversed.begin(), reversed.end());
        QCOMPARE(userLinks(other), reversed);
    }
};

QTEST_GUILESS_MAIN(TestSourceListTransfer)
#include "tst_sourcelisttransfer.moc"
