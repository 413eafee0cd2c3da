// A snapshot must give back exactly the records it was given, keep its memory for as long as any of them
// lives, and refuse any file that is not wholly what it claims: it is read in place, so a wrong offset
// that got through would be a read out of bounds.
#include "index/catalogsnapshot.h"
#include "index/mappedrecord.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

PackageInfo package(const std::optional<QString> &id, const std::optional<QString> &name,
                    const std::optional<QString> &icon = std::nullopt,
                    const std::optional<QString> &architecture = u"iphoneos-arm64"_s,
                    const QString &link = u"https://repo.example/"_s)
{
    return PackageInfo(id, name, u"1.0"_s, u"First line\n second"_s, u"debs/x.deb"_s, icon, architecture,
                       link);
}

QList<SnapshotSource> sampleSources()
{
    const QString a = u"https://a.example/"_s;
    const QString b = u"https://b.example/repo/"_s;
    return {
        {a,
         "etag=\"1\"; size=42"_ba,
         {package(u"com.a.one"_s, u"One"_s, std::nullopt, u"iphoneos-arm64"_s, a),
          package(u"com.a.two"_s, std::nullopt, u"Resources/Tweaks.png"_s, std::nullopt, a),
          package(u"com.a.three"_s, u""_s, u"https://a.example/i.png"_s, u"iphoneos-arm"_s, a),
          package(u"com.a.arabic"_s, u"ثيم الثلج ❄️"_s, std::nullopt, u"iphoneos-arm64"_s, a)}},
        {u"https://empty.example/"_s, QByteArray(), {}},
        {b, QByteArray(1000, 'v'), {package(std::nullopt, u"Odd"_s, std::nullopt, u""_s, b)}},
    };
}

void compare(const PackageList &actual, const PackageList &expected)
{
    QCOMPARE(actual.size(), expected.size());
    for (qsizetype i = 0; i < actual.size(); ++i) {
        for (int f = 0; f < PackageInfo::FieldCount; ++f) {
            const auto field = PackageInfo::Field(f);
            QCOMPARE(actual[i].view(field).has_value(), expected[i].view(field).has_value());
            QCOMPARE(actual[i].text(field), expected[i].text(field));
        }
        QCOMPARE(actual[i].sourceLink(), expected[i].sourceLink());
    }
}

// Opens, and every source's records read.
bool wholly(const std::shared_ptr<const CatalogSnapshot> &snapshot)
{
    if (!snapshot)
        return false;
    for (qsizetype s = 0; s < snapshot->sourceCount(); ++s) {
        if (!snapshot->packages(s))
            return false;
    }
    return true;
}

QString writeSample(const QTemporaryDir &dir)
{
    const QString path = dir.filePath(u"catalogue.snapshot"_s);
    if (!writeCatalogSnapshot(path, sampleSources()))
        return {};
    return path;
}

template<typename T> void put(QByteArray &bytes, qsizetype at, T value)
{
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

template<typename T> T get(const QByteArray &bytes, qsizetype at)
{
    T value;
    std::memcpy(&value, bytes.constData() + at, sizeof value);
    return value;
}

// Where the first record of the first source starts, read from the bytes themselves.
qsizetype firstRecord(const QByteArray &bytes)
{
    const auto table = qsizetype(get<quint64>(bytes, offsetof(SnapshotHeader, sourcesOffset)));
    return qsizetype(get<quint64>(bytes, table + offsetof(SnapshotSourceEntry, recordsOffset)));
}

} // namespace

using Damage = std::function<void(QByteArray &)>;
Q_DECLARE_METATYPE(Damage)

class TestCatalogSnapshot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsBackWhatWasWritten()
    {
        QTemporaryDir dir;
        const QString path = writeSample(dir);
        QVERIFY(!path.isEmpty());
        const QList<SnapshotSource> sources = sampleSources();
        const std::shared_ptr<const CatalogSnapshot> snapshot = CatalogSnapshot::open(path);
        QVERIFY(snapshot);
        QCOMPARE(snapshot->sourceCount(), sources.size());
        for (qsizetype s = 0; s < sources.size(); ++s) {
            QCOMPARE(snapshot->link(s), sources[s].link);
            QCOMPARE(snapshot->validators(s), sources[s].validators);
            QCOMPARE(snapshot->packageCount(s), sources[s].packages.size());
            QVERIFY(snapshot->packages(s));
            compare(*snapshot->packages(s), sources[s].packages);
            QCOMPARE(snapshot->find(sources[s].link), s);
        }
        QCOMPARE(snapshot->find(u"https://A.example/"_s), std::nullopt);

        // The bytes in memory read the same as the file.
        const std::shared_ptr<const CatalogSnapshot> inMemory =
            CatalogSnapshot::fromBytes(encodeCatalogSnapshot(sources));
        QVERIFY(inMemory);
        compare(inMemory->packages(0).value(), sources[0].packages);
    }

    void recordsOutliveTheSnapshotAndItsFile()
    {
        QTemporaryDir dir;
        const QString path = writeSample(dir);
        PackageList kept;
        QUuid firstId;
        {
            const std::shared_ptr<const CatalogSnapshot> snapshot = CatalogSnapshot::open(path);
            QVERIFY(snapshot);
            kept = snapshot->packages(0).value();
            firstId = kept[0].id();
            // Ids are distinct, and the same for a record read twice.
            QCOMPARE(snapshot->packages(0).value()[0].id(), firstId);
            QVERIFY(kept[1].id() != firstId);
            QVERIFY(!firstId.isNull());
        }
        // A newer snapshot replaces the file; the records already handed out still read the old one.
        QVERIFY(writeCatalogSnapshot(path, {{u"https://c.example/"_s, {}, {package(u"c"_s, u"C"_s)}}}));
        PackageInfo copy = kept[3];
        kept.clear();
        QCOMPARE(copy.name(), u"ثيم الثلج ❄️"_s);
        QCOMPARE(copy.id().isNull(), false);
        QCOMPARE(CatalogSnapshot::open(path)->link(0), u"https://c.example/"_s);
    }

    void refusesWhatIsNotWhollyASnapshot_data()
    {
        QTest::addColumn<Damage>("damage");
        QTest::addColumn<bool>("sealed"); // the checksum is made to match the damage afterwards

        const auto cut = [](qsizetype keep) { return Damage([keep](QByteArray &b) { b.truncate(keep); }); };
        QTest::newRow("empty") << cut(0) << false;
        QTest::newRow("half a header") << cut(32) << false;
        QTest::newRow("header only") << cut(64) << true;
        QTest::newRow("last word missing") << Damage([](QByteArray &b) { b.chop(8); }) << true;
        QTest::newRow("a word too many") << Damage([](QByteArray &b) { b.append(8, '\0'); }) << true;
        QTest::newRow("one bit flipped in a record")
            << Damage([](QByteArray &b) { b[b.size() - 40] ^= 1; }) << false;
        QTest::newRow("one bit flipped in a link") << Damage([](QByteArray &b) {
            const auto table = qsizetype(get<quint64>(b, offsetof(SnapshotHeader, sourcesOffset)));
            b[qsizetype(get<quint64>(b, table + offsetof(SnapshotSourceEntry, linkOffset)))] ^= 1;
        }) << false;
        QTest::newRow("records inside the table") << Damage([](QByteArray &b) {
            const auto table = qsizetype(get<quint64>(b, offsetof(SnapshotHeader, sourcesOffset)));
            put<quint64>(b, table + offsetof(SnapshotSourceEntry, recordsOffset), quint64(table));
        }) << true;
        QTest::newRow("another magic") << Damage([](QByteArray &b) { b[0] = 'X'; }) << true;
        QTest::newRow("another version") << Damage([](QByteArray &b) {
            put<quint32>(b, offsetof(SnapshotHeader, version),
                         get<quint32>(b, offsetof(SnapshotHeader, version)) + 1);
        }) << true;
        QTest::newRow("other byte order")
            << Damage([](QByteArray &b) { put<quint32>(b, offsetof(SnapshotHeader, byteOrder), 0x04030201); })
            << true;
        QTest::newRow("more sources than the file holds") << Damage([](QByteArray &b) {
            put<quint32>(b, offsetof(SnapshotHeader, sourceCount), 0x10000000);
        }) << true;
        QTest::newRow("source table past the end") << Damage([](QByteArray &b) {
            put<quint64>(b, offsetof(SnapshotHeader, sourcesOffset), quint64(b.size()));
        }) << true;
        QTest::newRow("source table inside the header")
            << Damage([](QByteArray &b) { put<quint64>(b, offsetof(SnapshotHeader, sourcesOffset), 8); })
            << true;
        const auto entryField = [](qsizetype field, quint64 value, int width) {
            return Damage([field, value, width](QByteArray &b) {
                const auto at = qsizetype(get<quint64>(b, offsetof(SnapshotHeader, sourcesOffset))) + field;
                width == 8 ? put<quint64>(b, at, value) : put<quint32>(b, at, quint32(value));
            });
        };
        QTest::newRow("link past the end")
            << entryField(offsetof(SnapshotSourceEntry, linkUnits), 1U << 30, 4) << true;
        QTest::newRow("validators past the end")
            << entryField(offsetof(SnapshotSourceEntry, validatorsBytes), 0xFFFFFFFF, 4) << true;
        QTest::newRow("one record more than written")
            << entryField(offsetof(SnapshotSourceEntry, recordCount), 5, 4) << true;
        QTest::newRow("one record fewer than written")
            << entryField(offsetof(SnapshotSourceEntry, recordCount), 3, 4) << true;
        QTest::newRow("records past the end")
            << entryField(offsetof(SnapshotSourceEntry, recordsBytes), quint64(1) << 40, 8) << true;
        QTest::newRow("records misaligned")
            << entryField(offsetof(SnapshotSourceEntry, recordsOffset), 68, 8) << true;

        const auto recordField = [](qsizetype field, quint32 value) {
            return Damage([field, value](QByteArray &b) { put<quint32>(b, firstRecord(b) + field, value); });
        };
        QTest::newRow("record claims more text") << recordField(offsetof(MappedRecord, units), 4000) << true;
        QTest::newRow("record of another source")
            << recordField(offsetof(MappedRecord, sourceIndex), 1) << true;
        QTest::newRow("field ends past the text")
            << recordField(offsetof(MappedRecord, end) + 4 * 6, 100000) << true;
        QTest::newRow("fields out of order") << recordField(offsetof(MappedRecord, end), 200) << true;
        QTest::newRow("record elsewhere than it says")
            << Damage([](QByteArray &b) { put<quint64>(b, firstRecord(b), 64); }) << true;
        QTest::newRow("an eighth field") << Damage([](QByteArray &b) {
            b[firstRecord(b) + qsizetype(offsetof(MappedRecord, present))] = char(0xFF);
        }) << true;
        QTest::newRow("default icon on a record without one") << Damage([](QByteArray &b) {
            // The first record has no icon at all.
            b[firstRecord(b) + qsizetype(offsetof(MappedRecord, defaultIcon))] = 1;
        }) << true;
        QTest::newRow("text in an absent field") << Damage([](QByteArray &b) {
            const qsizetype present = firstRecord(b) + qsizetype(offsetof(MappedRecord, present));
            b[present] = char(b[present] & ~(1 << PackageInfo::Description));
        }) << true;
    }

    void refusesWhatIsNotWhollyASnapshot()
    {
        QFETCH(Damage, damage);
        QFETCH(bool, sealed);
        QByteArray bytes = encodeCatalogSnapshot(sampleSources());
        QVERIFY(wholly(CatalogSnapshot::fromBytes(bytes)));
        damage(bytes);
        if (sealed)
            sealCatalogSnapshot(bytes);
        QVERIFY(!wholly(CatalogSnapshot::fromBytes(bytes)));

        // The file reader refuses it just the same.
        QTemporaryDir dir;
        QFile file(dir.filePath(u"catalogue.snapshot"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        QVERIFY(!wholly(CatalogSnapshot::open(file.fileName())));
    }

    void aDamagedSourceLeavesTheOthersReadable()
    {
        QByteArray bytes = encodeCatalogSnapshot(sampleSources());
        bytes[firstRecord(bytes) + qsizetype(sizeof(MappedRecord))] ^= 1; // a letter of the first record
        const std::shared_ptr<const CatalogSnapshot> snapshot = CatalogSnapshot::fromBytes(bytes);
        QVERIFY(snapshot);
        QVERIFY(!snapshot->packages(0));
        QVERIFY(!snapshot->packages(0)); // and stays so
        QCOMPARE(snapshot->packages(2).value().size(), 1);
    }

    void missingOrNotAFile()
    {
        QTemporaryDir dir;
        QVERIFY(!CatalogSnapshot::open(dir.filePath(u"none"_s)));
        QVERIFY(!CatalogSnapshot::open(dir.path()));
        // A snapshot cannot be written where a folder stands, and the folder is left as it was.
        QVERIFY(!writeCatalogSnapshot(dir.path(), sampleSources()));
        QVERIFY(QFileInfo(dir.path()).isDir());
    }
};

QTEST_GUILESS_MAIN(TestCatalogSnapshot)
#include "tst_catalogsnapshot.moc"
