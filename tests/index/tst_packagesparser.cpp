// The index parser works on raw bytes for speed, so these tests hold it against golden files, against a
// plain character-by-character reading of the same rules, and against inputs that are not text at all.
#include "index/indexfile.h"
#include "index/indextext.h"
#include "index/packagejson.h"
#include "index/packagesparser.h"
#include "referenceparser.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QSet>
#include <QTest>

namespace {

const QString kLink = QStringLiteral("https://repo.example.com/");
const QString kAbsent = QStringLiteral("<absent>");

QString fixtureDir()
{
    return QStringLiteral(TALLOWPINE_TEST_DATA "/index");
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("missing fixture %s", qPrintable(path));
    return file.readAll();
}

QStringList fixtures()
{
    return QDir(fixtureDir()).entryList({QStringLiteral("*.Packages")}, QDir::Files, QDir::Name);
}

QString jsonLines(const PackageList &records)
{
    QString out;
    for (const PackageInfo &record : records)
        appendPackageJsonLine(out, record);
    return out;
}

QStringList fieldValues(const PackageList &records, PackageInfo::Field field)
{
    QStringList values;
    for (const PackageInfo &record : records)
        values.append(record.text(field).value_or(kAbsent));
    return values;
}

// Inputs built from the pieces the format cares about, so that random sequences hit its corners often.
QByteArray randomIndex(QRandomGenerator &random)
{
    static const QList<QByteArray> tokens{
        "Package",
        "Name",
        "Version",
        "Description",
        "Filename",
        "Icon",
        "Architecture",
        "Depends",
        ":",
        ": ",
        " ",
        "\t",
        "\n",
        "\n",
        "\n\n",
        "\r\n",
        "\r",
        "\v",
        "\f",
        "\xC2\x85",
        "\xE2\x80\xA8",
        "\xE2\x80\xA9",
        "\xC2\xA0",
        "\xE3\x80\x80",
        "\xE2\x80\x83",
        "\xE2\x80\x8B",
        "\xE1\x9A\x80",
        "-",
        "iphoneos-arm64",
        "x",
        "1.0",
        QByteArray("\0", 1),
        "\xC3\xA9",
        "\xE9",
        "\x85",
        "\xA0",
        "\xE2",
        "\xF0\x9F\x98\x80",
        "\xED\xA0\x80",
        "\xEF\xBB\xBF",
        ".",
        " .",
        "\xD8\xB9\xD8\xB1\xD8\xA8",
    };
    QByteArray text;
    const int count = random.bounded(1, 40);
    for (int i = 0; i < count; ++i)
        text += tokens.at(random.bounded(int(tokens.size())));
    return text;
}

} // namespace

class TestPackagesParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void golden_data();
    void golden();
    void rules_data();
    void rules();
    void lineEndsDoNotMatter_data();
    void lineEndsDoNotMatter();
    void agreesWithPlainReading();
    void countMatchesParse();
    void strictUtf8_data();
    void strictUtf8();
    void decodingFallsBackToLatin1();
    void idsAreFreshAndUnique();
    void recordsFromValues();
    void longLine();
    void loadsPlainFiles();
};

void TestPackagesParser::golden_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : fixtures())
        QTest::newRow(qPrintable(name)) << name;
}

void TestPackagesParser::golden()
{
    QFETCH(QString, name);
    const QByteArray bytes = readFile(fixtureDir() + u'/' + name);
    const QString expected = QString::fromUtf8(
        readFile(fixtureDir() + u'/' + name.chopped(int(qstrlen(".Packages"))) + QStringLiteral(".jsonl")));

    const PackageList records = parsePackagesData(bytes, kLink);
    QCOMPARE(jsonLines(records).split(u'\n'), expected.split(u'\n'));
    QCOMPARE(countPackages(decodeIndexBytes(bytes)), records.size());
}

void TestPackagesParser::rules_data()
{
    using F = PackageInfo;
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("field");
    QTest::addColumn<QStringList>("values"); // the field of each record, in order

    QTest::newRow("empty") << QByteArray() << int(F::Package) << QStringList();
    QTest::newRow("only line ends") << QByteArray("\n\r\n\r\n\v\f") << int(F::Package) << QStringList();
    QTest::newRow("only blanks") << QByteArray("   \n\t\n") << int(F::Package) << QStringList();
    QTest::newRow("no colon anywhere")
        << QByteArray("Package com.a\nhello\n") << int(F::Package) << QStringList();
    QTest::newRow("last stanza unterminated")
        << QByteArray("Package: a\n\nPackage: b") << int(F::Package) << QStringList{"a", "b"};
    QTest::newRow("many blank lines") << QByteArray("\n\n\nPackage: a\n\n\n\n\nPackage: b\n\n\n")
                                      << int(F::Package) << QStringList{"a", "b"};
    QTest::newRow("continuations") << QByteArray("Description: short\n  line one\n .\n \t \nName: n\n")
                                   << int(F::Description) << QStringList{"short\nline one\n.\n"};
    QTest::newRow("blank-only line continues the stanza")
        << QByteArray("Package: a\n \nName: still a\n") << int(F::Name) << QStringList{"still a"};
    QTest::newRow("continuation of another field is dropped")
        << QByteArray("Description: d\nDepends: x,\n y\n") << int(F::Description) << QStringList{"d"};
    QTest::newRow("continuation before any field is a field line")
        << QByteArray(" Package: a\nName: n\n") << int(F::Package) << QStringList{kAbsent};
    QTest::newRow("continuation line with a colon after a field")
        << QByteArray("Name: n\n Package: a\n") << int(F::Name) << QStringList{"n\nPackage: a"};
    QTest::newRow("line without colon ignored")
        << QByteArray("Package: a\njunk\nName: n\n") << int(F::Name) << QStringList{"n"};
    QTest::newRow("name is case-sensitive")
        << QByteArray("package: a\n") << int(F::Package) << QStringList{kAbsent};
    QTest::newRow("name is not trimmed")
        << QByteArray("Package : a\nName: n\n") << int(F::Package) << QStringList{kAbsent};
    QTest::newRow("repeated field overwrites")
        << QByteArray("Version: 1\n more\nVersion: 2\n") << int(F::Version) << QStringList{"2"};
    QTest::newRow("continuation after overwrite")
        << QByteArray("Version: 1\nName: n\nVersion: 2\n b\n") << int(F::Version) << QStringList{"2\nb"};
    QTest::newRow("no blank after colon")
        << QByteArray("Version:1.0\n") << int(F::Version) << QStringList{"1.0"};
    QTest::newRow("colons in the value")
        << QByteArray("Version: 2:1.0:3\n") << int(F::Version) << QStringList{"2:1.0:3"};
    QTest::newRow("empty name") << QByteArray(": x\n") << int(F::Package) << QStringList{kAbsent};
    QTest::newRow("unicode blanks trimmed")
        << QByteArray("Name: \xC2\xA0\xE3\x80\x80 n \xE2\x80\x83\xE2\x80\xAF\xE2\x81\x9F\xE1\x9A\x80\t\n")
        << int(F::Name) << QStringList{"n"};
    QTest::newRow("zero width space kept")
        << QByteArray("Name: \xE2\x80\x8Bn\n") << int(F::Name) << QStringList{QString::fromUtf8("\u200Bn")};
    QTest::newRow("NUL bytes kept") << QByteArray("Name: a\0b\n", 10) << int(F::Name)
                                    << QStringList{QStringView(u"a\u0000b", 3).toString()};
    QTest::newRow("icon default") << QByteArray("Package: a\n") << int(F::Icon)
                                  << QStringList{"Resources/Tweaks.png"};
    QTest::newRow("icon kept") << QByteArray("Icon: https://x/i.png\n\nIcon:\n") << int(F::Icon)
                               << QStringList{"https://x/i.png", ""};
    QTest::newRow("architecture suffix")
        << QByteArray("Architecture: iphoneos-arm64\n\nArchitecture: iphoneos-arm64e\n\nArchitecture: "
                      "iphoneos-arm\n\n"
                      "Architecture: all\n\nArchitecture:\n\nArchitecture: a-b-\n\nPackage: none\n")
        << int(F::Architecture) << QStringList{"arm64", "arm64e", "arm", "all", "", "", kAbsent};
    QTest::newRow("architecture over several lines")
        << QByteArray("Architecture: darwin-\n arm64\n\nArchitecture: x\n a-b\n c\n") << int(F::Architecture)
        << QStringList{"\narm64", "b\nc"};
    QTest::newRow("line separators")
        << QByteArray(
               "Package: a\r\rPackage: b\v\vPackage: c\f\fPackage: d\xC2\x85\xC2\x85Package: e\xE2\x80\xA8"
               "\xE2\x80\xA9Package: f\r\n\r\nPackage: g")
        << int(F::Package) << QStringList{"a", "b", "c", "d", "e", "f", "g"};
    QTest::newRow("look-alike bytes are no separators")
        << QByteArray("Name: \xC2\xA0x\xE2\x80\xA7y\xE2\x81\xA8z\n") << int(F::Name)
        << QStringList{QString::fromUtf8("x\u2027y\u2068z")};
    QTest::newRow("byte order mark dropped")
        << QByteArray("\xEF\xBB\xBFPackage: a\n") << int(F::Package) << QStringList{"a"};
    QTest::newRow("NEL in Latin-1 text") << QByteArray("Package: \xE9\x85Name: n\x85\x85Package: b\n")
                                         << int(F::Package) << QStringList{QStringLiteral("é"), "b"};
    QTest::newRow("NEL lead byte is a letter in Latin-1")
        << QByteArray("Package: \xC2\x85\xE9\n") << int(F::Package) << QStringList{QStringLiteral("Â")};
}

void TestPackagesParser::rules()
{
    QFETCH(QByteArray, input);
    QFETCH(int, field);
    QFETCH(QStringList, values);

    const PackageList records = parsePackagesData(input, kLink);
    QCOMPARE(fieldValues(records, PackageInfo::Field(field)), values);
    QCOMPARE(countPackages(decodeIndexBytes(input)), records.size());
    for (const PackageInfo &record : records)
        QCOMPARE(record.sourceLink(), kLink);
}

void TestPackagesParser::lineEndsDoNotMatter_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("lineEnd");
    for (const QString &name : fixtures()) {
        QTest::addRow("%s CR LF", qPrintable(name)) << name << QByteArray("\r\n");
        QTest::addRow("%s CR", qPrintable(name)) << name << QByteArray("\r");
        QTest::addRow("%s U+2028", qPrintable(name)) << name << QByteArray("\xE2\x80\xA8");
    }
}

void TestPackagesParser::lineEndsDoNotMatter()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, lineEnd);
    const QByteArray lf = readFile(fixtureDir() + u'/' + name);
    if (lf.contains('\r'))
        QSKIP("the file mixes line ends on purpose");
    if (!isStrictUtf8(lf) && lineEnd.startsWith('\xE2'))
        QSKIP("in Latin-1 text the UTF-8 form of U+2028 is three letters");
    QByteArray other = lf;
    other.replace("\n", lineEnd);
    QCOMPARE(jsonLines(parsePackagesData(other, kLink)), jsonLines(parsePackagesData(lf, kLink)));
}

void TestPackagesParser::agreesWithPlainReading()
{
    QList<QByteArray> inputs;
    QRandomGenerator random(20240607);
    for (int i = 0; i < 3000; ++i)
        inputs.append(randomIndex(random));
    for (int i = 0; i < 200; ++i) {
        QByteArray junk(random.bounded(1, 300), Qt::Uninitialized);
        for (char &c : junk)
            c = char(random.bounded(256));
        inputs.append(junk);
    }
    for (const QString &name : fixtures()) {
        const QByteArray bytes = readFile(fixtureDir() + u'/' + name);
        for (qsizetype cut = 0; cut < bytes.size(); cut += 7)
            inputs.append(bytes.left(cut));
    }

    for (const QByteArray &input : std::as_const(inputs)) {
        const PackageList records = parsePackagesData(input, kLink);
        const QString expected = jsonLines(reference::parse(reference::decode(input), kLink));
        if (jsonLines(records) != expected)
            QFAIL(qPrintable(QStringLiteral("differs on ") + QString::fromLatin1(input.toPercentEncoding())));
    }
}

void TestPackagesParser::countMatchesParse()
{
    QRandomGenerator random(99);
    for (int i = 0; i < 3000; ++i) {
        const QByteArray input = randomIndex(random);
        const IndexText text = decodeIndexBytes(input);
        QCOMPARE(countPackages(text), parsePackages(text, kLink).size());
    }
}

void TestPackagesParser::strictUtf8_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("valid");
    QTest::newRow("ascii and NUL") << QByteArray("abc\0def", 7) << true;
    QTest::newRow("two, three and four bytes") << QByteArray("\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80") << true;
    QTest::newRow("limits") << QByteArray(
                                   "\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF")
                            << true;
    QTest::newRow("noncharacter") << QByteArray("\xEF\xBF\xBE") << true;
    QTest::newRow("long ascii run then é") << QByteArray(40, 'a') + "\xC3\xA9" + QByteArray(40, 'b') << true;
    QTest::newRow("lone continuation") << QByteArray("a\x80") << false;
    QTest::newRow("overlong two bytes") << QByteArray("\xC0\xAF") << false;
    QTest::newRow("overlong three bytes") << QByteArray("\xE0\x9F\xBF") << false;
    QTest::newRow("overlong four bytes") << QByteArray("\xF0\x8F\xBF\xBF") << false;
    QTest::newRow("surrogate") << QByteArray("\xED\xA0\x80") << false;
    QTest::newRow("above U+10FFFF") << QByteArray("\xF4\x90\x80\x80") << false;
    QTest::newRow("F5 lead") << QByteArray("\xF5\x80\x80\x80") << false;
    QTest::newRow("cut at the end") << QByteArray(20, 'a') + "\xE4\xB8" << false;
    QTest::newRow("cut by ascii") << QByteArray("\xE4\xB8z") << false;
    QTest::newRow("Latin-1 é deep in ascii") << QByteArray(100, 'a') + "\xE9" + QByteArray(100, 'a') << false;
}

void TestPackagesParser::strictUtf8()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, valid);
    QCOMPARE(isStrictUtf8(bytes), valid);
    QCOMPARE(decodeIndexBytes(bytes).encoding, valid ? TextEncoding::Utf8 : TextEncoding::Latin1);
    QCOMPARE(decodeIndexText(bytes), valid ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes));
}

void TestPackagesParser::decodingFallsBackToLatin1()
{
    // One bad byte anywhere changes the reading of the whole file, the valid UTF-8 in it included.
    const PackageList records = parsePackagesData("Name: \xC3\xA9\n\nName: \xE9\n", kLink);
    QCOMPARE(fieldValues(records, PackageInfo::Name),
             (QStringList{QStringLiteral("Ã©"), QStringLiteral("é")}));
}

void TestPackagesParser::idsAreFreshAndUnique()
{
    const QByteArray text = readFile(fixtureDir() + QStringLiteral("/jailbreak.Packages"));
    const PackageList first = parsePackagesData(text, kLink);
    const PackageList second = parsePackagesData(text, kLink);
    QSet<QUuid> ids;
    for (const PackageList &records : {first, second}) {
        for (const PackageInfo &record : records) {
            QCOMPARE(record.id().version(), QUuid::Random);
            QCOMPARE(record.id().variant(), QUuid::DCE);
            ids.insert(record.id());
        }
    }
    QCOMPARE(ids.size(), first.size() + second.size());

    const PackageInfo copy = first.first();
    QCOMPARE(copy.id(), first.first().id());
    QVERIFY(PackageInfo().id().isNull());
}

void TestPackagesParser::recordsFromValues()
{
    const PackageInfo record(QStringLiteral("com.a"), QStringLiteral(""), std::nullopt,
                             QStringLiteral("d\ne"), std::nullopt, QStringLiteral("Resources/Tweaks.png"),
                             QStringLiteral("arm64"), kLink);
    QCOMPARE(record.package(), QStringLiteral("com.a"));
    QVERIFY(record.name().has_value() && record.name()->isEmpty());
    QVERIFY(!record.view(PackageInfo::Version).has_value());
    QCOMPARE(record.description(), QStringLiteral("d\ne"));
    QCOMPARE(record.iconURL(), QStringLiteral("Resources/Tweaks.png"));
    QCOMPARE(*record.view(PackageInfo::Icon), kDefaultIconURL);
    QCOMPARE(record.architecture(), QStringLiteral("arm64"));

    const PackageInfo noIcon(std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                             std::nullopt, std::nullopt, QString());
    QVERIFY(!noIcon.iconURL().has_value());

    // The view stays valid through copies of the record, whatever happens to the original.
    std::optional<QStringView> view;
    PackageInfo kept;
    {
        const PackageList records = parsePackagesData("Description: long text\n", kLink);
        kept = records.first();
        view = kept.view(PackageInfo::Description);
    }
    QCOMPARE(view->toString(), QStringLiteral("long text"));

    PackageInfo moved = std::move(kept);
    QCOMPARE(moved.description(), QStringLiteral("long text"));
    QVERIFY(QVariant::fromValue(moved).value<PackageInfo>().id() == moved.id());
}

void TestPackagesParser::longLine()
{
    // A single value of 32 MiB: one line, one piece, no quadratic work.
    constexpr qsizetype size = qsizetype(32) << 20;
    QByteArray text = "Package: big\nDescription: ";
    text += QByteArray(size, 'y');
    text += "\xC3\xA9\n";
    const PackageList records = parsePackagesData(text, kLink);
    QCOMPARE(records.size(), 1);
    const QStringView description = *records.first().view(PackageInfo::Description);
    QCOMPARE(description.size(), size + 1);
    QCOMPARE(description.back(), QChar(u'é'));
    QCOMPARE(records.first().package(), QStringLiteral("big"));
}

void TestPackagesParser::loadsPlainFiles()
{
    const QString path = fixtureDir() + QStringLiteral("/jailbreak.Packages");
    QString error;
    const std::optional<PackageList> records = loadIndexFile(path, kLink, &error);
    QVERIFY2(records.has_value(), qPrintable(error));
    QCOMPARE(jsonLines(*records), jsonLines(parsePackagesData(readFile(path), kLink)));
    QCOMPARE(countIndexFile(path), records->size());
}

QTEST_GUILESS_MAIN(TestPackagesParser)
#include "tst_packagesparser.moc"
