// Broken device trees: links that lead nowhere or in circles, folders and FIFOs where files belong, a
// status file with one enormous block (broken root folders are in tst_jailbreakroot). Each must end quietly
// in "nothing here" or in the next candidate, and none may leave a thread waiting for ever.
#include "device/installedpackages.h"
#include "device/jailbreakroot.h"
#include "device/locallists.h"
#include "fakedevice.h"
#include "index/indexdownload.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString kLink = u"https://repo.example/"_s;
const QString kLists = u"/var/jb/var/lib/apt/lists"_s;
const QString kExpected = kLists + u"/repo.example_._Packages"_s;
const QString kOtherList = kLists + u"/repo.example_dists_stable_main_binary-iphoneos-arm64_Packages"_s;
const QString kStatus = u"/var/jb/var/lib/dpkg/status"_s;
const QString kPlainStatus = u"/var/lib/dpkg/status"_s;

QByteArray installed(const char *name, const QByteArray &extra = {})
{
    return "Package: " + QByteArray(name) + "\nStatus: install ok installed\n" + extra + "\n";
}

} // namespace

class TestDeviceFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lists_data()
    {
        QTest::addColumn<QStringList>("tree");
        QTest::addColumn<QString>("expected"); // device path of the list that serves, "" for none

        QTest::newRow("lists folder is a file") << QStringList{kLists} << u""_s;
        QTest::newRow("dangling link, another list serves")
            << QStringList{kExpected + " -> gone", kOtherList} << kOtherList;
        QTest::newRow("link to itself") << QStringList{kExpected + " -> repo.example_._Packages"} << u""_s;
        QTest::newRow("link loop of two, another list serves")
            << QStringList{kExpected + " -> repo.example_x_Packages",
                           kLists + "/repo.example_x_Packages -> repo.example_._Packages", kOtherList}
            << kOtherList;
        QTest::newRow("FIFO, another list serves") << QStringList{kExpected + " |", kOtherList} << kOtherList;
        QTest::newRow("folder, another list serves")
            << QStringList{kExpected + "/", kOtherList} << kOtherList;
        QTest::newRow("link to a saved list serves")
            << QStringList{kLists + "/saved", kExpected + " -> saved"} << kExpected;
    }

    void lists()
    {
        QFETCH(QStringList, tree);
        QFETCH(QString, expected);
        FakeDevice device;
        QVERIFY(device.build(tree));
        if (!expected.isEmpty()) {
            const QString target = QFileInfo(device.hostPath(expected)).canonicalFilePath();
            QVERIFY(writeFile(target, "Package: good\n"));
        }

        const auto found = device.finishesInTime([&] { return findLocalPackagesList(device.root(), kLink); });
        QVERIFY2(found, "the lookup did not return");
        QCOMPARE(found->value_or(QString()), expected.isEmpty() ? QString() : device.hostPath(expected));

        // The whole load, offline: the list is read and parsed, or the source quietly has nothing.
        QTemporaryDir cache;
        const LoadEnvironment environment{cache.filePath(u"RepoPackages"_s), device.root(), {}, true};
        const auto loaded = device.finishesInTime([&] {
            return loadWithoutNetwork(planFetch(kLink, false, environment), environment.deviceRoot, false);
        });
        QVERIFY2(loaded, "the load did not return");
        QCOMPARE(loaded->servedFrom, expected.isEmpty() ? ServedFrom::Nothing : ServedFrom::Lists);
        QCOMPARE(loaded->packages.size(), expected.isEmpty() ? 0 : 1);
    }

    void status_data()
    {
        QTest::addColumn<QStringList>("tree");
        QTest::addColumn<QByteArray>("content"); // of the plain status file; null for none
        QTest::addColumn<bool>("found");
        QTest::addColumn<QStringList>("expected");

        const QByteArray a = installed("a");
        QTest::newRow("no status file") << QStringList() << QByteArray() << false << QStringList();
        QTest::newRow("folder in the way, the next candidate serves")
            << QStringList{kStatus + "/"} << a << true << QStringList{"a"};
        QTest::newRow("rootless first") << QStringList{kStatus} << a << true << QStringList();
        QTest::newRow("not UTF-8") << QStringList() << "Package: caf\xE9\nStatus: install ok installed\n"_ba
                                   << false << QStringList();
        QTest::newRow("dangling link")
            << QStringList{kStatus + " -> gone"} << QByteArray() << false << QStringList();
        QTest::newRow("link to itself, the next candidate serves")
            << QStringList{kStatus + " -> status"} << a << true << QStringList{"a"};
        QTest::newRow("link loop of two")
            << QStringList{kStatus + " -> other", "/var/jb/var/lib/dpkg/other -> status"} << QByteArray()
            << false << QStringList();
        // The first candidate that exists decides; one that cannot be read gives nothing, not the next.
        QTest::newRow("FIFO ahead of a status file")
            << QStringList{kStatus + " |"} << a << false << QStringList();
        QTest::newRow("empty") << QStringList() << ""_ba << true << QStringList();

        // 20 MB in one block: one line, many short lines, and with CR LF breaks (the slower reader).
        const QByteArray longLine = "Description: " + QByteArray(20 << 20, 'x') + "\n";
        QByteArray manyLines = "Description: start\n";
        while (manyLines.size() < (20 << 20))
            manyLines += " continuation line of a long description, with Package: and Status: inside\n";
        const QByteArray tail = installed("b") + installed("c");
        QTest::newRow("20 MB line") << QStringList() << installed("a", longLine) + tail << true
                                    << QStringList{"a", "b", "c"};
        QTest::newRow("20 MB of continuation lines")
            << QStringList() << installed("huge", manyLines) + tail << true << QStringList{"b", "c", "huge"};
        QByteArray crlf = installed("a", manyLines) + tail;
        crlf.replace("\n", "\r\n");
        QTest::newRow("20 MB with CR LF") << QStringList() << crlf << true << QStringList{"a", "b", "c"};
    }

    void status()
    {
        QFETCH(QStringList, tree);
        QFETCH(QByteArray, content);
        FakeDevice device;
        QVERIFY(device.build(tree));
        if (!content.isNull())
            QVERIFY(device.addFile(tree.isEmpty() ? kStatus : kPlainStatus, content));
        const auto result = device.finishesInTime([&] { return loadInstalledPackages(device.root()); });
        QVERIFY2(result, "the status load did not return");
        QTEST(result->has_value(), "found");
        QTEST(sorted(result->value_or(QSet<QString>())), "expected");
    }
};

QTEST_GUILESS_MAIN(TestDeviceFaults)
#include "tst_devicefaults.moc"
