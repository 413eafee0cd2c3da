#include "app/repoviewmodel.h"
#include "handoff/handofflinks.h"

#include "../testplatform.h"

#include <QSignalSpy>
#include <QTest>

class TestHandoff : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sourceAndPackageLinks_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("opened"); // empty: nothing opened

        QTest::newRow("sileo adds https") << "sileo"
                                          << "repo.example/apt"
                                          << "sileo://source/https://repo.example/apt";
        QTest::newRow("sileo keeps http") << "sileo"
                                          << "http://repo.example"
                                          << "sileo://source/http://repo.example";
        QTest::newRow("sileo keeps https") << "sileo"
                                           << "https://r.example/"
                                           << "sileo://source/https://r.example/";
        QTest::newRow("sileo prefix test is case-sensitive") << "sileo"
                                                             << "HTTPS://r.example/"
                                                             << "sileo://source/https://HTTPS://r.example/";
        QTest::newRow("zebra adds nothing") << "zebra"
                                            << "repo.example/apt"
                                            << "zbra://sources/add/repo.example/apt";
        QTest::newRow("zebra with query") << "zebra"
                                          << "https://r.example/?a=1&b=2"
                                          << "zbra://sources/add/https://r.example/?a=1&b=2";
        QTest::newRow("cydia") << "cydia"
                               << "https://r.example/"
                               << "cydia://url/https://cydia.saurik.com/api/share#?source=https://r.example/";
        // A fragment cannot hold '#', so the opened URL carries the link's own '#' encoded.
        QTest::newRow("cydia with a fragment in the link")
            << "cydia"
            << "https://r.example/#top"
            << "cydia://url/https://cydia.saurik.com/api/share#?source=https://r.example/%23top";
        QTest::newRow("package") << "package"
                                 << "com.example.tweak"
                                 << "sileo://package/com.example.tweak";
        QTest::newRow("non-ASCII is carried, not refused")
            << "zebra"
            << "https://r.example/مستودع/"
            << "zbra://sources/add/https://r.example/%D9%85%D8%B3%D8%AA%D9%88%D8%AF%D8%B9/";

        for (const char *op : {"sileo", "zebra", "cydia", "package"}) {
            QTest::newRow(qPrintable(QStringLiteral("%1: space").arg(QLatin1String(op))))
                << op << "https://r.example/a b/"
                << "";
            QTest::newRow(qPrintable(QStringLiteral("%1: stray percent").arg(QLatin1String(op))))
                << op << "r.example/%zz"
                << "";
            QTest::newRow(qPrintable(QStringLiteral("%1: bar").arg(QLatin1String(op))))
                << op << "r.example/a|b"
                << "";
        }
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
            QCOMPARE(model.showAlert(), operation == QLatin1String("package"));
            if (model.showAlert())
                QCOMPARE(model.alertMessage(), Handoff::packageOpenFailed);
            return;
        }
        QCOMPARE(t.opener->opened.size(), 1);
        QCOMPARE(t.opener->opened.first().toString(QUrl::FullyEncoded), opened);
        QCOMPARE(feedback.count(), 1);
        QVERIFY(!model.showAlert());
    }

    void emptyPackageIdentifierDoesNothing()
    {
        TestPlatform t;
        RepoViewModel model(t.platform());
        QSignalSpy feedback(&model, &RepoViewModel::feedback);
        model.openPackageInSileo(QString());
        model.openPackageInSileo(QStringLiteral(""));
        QVERIFY(t.opener->opened.isEmpty());
        QCOMPARE(feedback.count(), 0);
        QVERIFY(!model.showAlert());
    }

    void copyingALinkKeepsItUnchanged()
    {
        TestPlatform t;
        RepoViewModel model(t.platform());
        QSignalSpy feedback(&model, &RepoViewModel::feedback);
        const QString link = QStringLiteral("https://r.example/a b/?x=%zz");
        model.copyToClipboard(link);
        QCOMPARE(t.clipboard->texts, QStringList{link});
        QCOMPARE(model.alertMessage(), QStringLiteral("تم نسخ copied ") + link);
        QCOMPARE(feedback.count(), 1);
    }
};

QTEST_GUILESS_MAIN(TestHandoff)
#include "tst_handoff.moc"
