#include "screensworld.h"

#include "index/cachepaths.h"

#include "../testfiles.h"

#include <QFile>

namespace {

QByteArray packagesOf(const QString &prefix, int count)
{
    static const char *const arches[] = {"iphoneos-arm", "iphoneos-arm64", "iphoneos-arm64e"};
    const QByteArray p = prefix.toUtf8();
    QByteArray text;
    for (int i = 0; i < count; ++i) {
        const QByteArray n = QByteArray::number(i);
        text += "Package: com." + p + ".tweak" + n + "\nName: " + p + " Tweak " + n + "\nVersion: 1." + n +
                "\nArchitecture: " + arches[i % 3] + "\nDescription: Tweak number " + n +
                "\nFilename: ./debs/com." + p + ".tweak" + n + ".deb\n\n";
    }
    return text;
}

} // namespace

ScreensWorld::ScreensWorld(QObject *parent)
    : QObject(parent)
    , m_links{QStringLiteral("https://alpha.repo.test/"), QStringLiteral("https://beta.repo.test/"),
              QStringLiteral("https://gamma.repo.test/"), QStringLiteral("https://delta.repo.test/")}
{
    for (int i = 0; i < 8; ++i)
        m_links.append(QStringLiteral("https://filler%1.repo.test/").arg(i));
}

void ScreensWorld::install()
{
    const QString cacheRoot = cacheRootIn(m_platform.dir.path());
    for (const auto &[i, prefix, count] : {std::tuple{0, "alpha", 30}, std::tuple{1, "beta", 12}})
        (void)writeFile(localCandidates(cacheRoot, m_links.at(i)).plain,
                        packagesOf(QString::fromLatin1(prefix), count));
    const QString device = m_platform.dir.filePath(QStringLiteral("device/var/jb/var/lib/"));
    (void)writeFile(device + QStringLiteral("apt/lists/gamma.repo.test_._Packages"),
                    packagesOf(QStringLiteral("gamma"), 5));
    (void)writeFile(device + QStringLiteral("dpkg/status"),
                    "Package: com.alpha.tweak0\nStatus: install ok installed\nVersion: 1.0\n\n"
                    "Package: com.alpha.tweak3\nStatus: install ok installed\nVersion: 1.3\n\n"
                    "Package: com.beta.tweak1\nStatus: install ok installed\nVersion: 1.1\n");

    QList<RepoSource> catalogue;
    const QStringList names{QStringLiteral("Alpha Repo"), QStringLiteral("Beta Repo"),
                            QStringLiteral("Gamma Repo"),
                            QStringLiteral("\u0633\u0648\u0631\u0633 \u062f\u0644\u062a\u0627")};
    for (qsizetype i = 0; i < m_links.size(); ++i) {
        const QString name = i < names.size() ? names.at(i) : QStringLiteral("Filler %1").arg(i);
        catalogue.append(RepoSource{m_links.at(i), name, m_links.at(i), QStringLiteral("chariz_icon"), true});
    }
    Platform platform = m_platform.platform();
    platform.catalogue = catalogue;
    platform.offline = true;
    Platform::setDefault(platform);
}

QStringList ScreensWorld::clipboardTexts() const
{
    return m_platform.clipboard->texts;
}

QStringList ScreensWorld::openedUrls() const
{
    QStringList urls;
    for (const QUrl &url : std::as_const(m_platform.opener->opened))
        urls.append(url.toString());
    return urls;
}

void ScreensWorld::reset()
{
    m_platform.settings->clear();
    m_platform.settings->sync();
    m_platform.clipboard->texts.clear();
    m_platform.opener->opened.clear();
}
