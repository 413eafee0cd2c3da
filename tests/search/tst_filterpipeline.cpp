#include "search/filterpipeline.h"

#include "../testpackages.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// Fires only when the test says so, which makes every pause in typing explicit.
class ManualTimer : public DebounceTimer
{
public:
    void start(std::function<void()> action) override
    {
        pending = std::move(action);
        ++starts;
    }
    void fire()
    {
        if (auto action = std::exchange(pending, nullptr))
            action();
    }
    std::function<void()> pending;
    int starts = 0;
};

PackagePool poolOf(const PackageList &packages)
{
    PackagePool pool;
    pool.append(packages);
    return pool;
}

const PackageList packages = makePackages({
    {u"a.one"_s, u"Alpha"_s, u"arm64"_s},
    {u"b.two"_s, u"Beta"_s, u"arm64e"_s},
    {u"c.three"_s, u"Alphabet"_s, u"arm64e"_s},
});

} // namespace

class TestFilterPipeline : public QObject
{
    Q_OBJECT

    struct Fixture
    {
        ManualTimer *timer = new ManualTimer;
        FilterPipeline pipeline{std::unique_ptr<DebounceTimer>(timer)};
        QSignalSpy results{&pipeline, &FilterPipeline::filtered};

        // Waits for every queued result; returns the sizes delivered since the last call.
        QList<qsizetype> settle()
        {
            pipeline.waitForIdle();
            QCoreApplication::processEvents();
            QList<qsizetype> sizes;
            for (const QList<QVariant> &args : std::as_const(results))
                sizes.append(args.first().value<PackageSelection>().size());
            results.clear();
            return sizes;
        }
    };

private Q_SLOTS:
    void nothingBeforeTheFirstPauseThenImmediateInputs()
    {
        Fixture f;
        f.pipeline.setPackagesMode(true);
        f.pipeline.setPool(poolOf(packages));
        f.pipeline.setArchitecture(u"arm64e"_s);
        QCOMPARE(f.settle(), QList<qsizetype>{});

        f.timer->fire();
        QCOMPARE(f.settle(), QList<qsizetype>{2});
        // Architecture, mode and pool apply without waiting for the timer.
        f.pipeline.setArchitecture(std::nullopt);
        f.pipeline.setPool(poolOf(packages + packages));
        f.pipeline.setPackagesMode(false);
        QCOMPARE(f.settle(), (QList<qsizetype>{3, 6, 0}));
    }

    void typingIsDebouncedAndDeduplicatedBeforeTrimming()
    {
        Fixture f;
        f.pipeline.setPackagesMode(true);
        f.pipeline.setPool(poolOf(packages));
        f.timer->fire();
        QCOMPARE(f.settle(), QList<qsizetype>{3});

        f.pipeline.setSearchText(u"a"_s);
        f.pipeline.setSearchText(u"al"_s);
        f.pipeline.setSearchText(u"alphab"_s);
        QCOMPARE(f.settle(), QList<qsizetype>{});
        f.timer->fire();
        QCOMPARE(f.settle(), QList<qsizetype>{1});

        // Deleting and retyping within one pause gives the same settled text: nothing new.
        f.pipeline.setSearchText(u"alpha"_s);
        f.pipeline.setSearchText(u"alphab"_s);
        f.timer->fire();
        QCOMPARE(f.settle(), QList<qsizetype>{});

        // A trailing space is a new text, and filters like the trimmed one.
        f.pipeline.setSearchText(u"alphab "_s);
        f.timer->fire();
        QCOMPARE(f.settle(), QList<qsizetype>{1});
        f.pipeline.setSearchText(u"   "_s);
        f.timer->fire();
        QCOMPARE(f.settle(), QList<qsizetype>{3});
    }

    void resultsArriveInRequestOrder()
    {
        Fixture f;
        f.pipeline.setPackagesMode(true);
        f.timer->fire();
        PackageList big;
        for (int i = 0; i < 20000; ++i)
            big.append(packages);
        QList<qsizetype> expected{0};
        for (int i = 1; i <= 20; ++i) {
            f.pipeline.setPool(poolOf(big.mid(0, i * 3000)));
            expected.append(i * 3000);
        }
        QCOMPARE(f.settle(), expected);
    }

    void destroyingWhileWorkIsQueuedIsSafe()
    {
        auto *timer = new ManualTimer;
        auto pipeline = std::make_unique<FilterPipeline>(std::unique_ptr<DebounceTimer>(timer));
        pipeline->setPackagesMode(true);
        timer->fire();
        PackageList big;
        for (int i = 0; i < 50000; ++i)
            big.append(packages);
        for (int i = 0; i < 5; ++i)
            pipeline->setPool(poolOf(big));
        pipeline.reset();
        QCoreApplication::processEvents();
    }
};

QTEST_GUILESS_MAIN(TestFilterPipeline)
#include "tst_filterpipeline.moc"
