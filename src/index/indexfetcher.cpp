#include "index/indexfetcher.h"

#include "common/completionqueue.h"
#include "common/threadpriority.h"
#include "index/indexlog.h"
#include "index/lowdelaysockets.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QHostInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslError>
#include <QTimer>

#include <algorithm>

namespace {

// How much of a body is copied out of the reply per turn of the event loop: well under a
// millisecond's work.
constexpr qint64 kReadPieceBytes = qint64(512) * 1024;
// How much Qt may hold for us before its network thread stops reading from the socket: a body
// that never ends must not pile up in memory faster than it is read and counted.
constexpr qint64 kReadBufferBytes = qint64(8) * 1024 * 1024;

QNetworkRequest indexRequest(const QUrl &url, const std::optional<RepoMeta> &validators,
                             const DownloadTimeouts &timeouts)
{
    QNetworkRequest request(url);
    // No shared cache, cookies or credentials between loads: only our own validators decide.
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    // One request per connection: a server that honours this closes the connection after its answer,
    // so nothing it sends afterwards can be read as the answer to the next request. (One that keeps
    // the connection open anyway can only answer requests made to itself: connections are never
    // shared between hosts.)
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setRawHeader("Connection", "close");
    request.setTransferTimeout(timeouts.requestMilliseconds);
    request.setMaximumRedirectsAllowed(16);
    if (validators) {
        if (validators->etag)
            request.setRawHeader("If-None-Match", validators->etag->toUtf8());
        if (validators->lastModified)
            request.setRawHeader("If-Modified-Since", validators->lastModified->toUtf8());
    }
    return request;
}

QString failureInWords(const QVariant &status, QNetworkReply::NetworkError error, const char *failure,
                       const QStringList &tlsErrors, const QString &errorString)
{
    if (failure) {
        if (qstrcmp(failure, "took too long") == 0)
            return QStringLiteral("timed out");
        if (qstrcmp(failure, "cannot decode") == 0)
            return QStringLiteral("decode failure");
        return QString::fromLatin1(failure);
    }
    if (status.isValid() && status.toInt() != 200 && status.toInt() != 304)
        return QStringLiteral("HTTP %1").arg(status.toInt());
    switch (error) {
    case QNetworkReply::NoError:
        return {};
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError: // the transfer time-out ends a request this way
        return QStringLiteral("timed out");
    case QNetworkReply::SslHandshakeFailedError:
        return QStringLiteral("TLS error: ") +
               (tlsErrors.isEmpty() ? errorString : tlsErrors.join(QStringLiteral("; ")));
    default:
        return errorString;
    }
}

} // namespace

// One source's load while it runs. Touched by one side at a time: the network thread while a request
// is in flight, a worker while a job for it runs; each job hand-off orders the two.
struct IndexFetcher::Load
{
    quint64 ticket = 0;
    FetchPlan plan;
    qsizetype next = 0; // the candidate to try next
    QUrl current;       // the candidate in flight
    // The request in flight.
    QNetworkReply *reply = nullptr; // null once its answer is settled
    QList<QByteArray> chunks;
    qint64 received = 0;
    const char *failure = nullptr; // why it was given up before its end
    bool drainPosted = false;      // a read of the next piece is queued
    QStringList tlsErrors;         // the certificate problems of the request in flight
    // What the source's health record says about the network step.
    QElapsedTimer started; // at the first request
    qint64 milliseconds = 0;
    int lastStatus = 0;
    qint64 servedBytes = 0;
    QString problem; // the most telling reason a candidate gave nothing
};

IndexFetcher::IndexFetcher(LoadEnvironment environment, CompletionQueue *results, Finished finished)
    : m_environment(std::move(environment))
    , m_results(results)
    , m_finished(std::move(finished))
    , m_inbox(new CompletionQueue(this))
{}

IndexFetcher::~IndexFetcher()
{
    if (m_network) {
        for (QNetworkReply *reply : m_network->findChildren<QNetworkReply *>()) {
            reply->disconnect(this);
            reply->abort();
        }
    }
    delete m_jobs;
    m_jobs = nullptr;
}

void IndexFetcher::fetch(quint64 ticket, const QString &link, bool force)
{
    // Made on first use rather than in the constructor, so that they belong to this thread.
    if (!m_network) {
        // Below the thread that draws, which must never queue behind socket and TLS work; Qt's own
        // HTTP thread, started from here, inherits it.
        setThisThreadNice(10);
        enableLowDelaySockets();
        m_network = new QNetworkAccessManager(this);
        m_network->setAutoDeleteReplies(false);
        m_jobs = new BackgroundJobs(this);
    }
    m_jobs->start([this, ticket, link, force, environment = m_environment]() -> BackgroundJobs::Completion {
        auto load = std::make_shared<Load>();
        load->ticket = ticket;
        load->plan = planFetch(link, force, environment);
        if (load->plan.candidates.isEmpty()) {
            load->problem =
                environment.offline ? QStringLiteral("offline") : QStringLiteral("not an https link");
            return finish(load, loadWithoutNetwork(load->plan, environment.deviceRoot, false));
        }
        return [this, load] { lookUpHost(load); };
    });
}

void IndexFetcher::lookUpHost(const std::shared_ptr<Load> &load)
{
    // Every candidate is on the same host, so one lookup settles them all. It is made here rather
    // than left to the network manager because Qt 6.4's HTTP connection can lose a request whose
    // host lookup fails ("could not de-queue request, failed to report HostNotFoundError"): such a
    // request never finishes and holds its source until the time-out. A host that cannot be
    // looked up now ends its source's network step at once.
    const QString host = load->plan.candidates.constFirst().host();
    if (!QHostAddress(host).isNull()) {
        tryNextCandidate(load);
        return;
    }
    QHostInfo::lookupHost(host, this, [this, load](const QHostInfo &info) {
        if (info.error() != QHostInfo::NoError || info.addresses().isEmpty()) {
            qCDebug(lcIndex) << info.hostName() << "cannot be looked up:" << info.errorString();
            load->problem = QStringLiteral("host not found");
            endWithoutNetwork(load, false);
            return;
        }
        tryNextCandidate(load);
    });
}

void IndexFetcher::tryNextCandidate(const std::shared_ptr<Load> &load)
{
    if (load->next >= load->plan.candidates.size()) {
        endWithoutNetwork(load, false);
        return;
    }
    const QUrl url = load->plan.candidates.at(load->next++);
    const DownloadTimeouts &timeouts = m_environment.timeouts;
    load->current = url;
    load->chunks.clear();
    load->received = 0;
    load->failure = nullptr;
    load->drainPosted = false;
    load->tlsErrors.clear();
    if (!load->started.isValid())
        load->started.start();

    QNetworkReply *reply = m_network->get(indexRequest(url, load->plan.validators, timeouts));
    load->reply = reply;
    reply->setReadBufferSize(kReadBufferBytes);
    // The transfer time-out only catches a transfer that stops moving; this one ends a request that
    // takes too long as a whole, however steadily it drips.
    auto *deadline = new QTimer(reply);
    deadline->setSingleShot(true);
    connect(deadline, &QTimer::timeout, this, [this, load, reply] { giveUp(load, reply, "took too long"); });
    deadline->start(std::min(timeouts.requestMilliseconds, timeouts.waitMilliseconds));
    connect(reply, &QNetworkReply::metaDataChanged, this, [this, load, reply] {
        const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
        if (length.isValid() && length.toLongLong() > kMaxIndexBodyBytes)
            giveUp(load, reply, "too large");
    });
    connect(reply, &QNetworkReply::sslErrors, this, [load](const QList<QSslError> &errors) {
        for (const QSslError &error : errors)
            load->tlsErrors.append(error.errorString());
    });
    connect(reply, &QIODevice::readyRead, this, [this, load, reply] { drain(load, reply); });
    connect(reply, &QNetworkReply::finished, this, [this, load, reply] { drain(load, reply); });
}

void IndexFetcher::drain(const std::shared_ptr<Load> &load, QNetworkReply *reply)
{
    if (load->reply != reply || load->drainPosted)
        return;
    // One piece per turn of the event loop: a body that piled up while this thread was busy is
    // copied out a little at a time, never in one long pause.
    const qint64 available = std::min(reply->bytesAvailable(), kReadPieceBytes);
    if (available > 0) {
        if (load->received + available > kMaxIndexBodyBytes) {
            giveUp(load, reply, "too large");
            return;
        }
        const bool first = load->received < 2;
        load->received += available;
        load->chunks.append(reply->read(available));
        // Most repositories serve a gzip "Packages.gz" beside the plain index: it is refused after
        // its first two bytes rather than downloaded whole for nothing.
        if (first && load->received >= 2) {
            const QByteArray start = load->chunks.size() == 1
                                         ? load->chunks.constFirst().first(2)
                                         : (load->chunks.at(0) + load->chunks.at(1)).first(2);
            if (cannotDecode(load->current, reply->rawHeader("Content-Encoding"), start)) {
                giveUp(load, reply, "cannot decode");
                return;
            }
        }
    }
    if (reply->bytesAvailable() > 0) {
        load->drainPosted = true;
        QMetaObject::invokeMethod(
            reply,
            [this, load, reply] {
                load->drainPosted = false;
                drain(load, reply);
            },
            Qt::QueuedConnection);
        return;
    }
    if (reply->isFinished())
        complete(load, reply);
}

void IndexFetcher::giveUp(const std::shared_ptr<Load> &load, QNetworkReply *reply, const char *why)
{
    if (load->reply != reply)
        return;
    load->failure = why;
    reply->disconnect(this);
    reply->abort();
    complete(load, reply);
}

void IndexFetcher::complete(const std::shared_ptr<Load> &load, QNetworkReply *reply)
{
    if (load->reply != reply)
        return;
    load->reply = nullptr;
    reply->disconnect(this);
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const QNetworkReply::NetworkError error = reply->error();
    qCDebug(lcIndex) << load->current.toString() << "->" << status.toInt() << reply->errorString()
                     << (load->failure ? load->failure : "");
    IndexResponse response{load->current, std::exchange(load->chunks, {}), reply->rawHeader("ETag"),
                           reply->rawHeader("Last-Modified"), reply->rawHeader("Content-Encoding")};
    load->lastStatus = status.toInt();
    load->milliseconds = load->started.elapsed();
    // A candidate the server does not have says least about the source: a time-out or a bad
    // certificate on another candidate is what the record keeps.
    const QString problem =
        failureInWords(status, error, load->failure, load->tlsErrors, reply->errorString());
    const bool missing = status.toInt() == 404 || status.toInt() == 410;
    if (load->problem.isEmpty() || !missing)
        load->problem = problem;
    reply->deleteLater();

    const bool answered = status.isValid() && !load->failure;
    if (answered && status.toInt() == 304) {
        endWithoutNetwork(load, true);
        return;
    }
    // A transport error after the headers (a reset mid-body, a short body) leaves a body that is not
    // the whole index.
    const bool whole =
        answered && status.toInt() == 200 && error == QNetworkReply::NoError && load->received > 0;
    if (whole)
        load->servedBytes = load->received;
    else if (answered && status.toInt() == 200 && load->received == 0)
        load->problem = QStringLiteral("empty answer");
    if (!whole) {
        if (load->received > kReadPieceBytes) // let a big unused body go on a worker
            m_jobs->start([unused = std::move(response)] { return BackgroundJobs::Completion(); });
        tryNextCandidate(load);
        return;
    }
    m_jobs->start([this, load, response = std::move(response)]() mutable -> BackgroundJobs::Completion {
        std::optional<LoadResult> accepted = acceptIndexResponse(load->plan, std::move(response));
        if (!accepted) {
            load->problem = QStringLiteral("decode failure");
            return [this, load] { tryNextCandidate(load); };
        }
        return finish(load, std::move(*accepted));
    });
}

void IndexFetcher::endWithoutNetwork(const std::shared_ptr<Load> &load, bool notModified)
{
    m_jobs->start([this, load, notModified, root = m_environment.deviceRoot]() -> BackgroundJobs::Completion {
        return finish(load, loadWithoutNetwork(load->plan, root, notModified));
    });
}

BackgroundJobs::Completion IndexFetcher::finish(const std::shared_ptr<Load> &load, LoadResult result)
{
    // Runs on a worker; the completion only forwards the result from this thread to the loader's.
    result.health = healthOf(result, *load);
    auto shared = std::make_shared<const LoadResult>(std::move(result));
    return [this, ticket = load->ticket, link = load->plan.link, shared] {
        m_results->post([finished = m_finished, ticket, link, shared] { finished(ticket, link, shared); });
    };
}

LoadHealth IndexFetcher::healthOf(const LoadResult &result, const Load &load)
{
    LoadHealth health;
    health.packages = result.packages.size();
    health.httpStatus = load.lastStatus;
    health.milliseconds = load.milliseconds;
    health.checkedAt = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    switch (result.servedFrom) {
    case ServedFrom::Network:
        health.outcome = HealthOutcome::Downloaded;
        health.bytes = load.servedBytes;
        // Served as the chain says, but a body without a single package is a login page, an error
        // page or junk, not an index.
        if (std::none_of(result.packages.cbegin(), result.packages.cend(),
                         [](const PackageInfo &p) { return p.package().has_value(); }))
            health.problem = QStringLiteral("not an index");
        return health;
    case ServedFrom::NotModified:
    case ServedFrom::Cache:
        health.outcome = result.servedFrom == ServedFrom::NotModified ? HealthOutcome::NotModified
                                                                      : HealthOutcome::FromCache;
        // The validators read for the requests are that same record; it is read here only when no
        // request was made (offline, forced).
        if (const std::optional<RepoMeta> meta =
                load.plan.validators ? load.plan.validators : readRepoMeta(load.plan.paths.meta))
            health.cacheUpdatedAt = meta->updatedAt;
        break;
    case ServedFrom::Lists:
        health.outcome = HealthOutcome::FromLists;
        break;
    case ServedFrom::Nothing:
        health.outcome = HealthOutcome::Failed;
        break;
    }
    if (result.servedFrom != ServedFrom::NotModified)
        health.problem = load.problem.isEmpty() ? QStringLiteral("no index anywhere") : load.problem;
    return health;
}
