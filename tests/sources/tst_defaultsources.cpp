// The built-in catalogue is a hand-edited table; nothing but these checks notices when an edit breaks
// one of the rules the rest of the app and the shipped assets rely on.
#include "sources/defaultsources.h"

#include <QChar>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype kRecordCount = 144;
const QString kInvisiblePrefix = u"\u200F\u200B\u200F"_s;
const QRegularExpression kIconName(u"^[a-z0-9]+_icon$"_s);

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

class TestDefaultSources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void builtOnce()
    {
        QCOMPARE(defaultSources().size(), kRecordCount);
        // Callers keep references into the list, so a second call must not hand out a fresh copy.
        QCOMPARE(&defaultSources(), &defaultSources());
    }

    void record_data()
    {
        QTest::addColumn<int>("position");
        for (int position = 1; position <= defaultSources().size(); ++position)
            QTest::addRow("%s", describe(position).constData()) << position;
    }

    void record()
    {
        QFETCH(int, position);
        const RepoSource &source = at(position);

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
        QVERIFY2(url.path().contains(QRegularExpression(u"^(/[^/]+)*/$"_s)),
                 "path must end with '/' and have no empty segments");

        const qsizetype codePoints = source.name.toUcs4().size();
        QVERIFY2(codePoints >= 3 && codePoints <= 25, qPrintable(QString::number(codePoints)));
        QCOMPARE(source.name.trimmed(), source.name);
        // The invisible prefix opens exactly these names; stray copies anywhere else would make a name
        // compare unequal to what it looks like.
        const bool prefixed = position == 1 || position == 3 || position == 20;
        QCOMPARE(source.name.startsWith(kInvisiblePrefix), prefixed);
        const QString visible = prefixed ? source.name.mid(kInvisiblePrefix.size()) : source.name;
        QVERIFY(!visible.isEmpty());
        QCOMPARE(visible.trimmed(), visible);
        QVERIFY(!visible.contains(QChar(0x200F)) && !visible.contains(QChar(0x200B)));
        // Every Chinese-language source is named in Chinese, so a Han character is the visible sign of
        // one having been moved out of this block or another moved in.
        if (position >= 2 && position <= 8) {
            const QList<uint> ucs4 = visible.toUcs4();
            QVERIFY(std::any_of(ucs4.cbegin(), ucs4.cend(),
                                [](uint c) { return QChar::script(c) == QChar::Script_Han; }));
        }

        QVERIFY(source.imageName.contains(QRegularExpression(u"^[A-Za-z0-9_.-]+$"_s)));
        // "_icon" is reserved for the app's own lower-case icon assets, which the well-known block uses;
        // a handle must not imitate one.
        const bool icon = kIconName.match(source.imageName).hasMatch();
        QVERIFY(icon || !source.imageName.endsWith(u"_icon"));
        QVERIFY(icon || position < 24 || position > 62);
    }

    void counts()
    {
        // Plain http sources are never fetched, and every icon name needs a shipped asset.
        const auto count = [](const QRegularExpression &re, QString RepoSource::*field) {
            return std::count_if(
                defaultSources().cbegin(), defaultSources().cend(),
                [&](const RepoSource &source) { return re.match(source.*field).hasMatch(); });
        };
        QCOMPARE(count(QRegularExpression(u"^http://"_s), &RepoSource::link), 7);
        QCOMPARE(count(kIconName, &RepoSource::imageName), 48);
        QCOMPARE(count(QRegularExpression(u"^apt_icon$"_s), &RepoSource::imageName), 2);
    }

    void linksAreUnique()
    {
        // Servers treat host case and a trailing slash loosely, so links that differ only there would still
        // fetch the same repository twice.
        QSet<QString> seen;
        for (const RepoSource &source : defaultSources()) {
            QString key = source.link.toLower();
            if (key.endsWith(u'/'))
                key.chop(1);
            QVERIFY2(!seen.contains(key), qPrintable(source.link));
            seen.insert(key);
        }
    }

    void onlyTheTailIsSorted()
    {
        const auto &sources = defaultSources();
        const auto tail = sources.cbegin() + 113;
        QVERIFY(std::is_sorted(tail, sources.cend(), lessIgnoringCase));
        // Position 113 sorting after 114 pins where the alphabetical run begins, so a row added at the
        // boundary cannot silently land in the wrong part of the list.
        QVERIFY(lessIgnoringCase(at(114), at(113)));
        QVERIFY(!std::is_sorted(sources.cbegin(), tail, lessIgnoringCase));
    }
};

QTEST_GUILESS_MAIN(TestDefaultSources)
#include "tst_defaultsources.moc"
