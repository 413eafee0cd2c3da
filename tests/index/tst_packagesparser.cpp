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
    // Each file as written, and with CR LF line ends, which must not matter (other breaks: see below).
    void golden_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("lineEnd");
        for (const QString &name : fixtures()) {
            QTest::addRow("%s", qPrintable(name)) << name << "\n"_ba;
            QTest::addRow("%s CR LF", qPrintable(name)) << name << "\r\n"_ba;
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

        row("last stanza unterminated", "Package: a\n\nPackage: b"_ba, F::Package, {"a", "b"});
        row("continuations", "Description: short\n  line one\n .\n \t \nName: n\n"_ba, F::Description,
            {"short\nline one\n.\n"});
        row("continuation after overwrite", "Version: 1\nName: n\nVersion: 2\n b\n"_ba, F::Version, {"2\nb"});
        row("unicode blanks trimmed",
            "Name: \xC2\xA0\xE3\x80\x80 n \xE2\x80\x83\xE2\x80\xAF\xE2\x81\x9F\xE1\x9A\x80\t\n"_ba, F::Name,
            {"n"});
        row("icon default", "Package: a\n"_ba, F::Icon, {"Resources/Tweaks.png"});
        row("architecture suffix",
            "Architecture: iphoneos-arm64\n\nArchitecture: iphoneos-arm64e\n\nArchitecture: iphoneos-arm\n\n"
            "Architecture: all\n\nArchitecture:\n\nArchitecture: a-b-\n\nPackage: none\n"_ba,
            F::Architecture, {"arm64", "arm64e", "arm", "all", "", "", kAbsent});
        row("line separators",
            "Package: a\r\rPackage: b\v\vPackage: c\f\fPackage: d\xC2\x85\xC2\x85Package: e\xE2\x80\xA8"
            "\xE2\x80\xA9Package: f\r\n\r\nPackage: g"_ba,
            F::Package, {"a", "b", "c", "d", "e", "f", "g"});
        // One bad byte anywhere changes the reading of the whole file, the valid UTF-8 in it included.
        row("one bad byte makes all of it Latin-1", "Name: \xC3\xA9\n\nName: \xE9\n"_ba, F::Name,
            {u"Ã©"_s, u"é"_s});
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
            QByteArray junk(4 * random.bounded(1, 75), Qt::Uninitialized);
            random.fillRange(reinterpret_cast<quint32 *>(junk.data()), junk.size() / 4);
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
        const auto row = [](const char *tag, const QByteArray &bytes, bool valid) {
            QTest::newRow(tag) << bytes << valid;
        };
        row("limits", "\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", true);
        row("long ascii run then é", QByteArray(40, 'a') + "\xC3\xA9" + QByteArray(40, 'b'), true);
        row("overlong two bytes", "\xC0\xAF", false);
        row("surrogate", "\xED\xA0\x80", false);
        row("above U+10FFFF", "\xF4\x90\x80\x80", false);
        row("cut at the end", QByteArray(20, 'a') + "\xE4\xB8", false);
        row("Latin-1 é deep in ascii", QByteArray(100, 'a') + "\xE9" + QByteArray(100, 'a'), false);
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
