// Root resolution decides which status database and which lists folder the app reads; a wrong order or
// a missed RootHide folder silently shows a device as having nothing installed.
#include "device/jailbreakroot.h"
#include "fakedevice.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString kAppGroup = u"/var/mobile/Containers/Shared/AppGroup"_s;
const QString kAppData = u"/var/mobile/Containers/Data/Application"_s;
const QStringList kFixedBases{"/.jbroot", "/private/.jbroot", "/var/jb", "/private/var/jb"};

QStringList withPrivate(const QStringList &paths)
{
    QStringList result;
    for (const QString &path : paths)
        result << path << u"/private"_s + path;
    return result;
}

} // namespace

class TestJailbreakRoot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void basesFrom_data()
    {
        QTest::addColumn<QStringList>("discovered");
        QTest::addColumn<QStringList>("expected");

        const QString x = kAppGroup + "/.jbroot-X";
        const QString y = kAppData + "/.jbroot-Y";
        QTest::newRow("nothing found") << QStringList() << kFixedBases;
        QTest::newRow("found ones follow, in order")
            << QStringList{y, x} << kFixedBases + withPrivate({y, x});
        QTest::newRow("private base has no second form")
            << QStringList{"/private/z"} << kFixedBases + QStringList{"/private/z"};
        QTest::newRow("duplicates dropped") << QStringList{"/var/jb", x, x} << kFixedBases + withPrivate({x});
    }

    void basesFrom()
    {
        QFETCH(QStringList, discovered);
        QTEST(rhBasesFrom(discovered), "expected");
    }

    void candidates_data()
    {
        QTest::addColumn<QStringList>("bases");
        QTest::addColumn<QString>("relative");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("status without RootHide")
            << kFixedBases << u"var/lib/dpkg/status"_s
            << withPrivate(
                   {"/.jbroot/var/lib/dpkg/status", "/var/jb/var/lib/dpkg/status", "/var/lib/dpkg/status"});
        QTest::newRow("leading slash doubles")
            << QStringList{"/var/jb"} << u"/x"_s << withPrivate({"/var/jb//x", "//x"});
        QTest::newRow("private path also yields its plain form, trailing slash joins")
            << QStringList{"/private/z", "/a/"} << u"x"_s
            << QStringList{"/private/z/x", "/z/x", "/a/x", "/private/a/x", "/x", "/private/x"};
    }

    void candidates()
    {
        QFETCH(QStringList, bases);
        QFETCH(QString, relative);
        QTEST(rhCandidatePathsFromBases(bases, relative), "expected");
    }

    void discoveredBases_data()
    {
        QTest::addColumn<QStringList>("tree");
        QTest::addColumn<QStringList>("found");

        QTest::newRow("only first-level folders with the exact prefix")
            << QStringList{kAppGroup + "/.jbroot-B/",   kAppGroup + "/.jbroot-A/",
                           kAppGroup + "/.jbroot-file", kAppGroup + "/.JBROOT-UPPER/",
                           kAppGroup + "/.jbroot/",     kAppGroup + "/u/.jbroot-deep/"}
            << QStringList{kAppGroup + "/.jbroot-A", kAppGroup + "/.jbroot-B"};
        QTest::newRow("shared containers before app data")
            << QStringList{kAppData + "/.jbroot-A/", kAppGroup + "/.jbroot-Z/"}
            << QStringList{kAppGroup + "/.jbroot-Z", kAppData + "/.jbroot-A"};
        QTest::newRow("link to a folder counts, dangling link does not")
            << QStringList{kAppGroup + "/real/", kAppGroup + "/.jbroot-L -> real",
                           kAppGroup + "/.jbroot-D -> gone"}
            << QStringList{kAppGroup + "/.jbroot-L"};
        QTest::newRow("containers are files") << QStringList{kAppGroup, kAppData} << QStringList();
        QTest::newRow("looping roots and FIFOs are skipped")
            << QStringList{kAppGroup + "/.jbroot-B -> .jbroot-B", kAppGroup + "/.jbroot-F |",
                           kAppData + "/.jbroot-C/"}
            << QStringList{kAppData + "/.jbroot-C"};
    }

    void discoveredBases()
    {
        QFETCH(QStringList, tree);
        QFETCH(QStringList, found);
        FakeDevice device;
        QVERIFY(device.build(tree));
        QCOMPARE(rhDynamicJbrootBases(device.root()), kFixedBases + withPrivate(found));
    }

    void resolveAnswersHostPaths()
    {
        FakeDevice device;
        const QString lists = kAppData + "/.jbroot-0123/var/lib/apt/lists";
        // A folder is no file, and a link to a file is one.
        QVERIFY(device.build({"/var/lib/dpkg/status", "/private/var/jb/var/lib/dpkg/saved",
                              "/private/var/jb/var/lib/dpkg/status -> saved", lists + "/"}));

        QCOMPARE(resolveDeviceFile(device.root(), "var/lib/dpkg/status").value_or(QString()),
                 device.hostPath("/private/var/jb/var/lib/dpkg/status"));
        QCOMPARE(resolveDeviceDirectory(device.root(), "var/lib/apt/lists").value_or(QString()),
                 device.hostPath(lists));
        QVERIFY(!resolveDeviceFile(device.root(), "var/lib/apt/lists"));
    }

    void displayPath_data()
    {
        QTest::addColumn<QStringList>("tree");
        QTest::addColumn<QString>("expected");

        QTest::newRow("nothing present") << QStringList() << u"/x"_s;
        QTest::newRow("rootless before plain root")
            << QStringList{"/x", "/private/var/jb/x"} << u"/private/var/jb/x"_s;
        QTest::newRow("jbroot first, folders count")
            << QStringList{"/.jbroot/x/", "/var/jb/x"} << u"/.jbroot/x"_s;
        QTest::newRow("no RootHide discovery") << QStringList{kAppGroup + "/.jbroot-A/x"} << u"/x"_s;
    }

    void displayPath()
    {
        QFETCH(QStringList, tree);
        FakeDevice device;
        QVERIFY(device.build(tree));
        QTEST(rhDisplayPath(device.root(), "x"), "expected");
        QTEST(rhDisplayPath(device.root(), "/x"), "expected");
    }
};

QTEST_GUILESS_MAIN(TestJailbreakRoot)
#include "tst_jailbreakroot.moc"
