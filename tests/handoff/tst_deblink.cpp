#include "handoff/deblink.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestDebLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void debAddress_data()
    {
        QTest::addColumn<QString>("sourceLink");
        QTest::addColumn<std::optional<QString>>("filename");
        QTest::addColumn<QString>("expected"); // empty: no address

        const auto row = [](const char *tag, const QString &link, const std::optional<QString> &filename,
                            const QString &expected) { QTest::newRow(tag) << link << filename << expected; };
        const QString repo = u"https://repo.example/"_s;

        row("no file name", repo, std::nullopt, {});
        row("empty file name gives the folder", repo, u""_s, u"https://repo.example/"_s);
        row("one slash and ./ both go", repo, u"./debs/a.deb"_s, u"https://repo.example/debs/a.deb"_s);
        row("link without a slash gets one", u"https://repo.example"_s, u"debs/a.deb"_s,
            u"https://repo.example/debs/a.deb"_s);
        row("two slashes keep one", u"https://repo.example//"_s, u"debs/a.deb"_s,
            u"https://repo.example//debs/a.deb"_s);
        row("./ removed once only", repo, u"././a.deb"_s, u"https://repo.example/./a.deb"_s);
        row("absolute file name is not special", repo, u"/pool/a.deb"_s,
            u"https://repo.example//pool/a.deb"_s);
        row("nested source path", u"https://repo.example/apt/"_s, u"./pool/main/a_1.0_iphoneos-arm.deb"_s,
            u"https://repo.example/apt/pool/main/a_1.0_iphoneos-arm.deb"_s);
        row("kept as written, not re-encoded", repo, u"debs/a%2Bb.deb"_s,
            u"https://repo.example/debs/a%2Bb.deb"_s);
        row("space is not escaped, so no address", repo, u"debs/my tweak.deb"_s, {});
        row("stray percent, no address", repo, u"debs/100%.deb"_s, {});
    }

    void debAddress()
    {
        QFETCH(QString, sourceLink);
        QFETCH(std::optional<QString>, filename);
        QFETCH(QString, expected);

        QCOMPARE(debUrlText(filename, sourceLink), expected);
        const std::optional<QUrl> url = debUrl(filename, sourceLink);
        QCOMPARE(url.has_value(), !expected.isEmpty());
        if (url)
            QCOMPARE(*url, QUrl(expected, QUrl::StrictMode));
    }
};

QTEST_GUILESS_MAIN(TestDebLink)
#include "tst_deblink.moc"
