#include "app/repoviewmodel.h"
#include "handoff/deblink.h"
#include "handoff/handofflinks.h"

#include "../testplatform.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class TestHandoff : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void debAddress_data()
    {
        QTest::addColumn<QString>("sourceLink");
        QTest::addColumn<std::optional<QString>>("filename");
        QTest::addColumn<QString>("expected"); // empty: no address
        const auto row = [](const char *tag, const QString &link, const std::optional<QString> &filename,
                            const QString &expected) { QTest::newRow(tag) << link << filename << expected; };
        const QString repo = u"https://repo.example/"_s;

        row("no file name", repo, std::nullopt, {});
        row("empty file name gives the folder", repo, u""_s, u"https://repo.example/"_s);
        row("one slash and ./ both go", repo, u"./debs/a.deb"_s, u"https://repo.example/debs/a.deb"_s);
        row("link without a slash gets one", u"https://repo.example"_s, u"debs/a.deb"_s,
            u"https://repo.example/debs/a.deb"_s);
        row("two slashes keep one", u"https://repo.example//"_s, u"debs/a.deb"_s,
            u"https://repo.example//debs/a.deb"_s);
        row("./ removed once only", repo, u"././a.deb"_s, u"https://repo.example/./a.deb"_s);
        row("absolute file name is not special", repo, u"/pool/a.deb"_s,
            u"https://repo.example//pool/a.deb"_s);
        row("kept as written, not re-encoded", repo, u"debs/a%2Bb.deb"_s,
            u"https://repo.example/debs/a%2Bb.deb"_s);
        row("space is not escaped, so no address", repo, u"debs/my tweak.deb"_s, {});
    }

    void debAddress()
    {
        QFETCH(QString, sourceLink);
        QFETCH(std::optional<QString>, filename);
        QFETCH(QString, expected);

        QCOMPARE(debUrlText(filename, sourceLink), expected);
        const std::optional<QUrl> url = debUrl(filename, sourceLink);
        QCOMPARE(url.has_value(), !expected.isEmpty());
        if (url)
            QCOMPARE(*url, QUrl(expected, QUrl::StrictMode));
    }

    void sourceAndPackageLinks_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("opened"); // empty: nothing opened
        const auto row = [](const char *tag, const QString &operation, const QString &argument,
                            const QString &opened) { QTest::newRow(tag) << operation << argument << opened; };
        const QString cydia = u"cydia://url/https://cydia.saurik.com/api/share#?source="_s;

        row("sileo adds https", u"sileo"_s, u"repo.example/apt"_s,
            u"sileo://source/https://repo.example/apt"_s);
        row("sileo keeps http", u"sileo"_s, u"http://repo.example"_s,
            u"sileo://source/http://repo.example"_s);
        row("sileo prefix test is case-sensitive", u"sileo"_s, u"HTTPS://r.example/"_s,
            u"sileo://source/https://HTTPS://r.example/"_s);
        row("zebra adds nothing", u"zebra"_s, u"repo.example/apt"_s,
            u"zbra://sources/add/repo.example/apt"_s);
        row("cydia", u"cydia"_s, u"https://r.example/"_s, cydia + u"https://r.example/"_s);
        // A fragment cannot hold '#', so the opened URL carries the link's own '#' encoded.
        row("cydia with a fragment in the link", u"cydia"_s, u"https://r.example/#top"_s,
            cydia + u"https://r.example/%23top"_s);
        row("package", u"package"_s, u"com.example.tweak"_s, u"sileo://package/com.example.tweak"_s);
        row("package: empty identifier, silently", u"package"_s, u""_s, {});
        row("non-ASCII is carried, not refused", u"zebra"_s, u"https://r.example/مستودع/"_s,
            u"zbra://sources/add/https://r.example/%D9%85%D8%B3%D8%AA%D9%88%D8%AF%D8%B9/"_s);
        for (const char *op : {"sileo", "zebra", "cydia", "package"})
            QTest::addRow("%s: space", op)
                << QString::fromLatin1(op) << u"https://r.example/a b/"_s << QString();
    }
    void sourceAndPackageLinks()
    {
        QFETCH(QString, operation);
        QFETCH(QString, argument);
        QFETCH(QString, opened);
        TestPlatform t;
        RepoViewModel model(t.platform());
        QSignalSpy feedback(&model, &RepoViewModel::feedback);

        if (operation == QLatin1String("sileo"))
            model.openInSileo(argument);
        else if (operation == QLatin1String("zebra"))
            model.openInZebra(argument);
        else if (operation == QLatin1String("cydia"))
            model.openCydia(argument);
        else
            model.openPackageInSileo(argument);

        if (opened.isEmpty()) {
            QVERIFY(t.opener->opened.isEmpty());
            QCOMPARE(feedback.count(), 0);
            // Only the package hand-off tells the user it could not open anything.
            QCOMPARE(model.showAlert(), operation == QLatin1String("package") && !argument.isEmpty());
            if (model.showAlert())
                QCOMPARE(model.alertMessage(), Handoff::packageOpenFailed);
            return;
        }
        QCOMPARE(t.opener->opened.size(), 1);
        QCOMPARE(t.opener->opened.first().toString(QUrl::FullyEncoded), opened);
        QCOMPARE(feedback.count(), 1);
        QVERIFY(!model.showAlert());
    }

    void copyingALinkKeepsItUnchanged()
    {
        TestPlatform t;
        RepoViewModel model(t.platform());
        QSignalSpy feedback(&model, &RepoViewModel::feedback);
        const QString link = u"https://r.example/a b/?x=%zz"_s;
        model.copyToClipboard(link);
        QCOMPARE(t.clipboard->texts, QStringList{link});
        QCOMPARE(model.alertMessage(), u"تم نسخ copied "_s + link);
        QCOMPARE(feedback.count(), 1);
    }
};

QTEST_GUILESS_MAIN(TestHandoff)
#include "tst_handoff.moc"
