#include "search/packagefilter.h"

#include "../testpackages.h"

#include <QTest>

namespace {

const QString none; // marks an absent field in the tables below

std::optional<QString> field(const QString &value)
{
    return value.isNull() ? std::nullopt : std::optional(value);
}

// A pool that mixes everything the filter distinguishes; rows are referred to by identifier.
PackageList samplePackages()
{
    return makePackages({
        {QStringLiteral("com.alpha.snowboard"), QStringLiteral("SnowBoard"), QStringLiteral("arm64")},
        {QStringLiteral("com.beta.tweak"), QStringLiteral("Beta Tweak"), QStringLiteral("arm64e")},
        {QStringLiteral("org.gamma.board"), std::nullopt, QStringLiteral("ARM")},
        {QStringLiteral("net.delta.Ünicode"), QStringLiteral("Délta Ärger"), QStringLiteral("all")},
        {std::nullopt, QStringLiteral("No Identifier"), std::nullopt},
        {QStringLiteral("com.epsilon.two words"), QStringLiteral("two  spaces"),
         QStringLiteral("iphoneos-arm64")},
        {QStringLiteral("com.alpha.snowboard"), QStringLiteral("SnowBoard"), QStringLiteral("arm64")},
    });
}

QStringList identifiers(const PackageList &packages)
{
    QStringList ids;
    for (const PackageInfo &p : packages)
        ids.append(p.package().value_or(QStringLiteral("-")));
    return ids;
}

} // namespace

class TestPackageFilter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filterStep_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("architecture");
        QTest::addColumn<bool>("packagesMode");
        QTest::addColumn<QStringList>("expected");

        const QStringList all = identifiers(samplePackages());
        QTest::newRow("other modes show no packages") << "snow" << none << false << QStringList{};
        QTest::newRow("no filter keeps all, in order, duplicates too") << "" << none << true << all;
        QTest::newRow("name, any case")
            << "SNOWB" << none << true << QStringList{"com.alpha.snowboard", "com.alpha.snowboard"};
        QTest::newRow("identifier when the name misses")
            << "board" << none << true
            << QStringList{"com.alpha.snowboard", "org.gamma.board", "com.alpha.snowboard"};
        QTest::newRow("missing name, identifier still searched")
            << "gamma" << none << true << QStringList{"org.gamma.board"};
        QTest::newRow("missing identifier, name still searched")
            << "identifier" << none << true << QStringList{"-"};
        QTest::newRow("whole query as one piece") << "two spaces" << none << true << QStringList{};
        QTest::newRow("double space matches")
            << "two  spaces" << none << true << QStringList{"com.epsilon.two words"};
        QTest::newRow("no diacritic folding") << "delta ar" << none << true << QStringList{};
        QTest::newRow("non-ASCII lower-cased")
            << "DÉLTA ÄR" << none << true << QStringList{"net.delta.Ünicode"};
        QTest::newRow("no match across rows") << "snowboard\ncom" << none << true << QStringList{};
        QTest::newRow("NUL in the query")
            << QStringLiteral("snow") + QChar(u'\0') << none << true << QStringList{};
        QTest::newRow("architecture ignores case") << ""
                                                   << "ARM64E" << true << QStringList{"com.beta.tweak"};
        QTest::newRow("no family rule, absent dropped") << ""
                                                        << "arm" << true << QStringList{"org.gamma.board"};
        QTest::newRow("'all' disables the filter") << ""
                                                   << "ALL" << true << all;
        QTest::newRow("empty disables the filter") << ""
                                                   << "" << true << all;
        QTest::newRow("unknown architecture") << ""
                                              << "x86_64" << true << QStringList{};
        QTest::newRow("raw value compared")
            << ""
            << "iphoneos-arm64" << true << QStringList{"com.epsilon.two words"};
        QTest::newRow("text and architecture")
            << "o"
            << "arm64" << true << QStringList{"com.alpha.snowboard", "com.alpha.snowboard"};
    }
    void filterStep()
    {
        QFETCH(QString, text);
        QFETCH(QString, architecture);
        QFETCH(bool, packagesMode);
        QFETCH(QStringList, expected);
        const PackageQuery query{text, field(architecture), packagesMode};
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

    void poolAppendsWithoutCopyingBlocks()
    {
        PackagePool pool;
        pool.append(samplePackages());
        const PackagePool snapshot = pool;
        pool.append(samplePackages());
        QCOMPARE(snapshot.size(), 7);
        QCOMPARE(pool.size(), 14);
        QCOMPARE(pool.blocks().first(), snapshot.blocks().first());
        QCOMPARE(pool.at(8).package(), samplePackages().at(1).package());
        QCOMPARE(pool.at(13).name(), samplePackages().at(6).name());
        QVERIFY(!(pool == snapshot));
        pool.clear();
        QVERIFY(pool.isEmpty());
        QCOMPARE(pool.toList().size(), 0);
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
        pool.append(makePackages({{QStringLiteral("only.one"), QStringLiteral("Only"), std::nullopt}}));
        // Even if the new block reuses the old one's address, its own index is built.
        const auto second = cache.indexFor(pool.blocks().first());
        QCOMPARE(second->size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestPackageFilter)
#include "tst_packagefilter.moc"
