#include "index/indexdownload.h"

#include "device/listkeys.h"
#include "device/locallists.h"
#include "index/indexlog.h"
#include "index/packagesparser.h"
#include "index/rawinflate.h"
#include "search/searchindex.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace {

bool writeAtomically(const QString &path, QByteArrayView bytes)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes.data(), bytes.size()) == bytes.size() &&
           file.commit();
}

LoadResult indexed(PackageList packages, ServedFrom servedFrom)
{
    LoadResult result{std::move(packages), servedFrom, nullptr};
    if (!result.packages.isEmpty())
        result.searchIndex = std::make_shared<const SearchIndex>(result.packages);
    return result;
}

// Parses a file in place from the page cache rather than copying it first.
std::optional<PackageList> parseFile(const QString &path, const QString &link)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    if (file.size() == 0)
        return PackageList();
    if (uchar *mapped = file.map(0, file.size())) {
        PackageList packages =
            parsePackagesData(QByteArrayView(reinterpret_cast<const char *>(mapped), file.size()), link);
        file.unmap(mapped);
        return packages;
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    return parsePackagesData(bytes, link);
}

QByteArray joined(QList<QByteArray> &chunks)
{
    if (chunks.size() == 1)
        return std::exchange(chunks.front(), QByteArray());
    qsizetype total = 0;
    for (const QByteArray &chunk : std::as_const(chunks))
        total += chunk.size();
    QByteArray body;
    body.reserve(total);
    for (QByteArray &chunk : chunks)
        body.append(std::exchange(chunk, QByteArray()));
    chunks.clear();
    return body;
}

std::optional<QString> optionalHeader(const QByteArray &value)
{
    return value.isNull() ? std::nullopt : std::optional(QString::fromUtf8(value));
}

std::optional<PackageList> readCache(const RepoPaths &paths, const QString &link)
{
    if (QFileInfo::exists(paths.plain))
        return parseFile(paths.plain, link);
    if (QFileInfo::exists(paths.gz)) {
        const GunzipResult inflated = gunzipFile(paths.gz);
        if (!inflated.error)
            return parseFile(inflated.outputPath, link);
    }
    return std::nullopt;
}

// The list file of this source in the package manager's lists folder, inflated when needed.
std::optional<QString> localListFile(const QString &link, const QString &listsFolder)
{
    const QString expected = QDir(listsFolder).filePath(packagesFileName(link));
    if (QFileInfo(expected).isFile())
        return expected;
    if (QFileInfo(expected + QLatin1String(".gz")).isFile()) {
        const GunzipResult inflated = gunzipFile(expected + QLatin1String(".gz"));
        if (!inflated.error)
            return inflated.outputPath;
    }
    const std::optional<QString> name = findStrictPackagesListFile(listsFolder, listKeys(link));
    if (!name)
        return std::nullopt;
    const QString path = QDir(listsFolder).filePath(*name);
    if (!isGzipListName(*name))
        return path;
    const GunzipResult inflated = gunzipFile(path);
    return inflated.error ? std::nullopt : std::optional(inflated.outputPath);
}

std::optional<PackageList> readLists(const QString &link, const RepoPaths &paths, const DeviceRoot &root)
{
    const std::optional<QString> folder = findListsDirectory(root);
    if (!folder)
        return std::nullopt;
    const std::optional<QString> file = localListFile(link, *folder);
    if (!file || !QFileInfo::exists(*file))
        return std::nullopt;
    std::optional<PackageList> packages = parseFile(*file, link);
    if (packages) {
        // Kept as this source's cache so it still shows when the lists folder is gone.
        QDir().mkpath(paths.folder);
        QFile::remove(paths.plain + QLatin1String(".copy"));
        if (QFile::copy(*file, paths.plain + QLatin1String(".copy"))) {
            QFile::remove(paths.plain);
            QFile::rename(paths.plain + QLatin1String(".copy"), paths.plain);
        }
    }
    return packages;
}

} // namespace

QString servedFromName(ServedFrom servedFrom)
{
    switch (servedFrom) {
    case ServedFrom::Network:
        return QStringLiteral("network");
    case ServedFrom::NotModified:
        return QStringLiteral("not-modified");
    case ServedFrom::Cache:
        return QStringLiteral("cache");
    case ServedFrom::Lists:
        return QStringLiteral("lists");
    case ServedFrom::Nothing:
        break;
    }
    return QStringLiteral("nothing");
}

QList<QUrl> indexCandidates(const QString &link)
{
    QString base = link.trimmed();
    if (!base.endsWith(QLatin1Char('/')))
        base += QLatin1Char('/');
    if (!base.toLower().startsWith(QLatin1String("https://")))
        return {};
    QList<QUrl> candidates;
    for (const char *name : {"Packages.gz", "Packages", "packages.gz", "packages"}) {
        const QUrl url(base + QLatin1String(name), QUrl::StrictMode);
        if (url.isValid())
            candidates.append(url);
    }
    return candidates;
}

bool looksCompressed(const QUrl &url, QByteArrayView contentEncoding, QByteArrayView body)
{
    return QFileInfo(url.path()).suffix().toLower() == QLatin1String("gz") ||
           contentEncoding.toByteArray().toLower().contains("gzip") ||
           (body.size() >= 2 && quint8(body[0]) == 0x1f && quint8(body[1]) == 0x8b);
}

bool cannotDecode(const QUrl &url, QByteArrayView contentEncoding, QByteArrayView start)
{
    return start.size() >= 2 && quint8(start[0]) == 0x1f && looksCompressed(url, contentEncoding, start);
}

FetchPlan planFetch(const QString &link, bool force, const LoadEnvironment &environment)
{
    FetchPlan plan{link, localCandidates(environment.cacheRoot, link), {}, std::nullopt};
    if (!environment.offline)
        plan.candidates = indexCandidates(link);
    if (!plan.candidates.isEmpty() && !force)
        plan.validators = readRepoMeta(plan.paths.meta);
    return plan;
}

std::optional<LoadResult> acceptIndexResponse(const FetchPlan &plan, IndexResponse response)
{
    const QByteArray body = joined(response.chunks);
    if (body.isEmpty())
        return std::nullopt;
    // A 200 with a body is the source's index as far as the chain is concerned, even when it turns
    // out to hold no package: it is written as sent, and a compressed one stays on disk even when it
    // does not decompress.
    QDir().mkpath(plan.paths.folder);
    QByteArray text;
    if (looksCompressed(response.url, response.contentEncoding, body)) {
        if (!writeAtomically(plan.paths.gz, body))
            return std::nullopt;
        InflateResult result = inflateRaw(body);
        if (result.error) {
            qCDebug(lcIndex) << response.url.toString() << "does not decompress:" << result.error->message();
            return std::nullopt;
        }
        text = std::move(result.data);
    } else {
        text = body;
    }
    if (!writeAtomically(plan.paths.plain, text))
        return std::nullopt;
    saveRepoMeta(plan.paths.meta,
                 RepoMeta{optionalHeader(response.etag), optionalHeader(response.lastModified),
                          response.url.toString(QUrl::FullyEncoded),
                          double(QDateTime::currentMSecsSinceEpoch()) / 1000.0});
    return indexed(parsePackagesData(text, plan.link), ServedFrom::Network);
}

LoadResult loadWithoutNetwork(const FetchPlan &plan, const DeviceRoot &deviceRoot, bool notModified)
{
    if (std::optional<PackageList> cached = readCache(plan.paths, plan.link))
        return indexed(std::move(*cached), notModified ? ServedFrom::NotModified : ServedFrom::Cache);
    if (std::optional<PackageList> listed = readLists(plan.link, plan.paths, deviceRoot))
        return indexed(std::move(*listed), ServedFrom::Lists);
    return {};
}
