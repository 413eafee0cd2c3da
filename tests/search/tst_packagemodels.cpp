#include "search/packagelistmodel.h"
#include "search/packagerows.h"
#include "search/sourcepackagefilter.h"
#include "search/sourcepackagesmodel.h"

#include "../testpackages.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

PackageList block(const QString &prefix, int count)
{
    PackageList list;
    for (int i = 0; i < count; ++i)
        list.append(makePackage({u"%1.%2"_s.arg(prefix).arg(i), prefix, u"arm64"_s}));
    return list;
}

enum class Change { None, Insert, Reset };

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

Q_DECLARE_METATYPE(Change)

class TestPackageModels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // From a selection over blocks {a, b} to one over the same blocks, those plus c, or copies (a reload).
    void newSelection_data()
    {
        QTest::addColumn<QList<qsizetype>>("before");
        QTest::addColumn<QString>("next");
        QTest::addColumn<QList<qsizetype>>("after");
        QTest::addColumn<Change>("change");

        using L = QList<qsizetype>;
        QTest::newRow("grown pool, rows added at the end")
            << L{0, 2} << u"abc"_s << L{0, 2, 4, 5} << Change::Insert;
        QTest::newRow("grown pool, same rows") << L{0, 2} << u"abc"_s << L{0, 2} << Change::None;
        QTest::newRow("narrower") << L{0, 2} << u"abc"_s << L{2} << Change::Reset;
        QTest::newRow("row added in the middle") << L{0, 2} << u"abc"_s << L{0, 1, 2} << Change::Reset;
        QTest::newRow("same numbers over other blocks")
            << L{0, 2} << u"copy"_s << L{0, 2, 3} << Change::Reset;
        QTest::newRow("from nothing, anything is an insert") << L{} << u"copy"_s << L{1, 3} << Change::Insert;
    }

    void newSelection()
    {
        QFETCH(QList<qsizetype>, before);
        QFETCH(QString, next);
        QFETCH(QList<qsizetype>, after);
        QFETCH(Change, change);

        const PackageList a = block(u"a"_s, 2);
        const PackageList b = block(u"b"_s, 2);
        PackagePool pool;
        pool.append(a);
        pool.append(b);
        PackagePool nextPool = pool;
        if (next == u"abc")
            nextPool.append(block(u"c"_s, 3));
        if (next == u"copy") {
            nextPool.clear();
            nextPool.append(a);
            nextPool.append(b);
        }

        PackageListModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setSelection(PackageSelection(pool, {before.cbegin(), before.cend()}));
        const QVariant firstId =
            before.isEmpty() ? QVariant() : model.data(model.index(0), PackageRows::IdRole);

        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        const PackageSelection selection(nextPool, {after.cbegin(), after.cend()});
        model.setSelection(selection);

        QCOMPARE(reset.count(), change == Change::Reset ? 1 : 0);
        QCOMPARE(inserted.count(), change == Change::Insert ? 1 : 0);
        if (change == Change::Insert) {
            QCOMPARE(inserted.first().at(1).toInt(), before.size());
            QCOMPARE(inserted.first().at(2).toInt(), after.size() - 1);
        }
        if (change == Change::None && !before.isEmpty())
            QCOMPARE(model.data(model.index(0), PackageRows::IdRole), firstId);
        QCOMPARE(model.rowCount(), after.size());
        for (int row = 0; row < after.size(); ++row)
            QCOMPARE(model.data(model.index(row), PackageRows::PackageRole),
                     selection.at(row).package().value());
    }

    void installedRoleChangesOnlyThatRole()
    {
        PackagePool pool;
        pool.append(block(u"a"_s, 3));
        PackageListModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setSelection(PackageSelection(pool, {0, 1, 2}));
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);

        model.setInstalledPackages({u"a.1"_s, u"A.2"_s, QString()});
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first().at(0).toModelIndex().row(), 0);
        QCOMPARE(changed.first().at(1).toModelIndex().row(), 2);
        QCOMPARE(changed.first().at(2).value<QList<int>>(), QList<int>{PackageRows::InstalledRole});
        QList<bool> installed;
        for (int row = 0; row < 3; ++row)
            installed.append(model.data(model.index(row), PackageRows::InstalledRole).toBool());
        QCOMPARE(installed, (QList<bool>{false, true, false})); // exact case

        model.setInstalledPackages({u"a.1"_s, u"A.2"_s, QString()});
        QCOMPARE(changed.count(), 1);
    }

    void rowRoles()
    {
        PackagePool pool;
        pool.append({PackageInfo(u"com.example.tweak"_s, u"Tweak"_s, u"1.2"_s, std::nullopt,
                                 u"./debs/t.deb"_s, u""_s, u"arm64e"_s, u"https://repo.example/"_s),
                     PackageInfo(std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                                 std::nullopt, std::nullopt, u"https://repo.example/"_s)});
        PackageListModel model;
        model.setSelection(PackageSelection(pool, {0, 1}));
        const QHash<int, QByteArray> names = model.roleNames();
        const auto value = [&](int row, const QByteArray &name) {
            return model.data(model.index(row), names.key(name));
        };
        QCOMPARE(value(0, "architecture"), u"arm64e"_s); // raw: the row decides how to show it
        QCOMPARE(value(0, "debURL"), u"https://repo.example/debs/t.deb"_s);
        // Absent fields are null, not empty, so the row can show "N/A".
        for (const QByteArray name :
             {"identifier", "name", "version", "description", "filename", "architecture"})
            QVERIFY2(value(1, name).isNull(), name.constData());
        QCOMPARE(value(1, "debURL"), u""_s);
        QCOMPARE(value(1, "installed"), false);
    }

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
        row("text and architecture", u"abc"_s, u"arm64"_s, false, {u"Tool"_s});
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
        QCOMPARE(model.title(),
                 (onlyInstalled ? u"Installed (%1)"_s : u"Packages (%1)"_s).arg(expected.size()));
    }

    // The device answers after the screen is made: an installed-only list must fill in then.
    void installedSetArrivingLateRefilters()
    {
        SourcePackagesModel model(u"https://repo.example/"_s, samplePackages());
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setShowOnlyInstalled(true);
        QCOMPARE(model.rowCount(), 0);
        model.setInstalledPackages(installedSet);
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.title(), u"Installed (3)"_s);
        QVERIFY(model.data(model.index(0), PackageRows::InstalledRole).toBool());
    }

    void largeListFiltersInTheBackgroundToTheSameRows_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("architecture");
        QTest::addColumn<bool>("onlyInstalled");
        QTest::newRow("text") << u"weak 12"_s << QVariant() << false;
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

QTEST_GUILESS_MAIN(TestPackageModels)
#include "tst_packagemodels.moc"
