#include "index/indexdownload.h"

#include "common/cpugate.h"
#include "device/listkeys.h"
#include "device/locallists.h"
#include "index/cachepaths.h"
#include "index/indexlog.h"
#include "index/packagesparser.h"
#include "index/rawinflate.h"
#include "index/repometa.h"

#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSaveFile>
#include <QTimer>
#include <QUrl>

namespace {

struct HttpAnswer
{
    bool answered = false; // an HTTP response arrived (any status)
    int status = 0;
    QByteArray body;
    QByteArray etag;
    QByteArray lastModified;
    QByteArray contentEncoding;
};

std::optional<QByteArray> readWhole(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

bool writeAtomically(const QString &path, QByteArrayView bytes)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes.data(), bytes.size()) == bytes.size() &&
           file.commit();
}

// One GET on this thread's own manager. Gives up after the wait; the reply is then aborted and
// freed rather than left running, since nothing would read its result.
HttpAnswer fetch(QNetworkAccessManager &manager, const QUrl &url, const std::optional<RepoMeta> &validators,
                 const LoadEnvironment &env)
{
    const DownloadTimeouts &timeouts = env.timeouts;
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setTransferTimeout(timeouts.requestMilliseconds);
    if (validators) {
        if (validators->etag)
            request.setRawHeader("If-None-Match", validators->etag->toUtf8());
        if (validators->lastModified)
            request.setRawHeader("If-Modified-Since", validators->lastModified->toUtf8());
    }

    QNetworkReply *reply = manager.get(request);
    QEventLoop loop;
    QTimer wait;
    wait.setSingleShot(true);
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QObject::connect(&wait, &QTimer::timeout, &loop, &QEventLoop::quit);
    wait.start(timeouts.waitMilliseconds);
    QTimer cancelCheck;
    if (env.cancelled) {
        QObject::connect(&cancelCheck, &QTimer::timeout, &loop, [&] {
            if (*env.cancelled)
                loop.quit();
        });
        cancelCheck.start(50);
    }
    loop.exec();

    HttpAnswer answer;
    if (reply->isFinished()) {
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        // A transport error after the headers (a reset mid-body, a short body) still counts as an
        // error: the body is not the whole index.
        const bool transportError = reply->error() != QNetworkReply::NoError && !status.isValid();
        const bool brokenBody = reply->error() != QNetworkReply::NoError && status.toInt() == 200;
        if (status.isValid() && !transportError && !brokenBody) {
            answer.answered = true;
            answer.status = status.toInt();
            answer.body = reply->readAll();
            answer.etag = reply->rawHeader("ETag");
            answer.lastModified = reply->rawHeader("Last-Modified");
            answer.contentEncoding = reply->rawHeader("Content-Encoding");
        }
        qCDebug(lcIndex) << url.toString() << "->" << status.toInt() << reply->errorString();
    } else {
        qCDebug(lcIndex) << url.toString() << "gave up after" << timeouts.waitMilliseconds << "ms";
        reply->abort();
    }
    delete reply;
    return answer;
}

bool looksCompressed(const QUrl &url, const HttpAnswer &answer)
{
    return QFileInfo(url.path()).suffix().toLower() == QLatin1String("gz") ||
           answer.contentEncoding.toLower().contains("gzip") ||
           (answer.body.size() >= 2 && quint8(answer.body[0]) == 0x1f && quint8(answer.body[1]) == 0x8b);
}

std::optional<QString> optionalHeader(const QByteArray &value)
{
    return value.isNull() ? std::nullopt : std::optional(QString::fromUtf8(value));
}

struct FetchOutcome
{
    std::optional<QByteArray> text;
    bool notModified = false;
};

FetchOutcome conditionalFetch(const QString &link, bool force, const RepoPaths &paths,
                              const LoadEnvironment &env)
{
    const QList<QUrl> candidates = env.offline ? QList<QUrl>() : indexCandidates(link);
    if (candidates.isEmpty())
        return {};
    const std::optional<RepoMeta> meta = force ? std::nullopt : readRepoMeta(paths.meta);

    // A fresh manager per load: no shared cache, cookies or credentials between loads.
    QNetworkAccessManager manager;
    for (const QUrl &url : candidates) {
        if (env.cancelled && *env.cancelled)
            return {};
        const HttpAnswer answer = fetch(manager, url, meta, env);
        if (!answer.answered)
            continue;
        if (answer.status == 304)
            return {std::nullopt, true};
        if (answer.status != 200 || answer.body.isEmpty())
            continue;

        const CpuGate::Pass pass = CpuGate::shared().enter();
        QDir().mkpath(paths.folder);
        std::optional<QByteArray> text;
        if (looksCompressed(url, answer)) {
            if (!writeAtomically(paths.gz, answer.body))
                continue;
            const GunzipResult inflated = gunzipFile(paths.gz);
            if (inflated.error)
                continue;
            text = readWhole(inflated.outputPath);
        } else if (writeAtomically(paths.plain, answer.body)) {
            text = answer.body;
        }
        if (!text)
            continue;
        saveRepoMeta(paths.meta, RepoMeta{optionalHeader(answer.etag), optionalHeader(answer.lastModified),
                                          url.toString(QUrl::FullyEncoded),
                                          double(QDateTime::currentMSecsSinceEpoch()) / 1000.0});
        return {std::move(text), false};
    }
    return {};
}

std::optional<QByteArray> readCache(const RepoPaths &paths)
{
    if (QFileInfo::exists(paths.plain))
        return readWhole(paths.plain);
    if (QFileInfo::exists(paths.gz)) {
        const GunzipResult inflated = gunzipFile(paths.gz);
        if (!inflated.error)
            return readWhole(inflated.outputPath);
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

std::optional<QByteArray> readLists(const QString &link, const RepoPaths &paths, const DeviceRoot &root)
{
    const std::optional<QString> folder = findListsDirectory(root);
    if (!folder)
        return std::nullopt;
    const std::optional<QString> file = localListFile(link, *folder);
    if (!file || !QFileInfo::exists(*file))
        return std::nullopt;
    std::optional<QByteArray> bytes = readWhole(*file);
    if (bytes) {
        // Kept as this source's cache so it still shows when the lists folder is gone.
        QDir().mkpath(paths.folder);
        writeAtomically(paths.plain, *bytes);
    }
    return bytes;
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

LoadResult loadSourceIndex(const QString &link, bool force, const LoadEnvironment &environment)
{
    const RepoPaths paths = localCandidates(environment.cacheRoot, link);

    const FetchOutcome fetched = conditionalFetch(link, force, paths, environment);
    // Everything from here on is disk and CPU work.
    const CpuGate::Pass pass = CpuGate::shared().enter();
    if (fetched.text)
        return {parsePackagesData(*fetched.text, link), ServedFrom::Network};

    if (const std::optional<QByteArray> cached = readCache(paths))
        return {parsePackagesData(*cached, link),
                fetched.notModified ? ServedFrom::NotModified : ServedFrom::Cache};

    if (const std::optional<QByteArray> listed = readLists(link, paths, environment.deviceRoot))
        return {parsePackagesData(*listed, link), ServedFrom::Lists};

    return {};
}
