#include "index/indexdownload.h"

#include "common/regularfile.h"
#include "device/listkeys.h"
#include "device/locallists.h"
#include "index/cachefiles.h"
#include "index/indexlog.h"
#include "index/packagesparser.h"
#include "index/rawinflate.h"
#include "index/snapshotstore.h"
#include "search/searchindex.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {

LoadResult indexed(PackageList packages, ServedFrom servedFrom, QByteArray cacheStamp = {})
{
    LoadResult result{std::move(packages), servedFrom, nullptr, {}, std::move(cacheStamp)};
    if (!result.packages.isEmpty())
        result.searchIndex = std::make_shared<const SearchIndex>(result.packages);
    return result;
}

// Hands a regular file's bytes to `use`, straight from the page cache rather than copied first.
template<typename Use>
auto withFileBytes(const QString &path, Use use) -> std::optional<decltype(use(QByteArrayView()))>
{
    QFile file;
    if (!openRegularFile(file, path))
        return std::nullopt;
    if (file.size() == 0)
        return use(QByteArrayView());
    if (uchar *mapped = file.map(0, file.size())) {
        auto result = use(QByteArrayView(reinterpret_cast<const char *>(mapped), file.size()));
        file.unmap(mapped);
        return result;
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    return use(QByteArrayView(bytes));
}

std::optional<PackageList> parseFile(const QString &path, const QString &link)
{
    return withFileBytes(path, [&](QByteArrayView bytes) { return parsePackagesData(bytes, link); });
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

// Inflates a compressed index in memory, keeps the text beside it as "Packages" when the cache can be
// written, and parses it. No value when it does not decompress.
std::optional<PackageList> parseCompressed(QByteArrayView compressed, const RepoPaths &paths,
                                           const QString &link)
{
    const InflateResult inflated = inflateRaw(compressed);
    if (inflated.error)
        return std::nullopt;
    if (paths.isCached())
        (void)replaceCacheFiles(paths.folder, {{paths.plain, inflated.data}});
    return parsePackagesData(inflated.data, link);
}

// The cached packages, and the stamp of the file that holds them now.
std::optional<std::pair<PackageList, QByteArray>> readCache(const FetchPlan &plan)
{
    const RepoPaths &paths = plan.paths;
    if (!paths.isCached())
        return std::nullopt;
    // Taken before the file is read: a newer file renamed into place meanwhile has another stamp.
    QByteArray stamp = cacheFileStamp(paths.plain);
    if (!stamp.isEmpty()) {
        if (plan.snapshots) {
            if (std::optional<PackageList> kept = plan.snapshots->packages(plan.link, stamp))
                return std::pair(std::move(*kept), std::move(stamp));
        }
        if (std::optional<PackageList> parsed = parseFile(paths.plain, plan.link))
            return std::pair(std::move(*parsed), std::move(stamp));
        return std::nullopt;
    }
    if (QFileInfo::exists(paths.plain))
        return std::nullopt; // there, but not a file to read
    // A read-only cache still serves its compressed index: the text is only kept when it can be.
    std::optional<PackageList> inflated = withFileBytes(paths.gz, [&](QByteArrayView bytes) {
                                              return parseCompressed(bytes, paths, plan.link);
                                          }).value_or(std::nullopt);
    if (!inflated)
        return std::nullopt;
    return std::pair(std::move(*inflated), cacheFileStamp(paths.plain));
}

// The list file of this source in the package manager's lists folder.
std::optional<QString> localListFile(const QString &link, const QString &listsFolder)
{
    const QString expected = QDir(listsFolder).filePath(packagesFileName(link));
    if (QFileInfo(expected).isFile())
        return expected;
    if (QFileInfo(expected + QLatin1String(".gz")).isFile())
        return expected + QLatin1String(".gz");
    const std::optional<QString> name = findStrictPackagesListFile(listsFolder, listKeys(link));
    return name ? std::optional(QDir(listsFolder).filePath(*name)) : std::nullopt;
}

std::optional<PackageList> readLists(const QString &link, const RepoPaths &paths, const DeviceRoot &root)
{
    const std::optional<QString> folder = findListsDirectory(root);
    if (!folder)
        return std::nullopt;
    const std::optional<QString> file = localListFile(link, *folder);
    if (!file)
        return std::nullopt;
    // The lists folder belongs to the package manager: it is only read, and a compressed list is
    // inflated in memory rather than beside it.
    if (isGzipListName(QFileInfo(*file).fileName())) {
        return withFileBytes(*file, [&](QByteArrayView bytes) { return parseCompressed(bytes, paths, link); })
            .value_or(std::nullopt);
    }
    return withFileBytes(*file, [&](QByteArrayView bytes) {
        // Kept as this source's cache so it still shows when the lists folder is gone.
        if (paths.isCached())
            (void)replaceCacheFiles(paths.folder, {{paths.plain, bytes}});
        return parsePackagesData(bytes, link);
    });
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
    FetchPlan plan{
        link, localCandidates(environment.cacheRoot, link), {}, std::nullopt, environment.snapshots};
    if (!environment.offline)
        plan.candidates = indexCandidates(link);
    if (!plan.candidates.isEmpty() && !force && plan.paths.isCached())
        plan.validators = readRepoMeta(plan.paths.meta);
    return plan;
}

std::optional<LoadResult> acceptIndexResponse(const FetchPlan &plan, IndexResponse response)
{
    const QByteArray body = joined(response.chunks);
    if (body.isEmpty())
        return std::nullopt;
    // A 200 with a body is the source's index as far as the chain is concerned, even when it turns
    // out to hold no package: it is stored as sent, and a compressed one stays on disk even when it
    // does not decompress. A cache that cannot be written (a read-only or full disk, or a source
    // without a cache folder) leaves the previous one as it was and the index is served all the same.
    const bool compressed = looksCompressed(response.url, response.contentEncoding, body);
    QByteArray text;
    if (compressed) {
        InflateResult result = inflateRaw(body);
        if (result.error) {
            qCDebug(lcIndex) << response.url.toString() << "does not decompress:" << result.error->message();
            if (plan.paths.isCached())
                (void)replaceCacheFiles(plan.paths.folder, {{plan.paths.gz, body}});
            return std::nullopt;
        }
        text = std::move(result.data);
    } else {
        text = body;
    }
    QByteArray stamp;
    if (plan.paths.isCached()) {
        const QByteArray meta = encodeRepoMeta(RepoMeta{
            optionalHeader(response.etag), optionalHeader(response.lastModified),
            response.url.toString(QUrl::FullyEncoded), double(QDateTime::currentMSecsSinceEpoch()) / 1000.0});
        QList<CacheFileContent> files;
        if (compressed)
            files.append({plan.paths.gz, body});
        files.append({plan.paths.plain, text});
        files.append({plan.paths.meta, meta});
        if (replaceCacheFiles(plan.paths.folder, files))
            stamp = cacheFileStamp(plan.paths.plain);
        else
            qCDebug(lcIndex) << "served without storing:" << plan.link;
    }
    return indexed(parsePackagesData(text, plan.link), ServedFrom::Network, std::move(stamp));
}

LoadResult loadWithoutNetwork(const FetchPlan &plan, const DeviceRoot &deviceRoot, bool notModified)
{
    if (auto cached = readCache(plan))
        return indexed(std::move(cached->first), notModified ? ServedFrom::NotModified : ServedFrom::Cache,
                       std::move(cached->second));
    if (std::optional<PackageList> listed = readLists(plan.link, plan.paths, deviceRoot))
        return indexed(std::move(*listed), ServedFrom::Lists);
    return {};
}
