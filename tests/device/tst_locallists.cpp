// Which of the package manager's list files stands in for a source: a wrong pick shows another
// repository's packages under this source, or misses a list that is right there.
#include "device/locallists.h"
#include "fakedevice.h"

#include <QTest>

namespace {

const QString kRootHideProcursusList = QStringLiteral(
    "roothide.github.io_procursus_dists_iphoneos-arm64e_1900_main_binary-iphoneos-arm64e_Packages");
const QString kProcursusList =
    QStringLiteral("apt.procurs.us_dists_1900_main_binary-iphoneos-arm64_Packages");

} // namespace

class TestLocalLists : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packagesFileName_data();
    void packagesFileName();
    void pick_data();
    void pick();
    void lookup_data();
    void lookup();
};

void TestLocalLists::packagesFileName_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("expected");

    QTest::newRow("flat") << "https://Repo.example/apt/"
                          << "repo.example_apt_._Packages";
    QTest::newRow("flat, http, one of two slashes dropped") << "http://repo.example//"
                                                            << "repo.example__._Packages";
    QTest::newRow("schemes removed anywhere") << "https://a.example/?u=http://b/"
                                              << "a.example_?u=b_._Packages";
    QTest::newRow("RootHide Procursus, before Procursus")
        << "https://roothide.github.io/procursus/?via=apt.procurs.us" << kRootHideProcursusList;
    QTest::newRow("Procursus, any address") << "http://apt.procurs.us" << kProcursusList;
    QTest::newRow("bootstrap before its host") << "https://roothide.github.io/Bootstrap/"
                                               << "roothide.github.io_bootstrap_._Packages";
    QTest::newRow("root-hosted flat, any path on it") << "https://roothide.github.io/x/"
                                                      << "roothide.github.io_Packages";
    QTest::newRow("BigBoss")
        << "http://apt.thebigboss.org/repofiles/cydia/"
        << "apt.thebigboss.org_repofiles_cydia_dists_stable_main_binary-iphoneos-arm64_Packages";
    QTest::newRow("BigBoss over https is not the known address")
        << "https://apt.thebigboss.org/repofiles/cydia/"
        << "apt.thebigboss.org_repofiles_cydia_._Packages";
    QTest::newRow("tests are case-sensitive") << "https://RootHide.github.io/procursus/"
                                              << "roothide.github.io_procursus_._Packages";
}

void TestLocalLists::packagesFileName()
{
    QFETCH(QString, link);
    QTEST(::packagesFileName(link), "expected");
}

void TestLocalLists::pick_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QString>("expected"); // "" for none

    const QString x = QStringLiteral("https://x.example/");
    const QString dists = QStringLiteral("x.example_dists_stable_main_binary-iphoneos-arm64_Packages");
    QTest::newRow("plain before compressed")
        << x << QStringList{"x.example_._Packages.gz", "x.example_._Packages"} << "x.example_._Packages";
    QTest::newRow("longer name wins") << x << QStringList{"x.example_._Packages", dists} << dists;
    QTest::newRow("plain short beats compressed long")
        << x << QStringList{dists + ".gz", "x.example_._Packages"} << "x.example_._Packages";
    QTest::newRow("upper-case names match")
        << x << QStringList{"X.EXAMPLE_PACKAGES.GZ"} << "X.EXAMPLE_PACKAGES.GZ";
    QTest::newRow("only Packages lists, only this host")
        << x
        << QStringList{"x.example_._Release", "x.example_._Packages.lz4", "x.example_._Translation-en",
                       "y.example_._Packages", "example_._Packages"}
        << "";
    QTest::newRow("host key needs the separator")
        << "https://x.example/apt/" << QStringList{"x.examplefoo_._Packages", "x.example_o_._Packages"}
        << "x.example_o_._Packages";
    QTest::newRow("canonical Procursus list for another address")
        << "https://mirror.example/apt.procurs.us/" << QStringList{kProcursusList, "zzz_Packages"}
        << kProcursusList;
    QTest::newRow("canonical RootHide Procursus list")
        << "https://mirror.example/roothide.github.io/procursus/" << QStringList{kRootHideProcursusList}
        << kRootHideProcursusList;
    QTest::newRow("equal length ties by name, not listing order")
        << x << QStringList{"x.example_b_Packages", "x.example_a_Packages"} << "x.example_a_Packages";
    QTest::newRow("empty link matches nothing") << "" << QStringList{"_Packages", "a_Packages"} << "";
}

void TestLocalLists::pick()
{
    QFETCH(QString, link);
    QFETCH(QStringList, names);
    QTEST(pickPackagesListFile(names, listKeys(link)).value_or(QString()), "expected");
}

void TestLocalLists::lookup_data()
{
    QTest::addColumn<QStringList>("tree");
    QTest::addColumn<QString>("expected"); // device path, "" for none

    const QString rootless = QStringLiteral("/var/jb/var/lib/apt/lists");
    const QString plain = QStringLiteral("/var/lib/apt/lists");
    QTest::newRow("no lists folder") << QStringList() << "";
    QTest::newRow("rootless lists first")
        << QStringList{plain + "/repo.example_._Packages", rootless + "/repo.example_._Packages"}
        << rootless + "/repo.example_._Packages";
    QTest::newRow("a file in the way is skipped")
        << QStringList{rootless, plain + "/repo.example_._Packages.gz"}
        << plain + "/repo.example_._Packages.gz";
    QTest::newRow("first lists folder decides, even without a match")
        << QStringList{rootless + "/other_._Packages", plain + "/repo.example_._Packages"} << "";
}

void TestLocalLists::lookup()
{
    QFETCH(QStringList, tree);
    QFETCH(QString, expected);
    FakeDevice device;
    QVERIFY(device.build(tree));

    const std::optional<QString> found = findLocalPackagesList(device.root(), "https://repo.example/");
    QCOMPARE(found.value_or(QString()), expected.isEmpty() ? QString() : device.hostPath(expected));
    QCOMPARE(found && isGzipListName(*found), expected.endsWith(".gz"));
}

QTEST_GUILESS_MAIN(TestLocalLists)
#include "tst_locallists.moc"
