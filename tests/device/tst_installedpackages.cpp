// The installed set drives every "installed" badge and the installed-only filter; a block boundary read
// wrong marks the wrong package, and a line-break form read wrong marks none at all.
#include "../testfiles.h"
#include "device/installedpackages.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray readFixture(const QString &name)
{
    return readFile(testData(u"device/"_s + name));
}

} // namespace

class TestInstalledPackages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fixture()
    {
        const QByteArray status = readFixture("status");
        QVERIFY(!status.isEmpty());
        QCOMPARE(sorted(parseInstalledPackages(status)),
                 QString::fromUtf8(readFixture("status.installed")).split('\n', Qt::SkipEmptyParts));
    }

    void blocks_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<bool>("anyBreak"); // the LFs may be any other line break as well
        const auto row = [](const char *tag, const QByteArray &text, const QStringList &expected,
                            bool anyBreak = true) { QTest::newRow(tag) << text << expected << anyBreak; };
        const QByteArray installed = "Status: install ok installed";

        row("empty", QByteArray(), {});
        row("byte order marks inside a name kept",
            "Package:\xEF\xBB\xBF a\n" + installed + "\n\nPackage: \xEF\xBB\xBF\xEF\xBB\xBF b\n" + installed +
                "\n",
            {QString(QChar(0xFEFF)) + " a", QString(2, QChar(0xFEFF)) + " b"});
        row("one byte order mark dropped",
            "\xEF\xBB\xBFPackage: a\n" + installed + "\n\n\xEF\xBB\xBFPackage: b\n" + installed + "\n",
            {"a"});
        row("status before package is lost", installed + "\nPackage: a\n\nPackage: b\n" + installed + "\n",
            {"b"});
        row("substring rule",
            "Package: a\nStatus: deinstall ok config-files\n\nPackage: b\nStatus: install ok unpacked\n\n"
            "Package: c\nStatus: hold ok installed\n\nPackage: d\nStatus: install reinstreq "
            "half-installed\n\n"
            "Package: e\nStatus: Install OK installed\n",
            {"a", "b"});
        row("no final break, name trimmed", "Package: \t a.b+c \t\n" + installed, {"a.b+c"});
        row("package line ends a block, later status keeps the flag",
            "Package: a\n" + installed +
                "\nStatus: purge ok not-installed\nPackage: b\nStatus: purge ok not-installed\n",
            {"a"});
        row("blank line ends a block, a line of spaces does not",
            "Package: a\n\n" + installed + "\n\nPackage: b\n \t\n" + installed + "\n", {"b"});
        row("fields only at the start of a line, case-sensitive",
            "Package: a\nDescription: x\n " + installed +
                "\n Package: b\npackage: c\nstatus: install ok installed\n\n"
                "Package: d\nStatus:install ok installed\n",
            {"d"});
        row("UTF-8 name, near-miss bytes are not breaks",
            "Package: com.例え\nDescription: x\xE2\x80\xA7" + installed + "\xC2\xA0\n\nPackage: b\n" +
                installed + "\n",
            {"b"});
        row("LF CR is two breaks", "Package: a\n\r" + installed + "\n", {}, false);
        row("form feed makes a blank line", "Package: a\n\f\n" + installed + "\n", {}, false);
        row("separator inside a field starts a line",
            "Package: a\nDescription: x\xE2\x80\xA8" + installed + "\r", {"a"}, false);
    }

    void blocks()
    {
        QFETCH(QByteArray, text);
        QFETCH(QStringList, expected);
        QFETCH(bool, anyBreak);
        const QList<const char *> all{"\n", "\r\n",     "\r",           "\v",
                                      "\f", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"};
        for (const char *lineBreak : anyBreak ? all : QList<const char *>{"\n"}) {
            const QByteArray variant = QByteArray(text).replace('\n', lineBreak);
            QVERIFY2(sorted(parseInstalledPackages(variant)) == expected,
                     QByteArray(lineBreak).toHex().constData());
        }
    }

    void truncatedFixtureNeverInventsPackages()
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

    void junkDoesNotCrash()
    {
        QByteArray junk(1 << 20, Qt::Uninitialized);
        QRandomGenerator(4).fillRange(reinterpret_cast<quint32 *>(junk.data()), junk.size() / 4);
        (void)parseInstalledPackages(junk.replace(1000, 10, "\nPackage: "));

        const QByteArray nuls("Package: a\0b\nStatus: install ok\0 installed\n", 43);
        QCOMPARE(sorted(parseInstalledPackages(nuls)), QStringList{QString::fromUtf8("a\0b", 3)});
    }
};

QTEST_GUILESS_MAIN(TestInstalledPackages)
#include "tst_installedpackages.moc"
