#include "search/packagelistmodel.h"

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

} // namespace

Q_DECLARE_METATYPE(Change)

class TestPackageListModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Each case goes from a selection over pool {a, b} to one over `next`, a pool made of the same
    // blocks (a, b), those plus a new block c (abc), or fresh copies of them (copy: same packages,
    // other blocks, as after a reload).
    void newSelection_data()
    {
        QTest::addColumn<QList<qsizetype>>("before");
        QTest::addColumn<QString>("next");
        QTest::addColumn<QList<qsizetype>>("after");
        QTest::addColumn<Change>("change");

        QTest::newRow("grown pool, rows added at the end")
            << QList<qsizetype>{0, 2} << u"abc"_s << QList<qsizetype>{0, 2, 4, 5} << Change::Insert;
        QTest::newRow("grown pool, same rows")
            << QList<qsizetype>{0, 2} << u"abc"_s << QList<qsizetype>{0, 2} << Change::None;
        QTest::newRow("same pool, same rows")
            << QList<qsizetype>{1} << u"ab"_s << QList<qsizetype>{1} << Change::None;
        QTest::newRow("narrower") << QList<qsizetype>{0, 2} << u"abc"_s << QList<qsizetype>{2}
                                  << Change::Reset;
        QTest::newRow("row added in the middle")
            << QList<qsizetype>{0, 2} << u"abc"_s << QList<qsizetype>{0, 1, 2} << Change::Reset;
        QTest::newRow("same numbers over other blocks")
            << QList<qsizetype>{0, 2} << u"copy"_s << QList<qsizetype>{0, 2, 3} << Change::Reset;
        QTest::newRow("from nothing, anything is an insert")
            << QList<qsizetype>{} << u"copy"_s << QList<qsizetype>{1, 3} << Change::Insert;
        QTest::newRow("to nothing") << QList<qsizetype>{0} << u"ab"_s << QList<qsizetype>{} << Change::Reset;
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
        QSignalSpy counts(&model, &PackageListModel::countChanged);
        const PackageSelection selection(nextPool, {after.cbegin(), after.cend()});
        model.setSelection(selection);

        QCOMPARE(reset.count(), change == Change::Reset ? 1 : 0);
        QCOMPARE(inserted.count(), change == Change::Insert ? 1 : 0);
        QCOMPARE(counts.count(), before.size() == after.size() ? 0 : 1);
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
        const QList<bool> installed{model.data(model.index(0), PackageRows::InstalledRole).toBool(),
                                    model.data(model.index(1), PackageRows::InstalledRole).toBool(),
                                    model.data(model.index(2), PackageRows::InstalledRole).toBool()};
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
        QCOMPARE(value(0, "identifier"), u"com.example.tweak"_s);
        QCOMPARE(value(0, "architecture"), u"arm64e"_s); // raw: the row decides how to show it
        QCOMPARE(value(0, "iconURL"), u""_s);
        QCOMPARE(value(0, "debURL"), u"https://repo.example/debs/t.deb"_s);
        QCOMPARE(value(0, "sourceLink"), u"https://repo.example/"_s);
        QCOMPARE(value(0, "packageId"), pool.at(0).id().toString(QUuid::WithoutBraces));
        // Absent fields are null, not empty, so the row can show "N/A".
        for (const QByteArray name :
             {"identifier", "name", "version", "description", "filename", "architecture"})
            QVERIFY2(value(1, name).isNull(), name.constData());
        QCOMPARE(value(1, "debURL"), u""_s);
        QCOMPARE(value(1, "installed"), false);
    }
};

QTEST_GUILESS_MAIN(TestPackageListModel)
#include "tst_packagelistmodel.moc"
