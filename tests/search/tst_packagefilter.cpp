#include "search/packagefilter.h"

#include "../testpackages.h"

#include <QTest>

using namespace Qt::StringLiterals;

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
        const auto text = [](const char *tag, const QString &text, const QStringList &expected) {
            QTest::newRow(tag) << text << none << true << expected;
        };
        const auto arch = [](const char *tag, const QString &architecture, const QStringList &expected) {
            QTest::newRow(tag) << QString() << architecture << true << expected;
        };
        const QStringList all = identifiers(samplePackages());
        const QString snowboard = u"com.alpha.snowboard"_s;

        QTest::newRow("other modes show no packages") << u"snow"_s << none << false << QStringList{};
        text("no filter keeps all, in order, duplicates too", u""_s, all);
        text("name, any case", u"SNOWB"_s, {snowboard, snowboard});
        text("identifier when the name misses", u"board"_s, {snowboard, "org.gamma.board", snowboard});
        text("missing name, identifier still searched", u"gamma"_s, {"org.gamma.board"});
        text("missing identifier, name still searched", u"identifier"_s, {"-"});
        text("whole query as one piece", u"two spaces"_s, {});
        text("double space matches", u"two  spaces"_s, {"com.epsilon.two words"});
        text("no diacritic folding", u"delta ar"_s, {});
        text("non-ASCII lower-cased", u"DÉLTA ÄR"_s, {"net.delta.Ünicode"});
        text("no match across rows", u"snowboard\ncom"_s, {});
        text("NUL in the query", u"snow"_s + QChar(u'\0'), {});
        arch("architecture ignores case", u"ARM64E"_s, {"com.beta.tweak"});
        arch("no family rule, absent dropped", u"arm"_s, {"org.gamma.board"});
        arch("'all' disables the filter", u"ALL"_s, all);
        arch("empty disables the filter", u""_s, all);
        arch("unknown architecture", u"x86_64"_s, {});
        arch("raw value compared", u"iphoneos-arm64"_s, {"com.epsilon.two words"});
        QTest::newRow("text and architecture")
            << u"o"_s << u"arm64"_s << true << QStringList{snowboard, snowboard};
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
        pool.append(makePackages({{u"only.one"_s, u"Only"_s, std::nullopt}}));
        // Even if the new block reuses the old one's address, its own index is built.
        const auto second = cache.indexFor(pool.blocks().first());
        QCOMPARE(second->size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestPackageFilter)
#include "tst_packagefilter.moc"
