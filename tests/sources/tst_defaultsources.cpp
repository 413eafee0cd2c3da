// The built-in catalogue is a hand-edited table; nothing but these checks notices when an edit breaks
// one of the rules the rest of the app and the shipped assets rely on.
#include "sources/defaultsources.h"

#include <QChar>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QUrl>

#include <algorithm>

namespace {

using Field = QString RepoSource::*;

constexpr qsizetype kRecordCount = 144;
const QString kInvisiblePrefix = QStringLiteral("\u200F\u200B\u200F");
const QRegularExpression kIconName(QStringLiteral("^[a-z0-9]+_icon$"));

// Positions are 1-based, counted the way a user counts rows in the list.
const RepoSource &at(int position)
{
    return defaultSources().at(position - 1);
}

QByteArray describe(int position)
{
    return QByteArray::number(position) + ' ' + at(position).link.toUtf8();
}

bool lessIgnoringCase(const RepoSource &a, const RepoSource &b)
{
    return QString::compare(a.name, b.name, Qt::CaseInsensitive) < 0;
}

} // namespace

Q_DECLARE_METATYPE(Field)

class TestDefaultSources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void builtOnce();
    void record_data();
    void record();
    void counts_data();
    void counts();
    void linksAreUnique();
    void invisiblePrefixOnlyAtItsPositions();
    void chineseBlockIsNamedInChinese();
    void wellKnownBlockUsesIcons();
    void onlyTheTailIsSorted();
};

void TestDefaultSources::builtOnce()
{
    QCOMPARE(defaultSources().size(), kRecordCount);
    // Callers keep references into the list, so a second call must not hand out a fresh copy.
    QCOMPARE(&defaultSources(), &defaultSources());
}

void TestDefaultSources::record_data()
{
    QTest::addColumn<RepoSource>("source");
    for (int position = 1; position <= defaultSources().size(); ++position)
        QTest::addRow("%s", describe(position).constData()) << at(position);
}

void TestDefaultSources::record()
{
    QFETCH(RepoSource, source);

    QVERIFY(source.isDefault);
    QCOMPARE(source.id, source.link);

    const QUrl url(source.link, QUrl::StrictMode);
    QVERIFY(url.isValid());
    QVERIFY(url.scheme() == u"https" || url.scheme() == u"http");
    QVERIFY(!url.host().isEmpty());
    QVERIFY(url.userInfo().isEmpty());
    QVERIFY(!url.hasQuery());
    QVERIFY(!url.hasFragment());
    // A link that QUrl rewrites (stray space, upper-case host, escaped characters) is not the link the
    // repository publishes, and would not match what users type in.
    QCOMPARE(url.toString(), source.link);
    QVERIFY2(url.path().contains(QRegularExpression(QStringLiteral("^(/[^/]+)*/$"))),
             "path must end with '/' and have no empty segments");

    const qsizetype codePoints = source.name.toUcs4().size();
    QVERIFY2(codePoints >= 3 && codePoints <= 25, qPrintable(QString::number(codePoints)));
    QCOMPARE(source.name.trimmed(), source.name);
    const QString visible =
        source.name.startsWith(kInvisiblePrefix) ? source.name.mid(kInvisiblePrefix.size()) : source.name;
    QVERIFY(!visible.isEmpty());
    QCOMPARE(visible.trimmed(), visible);

    QVERIFY(source.imageName.contains(QRegularExpression(QStringLiteral("^[A-Za-z0-9_.-]+$"))));
    // "_icon" is reserved for the app's own lower-case icon assets; a handle must not imitate one.
    if (source.imageName.endsWith(u"_icon"))
        QVERIFY(kIconName.match(source.imageName).hasMatch());
}

void TestDefaultSources::counts_data()
{
    QTest::addColumn<Field>("field");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<int>("expected");

    QTest::newRow("https links") << &RepoSource::link << QStringLiteral("^https://") << 137;
    QTest::newRow("http links") << &RepoSource::link << QStringLiteral("^http://") << 7;
    QTest::newRow("host roots") << &RepoSource::link << QStringLiteral("^https?://[^/]+/$") << 95;
    QTest::newRow("links with a path")
        << &RepoSource::link << QStringLiteral("^https?://[^/]+(/[^/]+)+/$") << 49;
    QTest::newRow("icon image names") << &RepoSource::imageName << QStringLiteral("^[a-z0-9]+_icon$") << 48;
    QTest::newRow("bare image names") << &RepoSource::imageName << QStringLiteral("^(?!.*_icon$)") << 96;
    QTest::newRow("shared apt_icon") << &RepoSource::imageName << QStringLiteral("^apt_icon$") << 2;
    QTest::newRow("invisible prefix")
        << &RepoSource::name << QStringLiteral("^\\x{200F}\\x{200B}\\x{200F}") << 3;
}

void TestDefaultSources::counts()
{
    QFETCH(Field, field);
    QFETCH(QString, pattern);
    QFETCH(int, expected);

    const QRegularExpression re(pattern);
    QVERIFY(re.isValid());
    const auto matches =
        std::count_if(defaultSources().cbegin(), defaultSources().cend(),
                      [&](const RepoSource &source) { return re.match(source.*field).hasMatch(); });
    QCOMPARE(int(matches), expected);
}

void TestDefaultSources::linksAreUnique()
{
    // Servers treat host case and a trailing slash loosely, so links that differ only there would still
    // fetch the same repository twice.
    QSet<QString> exact;
    QSet<QString> loose;
    for (const RepoSource &source : defaultSources()) {
        QVERIFY2(!exact.contains(source.link), qPrintable(source.link));
        exact.insert(source.link);

        QString key = source.link.toLower();
        if (key.endsWith(u'/'))
            key.chop(1);
        QVERIFY2(!loose.contains(key), qPrintable(source.link));
        loose.insert(key);
    }
}

void TestDefaultSources::invisiblePrefixOnlyAtItsPositions()
{
    const QList<int> prefixed{1, 3, 20};
    for (int position = 1; position <= defaultSources().size(); ++position) {
        QString name = at(position).name;
        QCOMPARE(name.startsWith(kInvisiblePrefix), prefixed.contains(position));
        if (prefixed.contains(position))
            name.remove(0, kInvisiblePrefix.size());
        // Stray copies anywhere else would make a name compare unequal to what it looks like.
        QVERIFY2(!name.contains(QChar(0x200F)) && !name.contains(QChar(0x200B)),
                 describe(position).constData());
    }
}

void TestDefaultSources::chineseBlockIsNamedInChinese()
{
    // Every Chinese-language source here is named in Chinese, so a Han character is the visible sign of
    // one having been moved out of this block or another moved in.
    for (int position = 2; position <= 8; ++position) {
        const QList<uint> codePoints = at(position).name.toUcs4();
        const bool han = std::any_of(codePoints.cbegin(), codePoints.cend(),
                                     [](uint c) { return QChar::script(c) == QChar::Script_Han; });
        QVERIFY2(han, describe(position).constData());
    }
}

void TestDefaultSources::wellKnownBlockUsesIcons()
{
    for (int position = 24; position <= 62; ++position)
        QVERIFY2(kIconName.match(at(position).imageName).hasMatch(), describe(position).constData());
}

void TestDefaultSources::onlyTheTailIsSorted()
{
    const auto &sources = defaultSources();
    const auto tail = sources.cbegin() + 113;
    QVERIFY(std::is_sorted(tail, sources.cend(), lessIgnoringCase));
    // Position 113 sorting after 114 pins where the alphabetical run begins, so a row added at the
    // boundary cannot silently land in the wrong part of the list.
    QVERIFY(lessIgnoringCase(at(114), at(113)));
    QVERIFY(!std::is_sorted(sources.cbegin(), tail, lessIgnoringCase));
}

QTEST_GUILESS_MAIN(TestDefaultSources)
#include "tst_defaultsources.moc"
