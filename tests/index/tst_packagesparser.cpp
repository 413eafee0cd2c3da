// The index parser works on raw bytes for speed, so these tests hold it against golden files, against a
// plain character-by-character reading of the same rules, and against inputs that are not text at all.
#include "../testfiles.h"
#include "index/indexfile.h"
#include "index/indextext.h"
#include "index/packagejson.h"
#include "index/packagesparser.h"
#include "referenceparser.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString kLink = QStringLiteral("https://repo.example.com/");
const QString kAbsent = QStringLiteral("<absent>");

QString fixture(const QString &name)
{
    return testData(QStringLiteral("index/") + name);
}

QStringList fixtures()
{
    return QDir(fixture(QString())).entryList({QStringLiteral("*.Packages")}, QDir::Files, QDir::Name);
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
    // clang-format off
    static const QList<QByteArray> tokens{
        "Package"_ba, "Name"_ba, "Version"_ba, "Description"_ba, "Filename"_ba, "Icon"_ba,
        "Architecture"_ba, "Depends"_ba, ":"_ba, ": "_ba, " "_ba, "\t"_ba, "\n"_ba, "\n"_ba, "\n\n"_ba,
        "\r\n"_ba, "\r"_ba, "\v"_ba, "\f"_ba, "\xC2\x85"_ba, "\xE2\x80\xA8"_ba, "\xE2\x80\xA9"_ba,
        "\xC2\xA0"_ba, "\xE3\x80\x80"_ba, "\xE2\x80\x83"_ba, "\xE2\x80\x8B"_ba, "\xE1\x9A\x80"_ba, "-"_ba,
        "iphoneos-arm64"_ba, "x"_ba, "1.0"_ba, QByteArray("\0", 1), "\xC3\xA9"_ba, "\xE9"_ba, "\x85"_ba,
        "\xA0"_ba, "\xE2"_ba, "\xF0\x9F\x98\x80"_ba, "\xED\xA0\x80"_ba, "\xEF\xBB\xBF"_ba, "."_ba, " ."_ba,
        "\xD8\xB9\xD8\xB1\xD8\xA8"_ba};
    // clang-format on
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
    // Each file as written, and with its line ends swapped for other kinds, which must not matter.
    void golden_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("lineEnd");
        for (const QString &name : fixtures()) {
            QTest::addRow("%s", qPrintable(name)) << name << "\n"_ba;
            QTest::addRow("%s CR LF", qPrintable(name)) << name << "\r\n"_ba;
            QTest::addRow("%s CR", qPrintable(name)) << name << "\r"_ba;
            QTest::addRow("%s U+2028", qPrintable(name)) << name << "\xE2\x80\xA8"_ba;
        }
    }

    void golden()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, lineEnd);
        const QString path = fixture(name);
        const QString expected = QString::fromUtf8(
            readFile(fixture(name.chopped(int(qstrlen(".Packages"))) + QStringLiteral(".jsonl"))));
        QByteArray bytes = readFile(path);
        if (lineEnd != "\n" && bytes.contains('\r'))
            QSKIP("the file mixes line ends on purpose");
        if (!isStrictUtf8(bytes) && lineEnd.startsWith('\xE2'))
            QSKIP("in Latin-1 text the UTF-8 form of U+2028 is three letters");
        bytes.replace("\n", lineEnd);

        const PackageList records = parsePackagesData(bytes, kLink);
        QCOMPARE(jsonLines(records).split(u'\n'), expected.split(u'\n'));
        QCOMPARE(countPackages(decodeIndexBytes(bytes)), records.size());
        if (lineEnd != "\n")
            return;
        // Plain files are read in place rather than copied; the result must be the same.
        QString error;
        const std::optional<PackageList> loaded = loadIndexFile(path, kLink, &error);
        QVERIFY2(loaded.has_value(), qPrintable(error));
        QCOMPARE(jsonLines(*loaded), expected);
        QCOMPARE(countIndexFile(path), records.size());
    }

    void rules_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("field");
        QTest::addColumn<QStringList>("values"); // the field of each record, in order
        const auto row = [](const char *tag, const QByteArray &input, PackageInfo::Field field,
                            const QStringList &values) {
            QTest::newRow(tag) << input << int(field) << values;
        };
        using F = PackageInfo;

        row("empty", ""_ba, F::Package, {});
        row("only line ends", "\n\r\n\r\n\v\f"_ba, F::Package, {});
        row("no colon anywhere", "Package com.a\nhello\n"_ba, F::Package, {});
        row("last stanza unterminated", "Package: a\n\nPackage: b"_ba, F::Package, {"a", "b"});
        row("continuations", "Description: short\n  line one\n .\n \t \nName: n\n"_ba, F::Description,
            {"short\nline one\n.\n"});
        row("blank-only line continues the stanza", "Package: a\n \nName: still a\n"_ba, F::Name,
            {"still a"});
        row("continuation of another field is dropped", "Description: d\nDepends: x,\n y\n"_ba,
            F::Description, {"d"});
        row("continuation before any field is a field line", " Package: a\nName: n\n"_ba, F::Package,
            {kAbsent});
        row("continuation line with a colon after a field", "Name: n\n Package: a\n"_ba, F::Name,
            {"n\nPackage: a"});
        row("name is case-sensitive", "package: a\n"_ba, F::Package, {kAbsent});
        row("name is not trimmed", "Package : a\nName: n\n"_ba, F::Package, {kAbsent});
        row("repeated field overwrites", "Version: 1\n more\nVersion: 2\n"_ba, F::Version, {"2"});
        row("continuation after overwrite", "Version: 1\nName: n\nVersion: 2\n b\n"_ba, F::Version, {"2\nb"});
        row("no blank after colon", "Version:1.0\n"_ba, F::Version, {"1.0"});
        row("empty name", ": x\n"_ba, F::Package, {kAbsent});
        row("unicode blanks trimmed",
            "Name: \xC2\xA0\xE3\x80\x80 n \xE2\x80\x83\xE2\x80\xAF\xE2\x81\x9F\xE1\x9A\x80\t\n"_ba, F::Name,
            {"n"});
        row("zero width space kept", "Name: \xE2\x80\x8Bn\n"_ba, F::Name, {u"\u200Bn"_s});
        row("NUL bytes kept", "Name: a\0b\n"_ba, F::Name, {QStringView(u"a\u0000b", 3).toString()});
        row("icon default", "Package: a\n"_ba, F::Icon, {"Resources/Tweaks.png"});
        row("icon kept", "Icon: https://x/i.png\n\nIcon:\n"_ba, F::Icon, {"https://x/i.png", ""});
        row("architecture suffix",
            "Architecture: iphoneos-arm64\n\nArchitecture: iphoneos-arm64e\n\nArchitecture: iphoneos-arm\n\n"
            "Architecture: all\n\nArchitecture:\n\nArchitecture: a-b-\n\nPackage: none\n"_ba,
            F::Architecture, {"arm64", "arm64e", "arm", "all", "", "", kAbsent});
        row("architecture over several lines",
            "Architecture: darwin-\n arm64\n\nArchitecture: x\n a-b\n c\n"_ba, F::Architecture,
            {"\narm64", "b\nc"});
        row("line separators",
            "Package: a\r\rPackage: b\v\vPackage: c\f\fPackage: d\xC2\x85\xC2\x85Package: e\xE2\x80\xA8"
            "\xE2\x80\xA9Package: f\r\n\r\nPackage: g"_ba,
            F::Package, {"a", "b", "c", "d", "e", "f", "g"});
        row("look-alike bytes are no separators", "Name: \xC2\xA0x\xE2\x80\xA7y\xE2\x81\xA8z\n"_ba, F::Name,
            {u"x\u2027y\u2068z"_s});
        row("byte order mark dropped", "\xEF\xBB\xBFPackage: a\n"_ba, F::Package, {"a"});
        row("only the first byte order mark dropped", "\xEF\xBB\xBF\xEF\xBB\xBFPackage: a\nName: n\n"_ba,
            F::Package, {kAbsent});
        row("NEL in Latin-1 text", "Package: \xE9\x85Name: n\x85\x85Package: b\n"_ba, F::Package,
            {u"é"_s, "b"});
        // One bad byte anywhere changes the reading of the whole file, the valid UTF-8 in it included.
        row("one bad byte makes all of it Latin-1", "Name: \xC3\xA9\n\nName: \xE9\n"_ba, F::Name,
            {u"Ã©"_s, u"é"_s});
        row("NEL lead byte is a letter in Latin-1", "Package: \xC2\x85\xE9\n"_ba, F::Package, {u"Â"_s});
    }

    void rules()
    {
        QFETCH(QByteArray, input);
        QFETCH(int, field);
        QFETCH(QStringList, values);

        const PackageList records = parsePackagesData(input, kLink);
        QCOMPARE(fieldValues(records, PackageInfo::Field(field)), values);
        QCOMPARE(countPackages(decodeIndexBytes(input)), records.size());
        for (const PackageInfo &record : records) {
            QCOMPARE(record.sourceLink(), kLink);
            const std::optional<QStringView> view = record.view(PackageInfo::Field(field));
            QCOMPARE(view ? std::optional(view->toString()) : std::nullopt,
                     record.text(PackageInfo::Field(field)));
        }
    }

    void agreesWithPlainReading()
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
            const QByteArray bytes = readFile(fixture(name));
            for (qsizetype cut = 0; cut < bytes.size(); cut += 7)
                inputs.append(bytes.left(cut));
        }
        // Inputs on which the fuzzer once saw the two readings differ.
        const QDir findings(testData(QStringLiteral("fuzz/packagesparser")));
        for (const QString &name : findings.entryList(QDir::Files))
            inputs.append(readFile(findings.filePath(name)));

        for (const QByteArray &input : std::as_const(inputs)) {
            const PackageList records = parsePackagesData(input, kLink);
            const QString expected = jsonLines(reference::parse(reference::decode(input), kLink));
            if (jsonLines(records) != expected || countPackages(decodeIndexBytes(input)) != records.size())
                QFAIL(qPrintable(QStringLiteral("differs on ") +
                                 QString::fromLatin1(input.toPercentEncoding())));
        }
    }

    void strictUtf8_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("valid");
        QTest::newRow("ascii and NUL") << QByteArray("abc\0def", 7) << true;
        QTest::newRow("two, three and four bytes")
            << QByteArray("\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80") << true;
        QTest::newRow("limits")
            << QByteArray("\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF") << true;
        QTest::newRow("long ascii run then é")
            << QByteArray(40, 'a') + "\xC3\xA9" + QByteArray(40, 'b') << true;
        QTest::newRow("lone continuation") << QByteArray("a\x80") << false;
        QTest::newRow("overlong two bytes") << QByteArray("\xC0\xAF") << false;
        QTest::newRow("overlong three bytes") << QByteArray("\xE0\x9F\xBF") << false;
        QTest::newRow("overlong four bytes") << QByteArray("\xF0\x8F\xBF\xBF") << false;
        QTest::newRow("surrogate") << QByteArray("\xED\xA0\x80") << false;
        QTest::newRow("above U+10FFFF") << QByteArray("\xF4\x90\x80\x80") << false;
        QTest::newRow("cut at the end") << QByteArray(20, 'a') + "\xE4\xB8" << false;
        QTest::newRow("cut by ascii") << QByteArray("\xE4\xB8z") << false;
        QTest::newRow("Latin-1 é deep in ascii")
            << QByteArray(100, 'a') + "\xE9" + QByteArray(100, 'a') << false;
    }

    void strictUtf8()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, valid);
        QCOMPARE(isStrictUtf8(bytes), valid);
        QCOMPARE(decodeIndexBytes(bytes).encoding, valid ? TextEncoding::Utf8 : TextEncoding::Latin1);
        QCOMPARE(decodeIndexText(bytes), valid ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes));
    }

    void viewsOutliveTheParse()
    {
        // A view stays valid through copies of the record, whatever happens to the original.
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
};

QTEST_GUILESS_MAIN(TestPackagesParser)
#include "tst_packagesparser.moc"
