#include "search/filterpipeline.h"
#include "search/packagefilter.h"

#include "../testpackages.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

PackageList samplePackages()
{
    return makePackages({
        {u"com.alpha.snowboard"_s, u"SnowBoard"_s, u"arm64"_s},
        {u"com.beta.tweak"_s, u"Beta Tweak"_s, u"arm64e"_s},
        {u"org.gamma.board"_s, std::nullopt, u"ARM"_s},
        {u"net.delta.Ünicode"_s, u"Délta Ärger"_s, u"all"_s},
        {std::nullopt, u"No Identifier"_s, std::nullopt},
        {u"com.epsilon.two words"_s, u"two  spaces"_s, u"iphoneos-arm64"_s},
        {u"com.alpha.snowboard"_s, u"SnowBoard"_s, u"arm64"_s},
    });
}

QStringList identifiers(const PackageList &packages)
{
    QStringList ids;
    for (const PackageInfo &p : packages)
        ids.append(p.package().value_or(u"-"_s));
    return ids;
}

// Fires only when the test says so, which makes every pause in typing explicit.
class ManualTimer : public DebounceTimer
{
public:
    void start(std::function<void()> action) override { pending = std::move(action); }
    void fire()
    {
        if (auto action = std::exchange(pending, nullptr))
            action();
    }
    std::function<void()> pending;
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

PackageList repeated(int times)
{
    PackageList big;
    for (int i = 0; i < times; ++i)
        big.append(packages);
    return big;
}

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
    void filterStep_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<QString>>("architecture");
        QTest::addColumn<bool>("packagesMode");
        QTest::addColumn<QStringList>("expected");
        const auto text = [](const char *tag, const QString &text, const QStringList &expected) {
            QTest::newRow(tag) << text << std::optional<QString>() << true << expected;
        };
        const auto arch = [](const char *tag, const std::optional<QString> &architecture,
                             const QStringList &expected) {
            QTest::newRow(tag) << QString() << architecture << true << expected;
        };
        const QStringList all = identifiers(samplePackages());
        const QString snowboard = u"com.alpha.snowboard"_s;

        QTest::newRow("other modes show no packages")
            << u"snow"_s << std::optional<QString>() << false << QStringList{};
        text("no filter keeps all, in order, duplicates too", u""_s, all);
        text("name, any case", u"SNOWB"_s, {snowboard, snowboard});
        text("identifier when the name misses", u"board"_s, {snowboard, "org.gamma.board", snowboard});
        text("missing identifier, name still searched", u"identifier"_s, {"-"});
        text("whole query as one piece", u"two spaces"_s, {});
        text("double space matches", u"two  spaces"_s, {"com.epsilon.two words"});
        text("no diacritic folding", u"delta ar"_s, {});
        text("non-ASCII lower-cased", u"DÉLTA ÄR"_s, {"net.delta.Ünicode"});
        arch("architecture ignores case", u"ARM64E"_s, {"com.beta.tweak"});
        arch("no family rule, absent dropped", u"arm"_s, {"org.gamma.board"});
        arch("'all' disables the filter", u"ALL"_s, all);
        arch("empty disables the filter", u""_s, all);
        QTest::newRow("text and architecture")
            << u"o"_s << std::optional(u"arm64"_s) << true << QStringList{snowboard, snowboard};
    }
    void filterStep()
    {
        QFETCH(QString, text);
        QFETCH(std::optional<QString>, architecture);
        QFETCH(bool, packagesMode);
        QFETCH(QStringList, expected);
        const PackageQuery query{text, architecture, packagesMode};
        QCOMPARE(identifiers(filterPackages(samplePackages(), query)), expected);

        // Split over several blocks, rows must come back with pool-wide positions.
        PackagePool pool;
        const PackageList packages = samplePackages();
        pool.append(packages.mid(0, 2));
        pool.append({});
        pool.append(packages.mid(2, 1));
        pool.append(packages.mid(3));
        SearchIndexCache cache;
        QCOMPARE(identifiers(PackageSelection(pool, filterPackageRows(pool, query, cache)).toList()),
                 expected);
    }

    void refilteringGivesWhatAFreshFilterGives_data()
    {
        // From one query and pool to the next, the shortcuts (only the new blocks; only the rows the
        // shorter text kept) must give exactly what filtering everything again gives.
        QTest::addColumn<PackageQuery>("before");
        QTest::addColumn<int>("blocksBefore"); // of the three sample blocks below
        QTest::addColumn<PackageQuery>("after");
        QTest::addColumn<int>("blocksAfter");
        const auto q = [](const QString &text, const std::optional<QString> &arch = std::nullopt) {
            return PackageQuery{text, arch, true};
        };
        QTest::newRow("pool grows, no text") << q(u""_s) << 1 << q(u""_s) << 3;
        QTest::newRow("pool grows, text") << q(u"snow"_s) << 2 << q(u"snow"_s) << 3;
        QTest::newRow("pool grows, architecture") << q(u"o"_s, u"ARM64"_s) << 1 << q(u"o"_s, u"ARM64"_s) << 3;
        QTest::newRow("text extended") << q(u"o"_s) << 3 << q(u"oar"_s) << 3;
        QTest::newRow("text extended on the left") << q(u"board"_s) << 3 << q(u"snowboard"_s) << 3;
        QTest::newRow("text extended, other case") << q(u"SN"_s) << 3 << q(u"snoW"_s) << 3;
        QTest::newRow("text extended past the name into no match")
            << q(u"two"_s) << 3 << q(u"two words"_s) << 3;
        QTest::newRow("text extended, architecture")
            << q(u"a"_s, u"arm64"_s) << 3 << q(u"al"_s, u"arm64"_s) << 3;
        QTest::newRow("text extended, architecture changed")
            << q(u"a"_s, u"arm64e"_s) << 3 << q(u"ta"_s) << 3;
        QTest::newRow("text extended and pool grew") << q(u"o"_s) << 2 << q(u"ow"_s) << 3;
        QTest::newRow("text shortened") << q(u"snow"_s) << 3 << q(u"sn"_s) << 3;
        QTest::newRow("text replaced") << q(u"beta"_s) << 3 << q(u"alpha"_s) << 3;
        QTest::newRow("pool shrank") << q(u"o"_s) << 3 << q(u"o"_s) << 1;
        QTest::newRow("from sources mode")
            << PackageQuery{u"o"_s, std::nullopt, false} << 3 << q(u"ow"_s) << 3;
        QTest::newRow("to sources mode") << q(u"o"_s) << 3 << PackageQuery{u"ow"_s, std::nullopt, false} << 3;
    }

    void refilteringGivesWhatAFreshFilterGives()
    {
        QFETCH(PackageQuery, before);
        QFETCH(int, blocksBefore);
        QFETCH(PackageQuery, after);
        QFETCH(int, blocksAfter);
        const PackageList packages = samplePackages();
        const QList<PackageList> blocks{packages.mid(0, 2), packages.mid(2, 3), packages.mid(5)};
        // Rows no query here finds, so that the ones a text keeps are few enough to be looked at again.
        PackageList filler;
        for (int i = 0; i < 200; ++i)
            filler.append(makePackage({u"x.fill"_s, u"Fill"_s, u"arm64"_s}));
        PackagePool earlier;
        PackagePool later;
        earlier.append(filler);
        later = earlier;
        for (int b = 0; b < 3; ++b) {
            if (b < blocksBefore)
                earlier.append(blocks[b]);
            if (b < blocksAfter)
                later.append(blocks[b]);
        }
        // Blocks shared by the two pools are the same blocks, as when a load appends.
        if (blocksAfter >= blocksBefore) {
            later = earlier;
            for (int b = blocksBefore; b < blocksAfter; ++b)
                later.append(blocks[b]);
        }
        SearchIndexCache cache;
        const FilterResult previous{before,
                                    PackageSelection(earlier, filterPackageRows(earlier, before, cache))};
        QCOMPARE(refilterPackageRows(previous, later, after, cache), filterPackageRows(later, after, cache));
        // With nothing to start from, it is a fresh filter.
        QCOMPARE(refilterPackageRows(FilterResult{}, later, after, cache),
                 filterPackageRows(later, after, cache));
    }

    void theIndexScanAgreesWithAPlainReading_data()
    {
        // Blocks whose text fits a byte a character are scanned sixteen characters at a time, with
        // their own paths for one character and for the tail of the text; others are scanned as UTF-16.
        QTest::addColumn<QString>("alphabet");
        QTest::newRow("ascii") << u"abcsnow.-_ 0"_s;
        QTest::newRow("latin-1, upper case too") << u"aAbBÄäéÉsn .ß"_s;
        // é and », ç and the separator U+0001, ¸ and U+0000 share a class of the one-character scan.
        QTest::newRow("latin-1, characters sharing a class") << u"aé»ç¸ b"_s;
        QTest::newRow("wider than latin-1") << u"abs nثلجİ.Σσς"_s;
    }

    void theIndexScanAgreesWithAPlainReading()
    {
        QFETCH(QString, alphabet);
        QRandomGenerator random(20261124);
        const auto text = [&](int most) {
            QString out;
            for (int i = int(random.bounded(most + 1)); i > 0; --i)
                out += alphabet.at(random.bounded(alphabet.size()));
            return out;
        };
        // Rows of every length from none up, some without a name or identifier, in blocks of many sizes
        // (a block's text often ends within sixteen characters of a match).
        PackagePool pool;
        PackageList all;
        for (int b = 0; b < 40; ++b) {
            PackageList block;
            for (int i = int(random.bounded(60)); i > 0; --i) {
                const std::optional<QString> id = random.bounded(8) ? std::optional(text(20)) : std::nullopt;
                const std::optional<QString> name =
                    random.bounded(8) ? std::optional(text(12)) : std::nullopt;
                block.append(makePackage({id, name, std::nullopt}));
            }
            all += block;
            pool.append(block);
        }
        QStringList queries{u"\x01"_s};
        for (const QChar c : alphabet)
            queries.append(c);
        for (int i = 0; i < 300; ++i) {
            // Pieces of real rows (so that most find something), and made-up ones.
            const PackageInfo &p = all.at(random.bounded(all.size()));
            const QString source =
                random.bounded(2) ? p.package().value_or(QString()) : p.name().value_or(QString());
            const qsizetype from = source.isEmpty() ? 0 : random.bounded(source.size());
            const QString piece = source.mid(from, 1 + random.bounded(6)).trimmed();
            queries.append(piece.isEmpty() ? text(4).trimmed() : piece);
        }
        SearchIndexCache cache;
        for (const QString &query : std::as_const(queries)) {
            if (query.isEmpty())
                continue;
            const QString lowered = query.toLower();
            std::vector<qsizetype> expected;
            for (qsizetype row = 0; row < all.size(); ++row) {
                const auto has = [&](const std::optional<QString> &field) {
                    return field && field->toLower().contains(lowered);
                };
                if (has(all[row].name()) || has(all[row].package()))
                    expected.push_back(row);
            }
            QCOMPARE(filterPackageRows(pool, PackageQuery{query, std::nullopt, true}, cache), expected);
        }
    }

    void cacheIndexesEachBlockOnceAndForgetsDroppedOnes()
    {
        PackagePool pool;
        pool.append(samplePackages());
        SearchIndexCache cache;
        const auto first = cache.indexFor(pool.blocks().first());
        QCOMPARE(cache.indexFor(pool.blocks().first()), first);
        pool.clear();
        cache.keepOnly(pool);
        pool.append(makePackages({{u"only.one"_s, u"Only"_s, std::nullopt}}));
        // Even if the new block reuses the old one's address, its own index is built.
        const auto second = cache.indexFor(pool.blocks().first());
        QCOMPARE(second->size(), 1);
    }

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
        // Queued together, the first two may be overtaken; the last always arrives.
        const QList<qsizetype> sizes = f.settle();
        QVERIFY(!sizes.isEmpty());
        QCOMPARE(sizes.last(), 0);
        QList<qsizetype> expected{3, 6, 0};
        for (const qsizetype size : sizes) {
            while (!expected.isEmpty() && expected.first() != size)
                expected.removeFirst();
            QVERIFY2(!expected.isEmpty(), "results out of order, or one never asked for");
            expected.removeFirst();
        }
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

    void resultsArriveInRequestOrderAndTheLastAlways()
    {
        // Jobs overtaken in the queue may be dropped, but what arrives never goes back in time, and the
        // newest request always gets its result.
        Fixture f;
        f.pipeline.setPackagesMode(true);
        f.timer->fire();
        const PackageList big = repeated(20000);
        for (int i = 1; i <= 20; ++i)
            f.pipeline.setPool(poolOf(big.mid(0, i * 3000)));
        const QList<qsizetype> sizes = f.settle();
        QVERIFY(!sizes.isEmpty());
        QVERIFY(std::is_sorted(sizes.cbegin(), sizes.cend()));
        QCOMPARE(sizes.last(), 60000);
        for (const qsizetype size : sizes)
            QCOMPARE(size % 3000, 0);
    }

    void destroyingWhileWorkIsQueuedIsSafe()
    {
        auto *timer = new ManualTimer;
        auto pipeline = std::make_unique<FilterPipeline>(std::unique_ptr<DebounceTimer>(timer));
        pipeline->setPackagesMode(true);
        timer->fire();
        const PackageList big = repeated(50000);
        for (int i = 0; i < 5; ++i)
            pipeline->setPool(poolOf(big));
        pipeline.reset();
        QCoreApplication::processEvents();
    }
};

QTEST_GUILESS_MAIN(TestFilterPipeline)
#include "tst_filterpipeline.moc"
