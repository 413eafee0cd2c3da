// The installed set drives every "installed" badge and the installed-only filter; a block boundary read
// wrong marks the wrong package, and a line-break form read wrong marks none at all.
#include "device/installedpackages.h"
#include "fakedevice.h"

#include <QRandomGenerator>
#include <QTest>

namespace {

QByteArray readFixture(const QString &name)
{
    QFile file(QStringLiteral(TALLOWPINE_TEST_DATA "/device/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList sorted(const QSet<QString> &set)
{
    QStringList list(set.cbegin(), set.cend());
    list.sort();
    return list;
}

using Files = QList<QPair<QString, QByteArray>>; // a null content makes a folder

} // namespace

class TestInstalledPackages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fixture();
    void blocks_data();
    void blocks();
    void mixedBreaks_data();
    void mixedBreaks();
    void truncatedFixtureNeverInventsPackages();
    void junkDoesNotCrash();
    void load_data();
    void load();
    void membership();
};

void TestInstalledPackages::fixture()
{
    const QByteArray status = readFixture("status");
    QVERIFY(!status.isEmpty());
    QCOMPARE(sorted(parseInstalledPackages(status)),
             QString::fromUtf8(readFixture("status.installed")).split('\n', Qt::SkipEmptyParts));
}

void TestInstalledPackages::blocks_data()
{
    QTest::addColumn<QByteArray>("text"); // written with LF; also run with every other line break
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("empty") << QByteArray() << QStringList();
    QTest::newRow("status before package is lost")
        << QByteArray(
               "Status: install ok installed\nPackage: a\n\nPackage: b\nStatus: install ok installed\n")
        << QStringList{"b"};
    QTest::newRow("substring rule") << QByteArray("Package: a\nStatus: deinstall ok config-files\n\n"
                                                  "Package: b\nStatus: install ok unpacked\n\n"
                                                  "Package: c\nStatus: hold ok installed\n\n"
                                                  "Package: d\nStatus: install reinstreq half-installed\n\n"
                                                  "Package: e\nStatus: Install OK installed\n")
                                    << QStringList{"a", "b"};
    QTest::newRow("no final break, name trimmed")
        << QByteArray("Package: \t a.b+c \t\nStatus: install ok installed") << QStringList{"a.b+c"};
    QTest::newRow("package line ends a block, later status keeps the flag")
        << QByteArray("Package: a\nStatus: install ok installed\nStatus: purge ok not-installed\n"
                      "Package: b\nStatus: purge ok not-installed\n")
        << QStringList{"a"};
    QTest::newRow("blank line ends a block, a line of spaces does not")
        << QByteArray("Package: a\n\nStatus: install ok installed\n\nPackage: b\n \t\nStatus: install ok "
                      "installed\n")
        << QStringList{"b"};
    QTest::newRow("fields only at the start of a line, case-sensitive")
        << QByteArray("Package: a\nDescription: x\n Status: install ok installed\n Package: b\npackage: c\n"
                      "status: install ok installed\n\nPackage: d\nStatus:install ok installed\n")
        << QStringList{"d"};
    QTest::newRow("UTF-8 name, near-miss bytes are not breaks")
        << QByteArray("Package: com.例え\nDescription: x\xE2\x80\xA7Status: install ok installed\xC2\xA0\n\n"
                      "Package: b\nStatus: install ok installed\n")
        << QStringList{"b"};
}

void TestInstalledPackages::blocks()
{
    QFETCH(QByteArray, text);
    QFETCH(QStringList, expected);
    for (const char *lineBreak :
         {"\n", "\r\n", "\r", "\v", "\f", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
        const QByteArray variant = QByteArray(text).replace('\n', lineBreak);
        QVERIFY2(sorted(parseInstalledPackages(variant)) == expected,
                 QByteArray(lineBreak).toHex().constData());
    }
}

void TestInstalledPackages::mixedBreaks_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("LF CR is two breaks")
        << QByteArray("Package: a\n\rStatus: install ok installed\n") << QStringList();
    QTest::newRow("form feed makes a blank line")
        << QByteArray("Package: a\n\f\nStatus: install ok installed\n") << QStringList();
    QTest::newRow("separator inside a field starts a line")
        << QByteArray("Package: a\nDescription: x\xE2\x80\xA8Status: install ok installed\r")
        << QStringList{"a"};
}

void TestInstalledPackages::mixedBreaks()
{
    QFETCH(QByteArray, text);
    QTEST(sorted(parseInstalledPackages(text)), "expected");
}

void TestInstalledPackages::truncatedFixtureNeverInventsPackages()
{
    // A cut can only lose the block it falls in: every name comes before its status, so a shortened name
    // never has a status line after it.
    const QByteArray status = readFixture("status");
    const QSet<QString> full = parseInstalledPackages(status);
    for (qsizetype length = 0; length < status.size(); ++length) {
        QVERIFY2(full.contains(parseInstalledPackages(QByteArrayView(status).first(length))),
                 QByteArray::number(length).constData());
    }
}

void TestInstalledPackages::junkDoesNotCrash()
{
    QByteArray junk(1 << 20, Qt::Uninitialized);
    QRandomGenerator(4).fillRange(reinterpret_cast<quint32 *>(junk.data()), junk.size() / 4);
    (void)parseInstalledPackages(junk.replace(1000, 10, "\nPackage: "));

    const QByteArray nuls("Package: a\0b\nStatus: install ok\0 installed\n", 43);
    QCOMPARE(sorted(parseInstalledPackages(nuls)), QStringList{QString::fromUtf8("a\0b", 3)});
}

void TestInstalledPackages::load_data()
{
    QTest::addColumn<Files>("files");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QStringList>("expected");

    const QString plain = QStringLiteral("/var/lib/dpkg/status");
    const QString rootless = QStringLiteral("/var/jb/var/lib/dpkg/status");
    const QByteArray a("Package: a\nStatus: install ok installed\n");
    const QByteArray b("Package: b\nStatus: install ok installed\n");

    QTest::newRow("no status file") << Files() << false << QStringList();
    QTest::newRow("rootless first") << Files{{plain, a}, {rootless, b}} << true << QStringList{"b"};
    QTest::newRow("folder in the way")
        << Files{{rootless, QByteArray()}, {plain, a}} << true << QStringList{"a"};
    QTest::newRow("empty file") << Files{{plain, QByteArray("")}} << true << QStringList();
    QTest::newRow("not UTF-8") << Files{{plain, "Package: caf\xE9\nStatus: install ok installed\n"}} << false
                               << QStringList();
}

void TestInstalledPackages::load()
{
    QFETCH(Files, files);
    FakeDevice device;
    for (const auto &[path, content] : files) {
        QVERIFY(content.isNull() ? device.addDir(path) : device.addFile(path, content));
    }
    const std::optional<QSet<QString>> installed = loadInstalledPackages(device.root());
    QTEST(installed.has_value(), "found");
    QTEST(sorted(installed.value_or(QSet<QString>())), "expected");
}

void TestInstalledPackages::membership()
{
    const QSet<QString> set{"com.example.tweak", ""};
    QVERIFY(isPackageInstalled(set, "com.example.tweak"));
    QVERIFY(!isPackageInstalled(set, "com.example.Tweak"));
    QVERIFY(!isPackageInstalled(set, "com.example.tweak "));
    QVERIFY(!isPackageInstalled(set, ""));
}

QTEST_GUILESS_MAIN(TestInstalledPackages)
#include "tst_installedpackages.moc"
