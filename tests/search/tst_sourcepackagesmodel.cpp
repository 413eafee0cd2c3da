#include "search/packagerows.h"
#include "search/sourcepackagefilter.h"
#include "search/sourcepackagesmodel.h"

#include "../testpackages.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

PackageList samplePackages()
{
    PackageList list = makePackages({
        {u"com.alpha.snow"_s, u"xabcx"_s, u"arm64e"_s},
        {u"com.abc.tool"_s, u"Tool"_s, u"arm64"_s},
        {u"com.upper.arch"_s, u"Upper"_s, u"ARM64E"_s},
        {u"com.no.arch"_s, u"NoArch"_s, std::nullopt},
        {std::nullopt, u"Nameless id"_s, u"arm64e"_s},
        {u"org.only.id"_s, std::nullopt, u"arm64"_s},
        {u"com.untrimmed"_s, u"two words"_s, u"arm64"_s},
    });
    // Only the description mentions the text; descriptions are never searched.
    list.append(PackageInfo(u"com.described"_s, u"Described"_s, u"1.0"_s, u"abc inside"_s, std::nullopt,
                            std::nullopt, u"arm64e"_s, u"https://repo.example/"_s));
    return list;
}

QStringList names(const PackageList &packages, const std::vector<qsizetype> &rows)
{
    QStringList out;
    for (const qsizetype row : rows)
        out.append(packages.at(row).name().value_or(u"-"_s));
    return out;
}

// A list too long to filter within the event, with names that several texts split differently.
PackageList largePackages(qsizetype count)
{
    PackageList list;
    list.reserve(count);
    static const char *const arches[] = {"arm64", "arm64e", "arm"};
    for (qsizetype i = 0; i < count; ++i) {
        const QString id = u"com.vendor%1.tweak%2"_s.arg(i % 97).arg(i);
        list.append(makePackage({id, u"Tweak %1"_s.arg(i), QString::fromLatin1(arches[i % 3])}));
    }
    return list;
}

const QSet<QString> installedSet{u"com.abc.tool"_s, u"com.no.arch"_s, u"org.only.id"_s};

} // namespace

class TestSourcePackagesModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filter_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<QString>>("architecture");
        QTest::addColumn<bool>("onlyInstalled");
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char *tag, const QString &text, const std::optional<QString> &arch,
                            bool installed, const QStringList &expected) {
            QTest::newRow(tag) << text << arch << installed << expected;
        };
        const QStringList all{u"xabcx"_s,       u"Tool"_s, u"Upper"_s,     u"NoArch"_s,
                              u"Nameless id"_s, u"-"_s,    u"two words"_s, u"Described"_s};

        row("nothing chosen keeps all", {}, std::nullopt, false, all);
        row("name or identifier, not description", u"ABC"_s, std::nullopt, false, {u"xabcx"_s, u"Tool"_s});
        row("identifier when there is no name", u"only"_s, std::nullopt, false, {u"-"_s});
        row("no identifier, name still searched", u"nameless"_s, std::nullopt, false, {u"Nameless id"_s});
        row("text is not trimmed", u"two "_s, std::nullopt, false, {u"two words"_s});
        row("a trailing space misses", u"words "_s, std::nullopt, false, {});
        row("architecture compared exactly", {}, u"arm64e"_s, false,
            {u"xabcx"_s, u"Nameless id"_s, u"Described"_s});
        row("upper-case choice keeps only upper-case", {}, u"ARM64E"_s, false, {u"Upper"_s});
        row("All Architectures keeps all, absent too", {}, u"All Architectures"_s, false, all);
        row("lower-case all is an architecture", {}, u"all"_s, false, {});
        row("empty choice is an architecture", {}, u""_s, false, {});
        row("text and architecture", u"abc"_s, u"arm64"_s, false, {u"Tool"_s});
        row("installed only", {}, std::nullopt, true, {u"Tool"_s, u"NoArch"_s, u"-"_s});
        row("installed only after the other filters", u"o"_s, u"arm64"_s, true, {u"Tool"_s, u"-"_s});
    }

    void filter()
    {
        QFETCH(QString, text);
        QFETCH(std::optional<QString>, architecture);
        QFETCH(bool, onlyInstalled);
        QFETCH(QStringList, expected);

        const PackageList packages = samplePackages();
        const SourcePackageQuery query{text, architecture, onlyInstalled};
        QCOMPARE(names(packages, filterSourcePackages(packages, query, installedSet)), expected);

        // The model shows the same rows, and its title counts them.
        SourcePackagesModel model(u"https://repo.example/"_s, packages, installedSet);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setSearchText(text);
        model.setSelectedArchitectureVariant(architecture ? QVariant(*architecture) : QVariant());
        model.setShowOnlyInstalled(onlyInstalled);
        QCOMPARE(names(packages, model.rows()), expected);
        QCOMPARE(model.rowCount(), expected.size());
        QCOMPARE(model.title(),
                 (onlyInstalled ? u"Installed (%1)"_s : u"Packages (%1)"_s).arg(expected.size()));
    }

    void titleFollowsTheInstalledSwitch()
    {
        SourcePackagesModel model(u"https://repo.example/"_s, samplePackages(), installedSet);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy titles(&model, &SourcePackagesModel::titleChanged);
        QCOMPARE(model.title(), u"Packages (8)"_s);
        model.setShowOnlyInstalled(true);
        QCOMPARE(model.title(), u"Installed (3)"_s);
        model.setShowOnlyInstalled(false);
        QCOMPARE(model.title(), u"Packages (8)"_s);
        QCOMPARE(titles.count(), 2);

        // Same count, other word: the title still changes.
        SourcePackagesModel one(u"l"_s, makePackages({{u"com.abc.tool"_s, u"Tool"_s, u"arm64"_s}}),
                                installedSet);
        QSignalSpy oneTitles(&one, &SourcePackagesModel::titleChanged);
        one.setShowOnlyInstalled(true);
        QCOMPARE(one.title(), u"Installed (1)"_s);
        QCOMPARE(oneTitles.count(), 1);
    }

    void rowsCarryInstalledStateAndItsChanges()
    {
        SourcePackagesModel model(u"https://repo.example/"_s, samplePackages());
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QHash<int, QByteArray> roles = model.roleNames();
        QCOMPARE(roles.value(PackageRows::InstalledRole), "installed");
        QCOMPARE(roles.value(PackageRows::DebUrlRole), "debURL");
        QVERIFY(!model.data(model.index(1), PackageRows::InstalledRole).toBool());

        model.setShowOnlyInstalled(true);
        QCOMPARE(model.rowCount(), 0);
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        model.setInstalledPackages(installedSet);
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.title(), u"Installed (3)"_s);
        QVERIFY(model.data(model.index(0), PackageRows::InstalledRole).toBool());

        model.setShowOnlyInstalled(false);
        changed.clear();
        model.setInstalledPackages({u"com.alpha.snow"_s});
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first().at(2).value<QList<int>>(), QList<int>{PackageRows::InstalledRole});
        QVERIFY(model.data(model.index(0), PackageRows::InstalledRole).toBool());
        QVERIFY(!model.data(model.index(1), PackageRows::InstalledRole).toBool());
    }

    void largeListFiltersInTheBackgroundToTheSameRows_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("architecture");
        QTest::addColumn<bool>("onlyInstalled");
        QTest::newRow("text") << u"weak 12"_s << QVariant() << false;
        QTest::newRow("architecture") << QString() << QVariant(u"arm64e"_s) << false;
        QTest::newRow("text miss") << u"zzz"_s << QVariant() << false;
        QTest::newRow("installed") << u"vendor1"_s << QVariant(u"All Architectures"_s) << true;
    }

    void largeListFiltersInTheBackgroundToTheSameRows()
    {
        QFETCH(QString, text);
        QFETCH(QVariant, architecture);
        QFETCH(bool, onlyInstalled);

        const PackageList packages = largePackages(SourcePackagesModel::kSynchronousLimit * 2);
        const QSet<QString> installed{u"com.vendor1.tweak1"_s, u"com.vendor10.tweak10"_s,
                                      u"com.vendor2.tweak2"_s};
        SourcePackagesModel model(u"https://repo.example/"_s, packages, installed);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setSearchText(text);
        model.setSelectedArchitectureVariant(architecture);
        model.setShowOnlyInstalled(onlyInstalled);
        // Not yet: the result comes back through the event loop.
        QCOMPARE(model.rowCount(), packages.size());

        const SourcePackageQuery query{
            text, architecture.isNull() ? std::nullopt : std::optional(architecture.toString()),
            onlyInstalled};
        const std::vector<qsizetype> expected = filterSourcePackages(packages, query, installed);
        QTRY_VERIFY(model.rows() == expected);
        QCOMPARE(model.rowCount(), int(expected.size()));
    }

    void lastInputWinsWhenTypingFast()
    {
        const PackageList packages = largePackages(SourcePackagesModel::kSynchronousLimit * 4);
        SourcePackagesModel model(u"https://repo.example/"_s, packages);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QList<int> shownCounts;
        connect(&model, &SourcePackagesModel::countChanged, this, [&] { shownCounts.append(model.count()); });

        const QString typed = u"tweak 1234"_s;
        for (qsizetype i = 1; i <= typed.size(); ++i) {
            model.setSearchText(typed.left(i));
            if (i % 3 == 0)
                QCoreApplication::processEvents(); // let some results in between keystrokes
        }
        const std::vector<qsizetype> expected =
            filterSourcePackages(packages, {typed, std::nullopt, false}, {});
        QCOMPARE(expected.size(), size_t(11)); // 1234 and 12340 to 12349
        QTRY_VERIFY(model.rows() == expected);

        // Nothing older lands afterwards, and the counts shown only ever narrowed while typing on.
        QTest::qWait(200);
        QVERIFY(model.rows() == expected);
        QVERIFY(std::is_sorted(shownCounts.crbegin(), shownCounts.crend()));
        QCOMPARE(model.title(), u"Packages (11)"_s);
    }
};

QTEST_GUILESS_MAIN(TestSourcePackagesModel)
#include "tst_sourcepackagesmodel.moc"
