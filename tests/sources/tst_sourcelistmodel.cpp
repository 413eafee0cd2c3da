#include "sources/sourcelistmodel.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QList<RepoSource> threeSources()
{
    QList<RepoSource> sources;
    for (const char *name : {"one", "two", "three"}) {
        const QString link = u"https://%1.example/"_s.arg(QLatin1String(name));
        sources.append(RepoSource{QLatin1String(name), QLatin1String(name), link, u"Repos.png"_s, false});
    }
    return sources;
}

// (first row, last row, roles) of each dataChanged.
QList<std::tuple<int, int, QList<int>>> changes(const QSignalSpy &spy)
{
    QList<std::tuple<int, int, QList<int>>> out;
    for (const QList<QVariant> &args : spy)
        out.append({args.at(0).toModelIndex().row(), args.at(1).toModelIndex().row(),
                    args.at(2).value<QList<int>>()});
    return out;
}

} // namespace

class TestSourceListModel : public QObject
{
    Q_OBJECT

    using Changes = QList<std::tuple<int, int, QList<int>>>;

private Q_SLOTS:
    void loadingTouchesOneRowAndOneRole()
    {
        SourceListModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QList<RepoSource> sources = threeSources();
        model.update(sources, {}, {});
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        const int loading = SourceListModel::IsLoadingRole;

        model.setLoadingLinks({sources.at(1).link});
        QCOMPARE(changes(changed), (Changes{{1, 1, {loading}}}));
        QVERIFY(model.data(model.index(1), loading).toBool());
        QVERIFY(!model.data(model.index(0), loading).toBool());

        // Another source starts while the first goes on: only the new one's row changes.
        changed.clear();
        model.setLoadingLinks({sources.at(1).link, sources.at(2).link, u"https://not.listed/"_s});
        QCOMPARE(changes(changed), (Changes{{2, 2, {loading}}}));

        changed.clear();
        model.setLoadingLinks({sources.at(2).link});
        QCOMPARE(changes(changed), (Changes{{1, 1, {loading}}}));

        // The state outlives a change of the rows themselves.
        model.update({sources.at(2), sources.at(0)}, {}, {});
        QVERIFY(model.data(model.index(0), loading).toBool());
        QCOMPARE(reset.count(), 1);
        QCOMPARE(model.roleNames().value(loading), "isLoading");
    }

    void starAndTickKeepRowsInPlace()
    {
        SourceListModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QList<RepoSource> sources = threeSources();
        model.update(sources, {}, {});
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);

        model.update(sources, {sources.at(0).link}, {sources.at(2).link});
        QCOMPARE(changes(changed), (Changes{{0, 0, {SourceListModel::IsFavoriteRole}},
                                            {2, 2, {SourceListModel::IsSelectedRole}}}));
        changed.clear();
        QList<RepoSource> renamed = sources;
        renamed[1].name = u"Two"_s;
        model.update(renamed, {sources.at(0).link}, {sources.at(2).link});
        QCOMPARE(changes(changed), (Changes{{1, 1, {}}})); // a record changed: every role
        QCOMPARE(reset.count(), 0);
    }
};

QTEST_GUILESS_MAIN(TestSourceListModel)
#include "tst_sourcelistmodel.moc"
