// Which of the package manager's list files stands in for a source: a wrong pick shows another
// repository's packages under this source, or misses a list that is right there.
#include "device/locallists.h"
#include "fakedevice.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString kRootHideProcursusList = QStringLiteral(
    "roothide.github.io_procursus_dists_iphoneos-arm64e_1900_main_binary-iphoneos-arm64e_Packages");
const QString kProcursusList = u"apt.procurs.us_dists_1900_main_binary-iphoneos-arm64_Packages"_s;

} // namespace

class TestLocalLists : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packagesFileName_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("expected");

        QTest::newRow("flat") << u"https://Repo.example/apt/"_s << u"repo.example_apt_._Packages"_s;
        QTest::newRow("flat, http, one of two slashes dropped")
            << u"http://repo.example//"_s << u"repo.example__._Packages"_s;
        QTest::newRow("schemes removed anywhere")
            << u"https://a.example/?u=http://b/"_s << u"a.example_?u=b_._Packages"_s;
        QTest::newRow("RootHide Procursus, before Procursus")
            << u"https://roothide.github.io/procursus/?via=apt.procurs.us"_s << kRootHideProcursusList;
        QTest::newRow("Procursus, any address") << u"http://apt.procurs.us"_s << kProcursusList;
        QTest::newRow("bootstrap before its host")
            << u"https://roothide.github.io/Bootstrap/"_s << u"roothide.github.io_bootstrap_._Packages"_s;
        QTest::newRow("root-hosted flat, any path on it")
            << u"https://roothide.github.io/x/"_s << u"roothide.github.io_Packages"_s;
        QTest::newRow("BigBoss")
            << u"http://apt.thebigboss.org/repofiles/cydia/"_s
            << u"apt.thebigboss.org_repofiles_cydia_dists_stable_main_binary-iphoneos-arm64_Packages"_s;
        QTest::newRow("BigBoss over https is not the known address")
            << u"https://apt.thebigboss.org/repofiles/cydia/"_s
            << u"apt.thebigboss.org_repofiles_cydia_._Packages"_s;
        QTest::newRow("tests are case-sensitive")
            << u"https://RootHide.github.io/procursus/"_s << u"roothide.github.io_procursus_._Packages"_s;
    }

    void packagesFileName()
    {
        QFETCH(QString, link);
        QTEST(::packagesFileName(link), "expected");
    }

    void pick_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("expected"); // "" for none

        const QString x = u"https://x.example/"_s;
        const QString dists = u"x.example_dists_stable_main_binary-iphoneos-arm64_Packages"_s;
        QTest::newRow("plain before compressed")
            << x << QStringList{"x.example_._Packages.gz", "x.example_._Packages"}
            << u"x.example_._Packages"_s;
        QTest::newRow("longer name wins") << x << QStringList{"x.example_._Packages", dists} << dists;
        QTest::newRow("plain short beats compressed long")
            << x << QStringList{dists + ".gz", "x.example_._Packages"} << u"x.example_._Packages"_s;
        QTest::newRow("upper-case names match")
            << x << QStringList{"X.EXAMPLE_PACKAGES.GZ"} << u"X.EXAMPLE_PACKAGES.GZ"_s;
        QTest::newRow("only Packages lists, only this host")
            << x
            << QStringList{"x.example_._Release", "x.example_._Packages.lz4", "x.example_._Translation-en",
                           "y.example_._Packages", "example_._Packages"}
            << u""_s;
        QTest::newRow("host key needs the separator")
            << u"https://x.example/apt/"_s << QStringList{"x.examplefoo_._Packages", "x.example_o_._Packages"}
            << u"x.example_o_._Packages"_s;
        QTest::newRow("canonical Procursus list for another address")
            << u"https://mirror.example/apt.procurs.us/"_s << QStringList{kProcursusList, "zzz_Packages"}
            << kProcursusList;
        QTest::newRow("equal length ties by name, not listing order")
            << x << QStringList{"x.example_b_Packages", "x.example_a_Packages"} << u"x.example_a_Packages"_s;
        QTest::newRow("empty link matches nothing")
            << u""_s << QStringList{"_Packages", "a_Packages"} << u""_s;
    }

    void pick()
    {
        QFETCH(QString, link);
        QFETCH(QStringList, names);
        QTEST(pickPackagesListFile(names, listKeys(link)).value_or(QString()), "expected");
    }

    void lookup_data()
    {
        QTest::addColumn<QStringList>("tree");
        QTest::addColumn<QString>("expected"); // device path, "" for none

        const QString rootless = u"/var/jb/var/lib/apt/lists"_s;
        const QString plain = u"/var/lib/apt/lists"_s;
        QTest::newRow("no lists folder") << QStringList() << u""_s;
        QTest::newRow("rootless lists first")
            << QStringList{plain + "/repo.example_._Packages", rootless + "/repo.example_._Packages"}
            << rootless + "/repo.example_._Packages";
        QTest::newRow("a file in the way is skipped")
            << QStringList{rootless, plain + "/repo.example_._Packages.gz"}
            << plain + "/repo.example_._Packages.gz";
        QTest::newRow("first lists folder decides, even without a match")
            << QStringList{rootless + "/other_._Packages", plain + "/repo.example_._Packages"} << u""_s;
    }

    void lookup()
    {
        QFETCH(QStringList, tree);
        QFETCH(QString, expected);
        FakeDevice device;
        QVERIFY(device.build(tree));

        const std::optional<QString> found = findLocalPackagesList(device.root(), "https://repo.example/");
        QCOMPARE(found.value_or(QString()), expected.isEmpty() ? QString() : device.hostPath(expected));
        QCOMPARE(found && isGzipListName(*found), expected.endsWith(".gz"));
    }
};

QTEST_GUILESS_MAIN(TestLocalLists)
#include "tst_locallists.moc"
