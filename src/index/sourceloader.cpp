#include "index/sourceloader.h"

#include "index/indexlog.h"

#include <QHostInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QTimer>

#include <algorithm>

namespace {

// How much of a reply Qt may hold before the network thread waits for us to read it: a body that
// never ends must not pile up in memory faster than it is read and counted.
constexpr qint64 kReadBufferBytes = qint64(4) * 1024 * 1024;

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
    // One request per connection: whatever a server sends after its answer dies with the connection
    // and can never be read as the answer to the next request.
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

} // namespace

// One source's load while it runs. Touched by one side at a time: the main thread while a request is
// in flight, a worker while a job for it runs; each job hand-off orders the two.
struct SourceLoader::Load
{
    quint64 ticket = 0;
    FetchPlan plan;
    qsizetype next = 0; // the candidate to try next
    QUrl current;       // the candidate in flight
    // The request in flight.
    QList<QByteArray> chunks;
    qint64 received = 0;
    bool overLimit = false;
    bool timedOut = false;
    QPointer<QTimer> deadline;
};

SourceLoader::SourceLoader(LoadEnvironment environment, QObject *parent)
    : QObject(parent)
    , m_environment(std::move(environment))
    , m_network(new QNetworkAccessManager(this))
    , m_jobs(new BackgroundJobs(this))
{
    m_network->setAutoDeleteReplies(false);
}

SourceLoader::~SourceLoader()
{
    for (QNetworkReply *reply : m_network->findChildren<QNetworkReply *>()) {
        reply->disconnect(this);
        reply->abort();
    }
    delete m_jobs;
    m_jobs = nullptr;
}

void SourceLoader::load(const QString &link, bool force, std::function<void(const LoadResult &)> done)
{
    // `done` stays on this thread; only values travel to the workers and back.
    const quint64 ticket = ++m_nextTicket;
    m_pending.emplace(ticket, std::move(done));
    m_jobs->start([this, ticket, link, force, environment = m_environment]() -> BackgroundJobs::Completion {
        auto load = std::make_shared<Load>();
        load->ticket = ticket;
        load->plan = planFetch(link, force, environment);
        if (load->plan.candidates.isEmpty()) {
            auto result = std::make_shared<const LoadResult>(
                loadWithoutNetwork(load->plan, environment.deviceRoot, false));
            return [this, load, result] { finish(load->ticket, load->plan.link, result); };
        }
        return [this, load] { lookUpHost(load); };
    });
}

void SourceLoader::lookUpHost(const std::shared_ptr<Load> &load)
{
    // Every candidate is on the same host, so one lookup settles them all. It is made here rather
    // than left to the network manager because Qt 6.4 loses a request whose host lookup fails from
    // its own cache (the failure is reported before the request is queued, so nothing ever
    // finishes it): every candidate after a failed first one would hang until the time-out.
    const QString host = load->plan.candidates.constFirst().host();
    QHostInfo::lookupHost(host, this, [this, load](const QHostInfo &info) {
        if (info.error() != QHostInfo::NoError || info.addresses().isEmpty()) {
            qCDebug(lcIndex) << info.hostName() << "cannot be looked up:" << info.errorString();
            endWithoutNetwork(load, false);
            return;
        }
        tryNextCandidate(load);
    });
}

void SourceLoader::tryNextCandidate(const std::shared_ptr<Load> &load)
{
    if (load->next >= load->plan.candidates.size()) {
        endWithoutNetwork(load, false);
        return;
    }
    const QUrl url = load->plan.candidates.at(load->next++);
    load->current = url;
    const DownloadTimeouts &timeouts = m_environment.timeouts;
    load->chunks.clear();
    load->received = 0;
    load->overLimit = false;
    load->timedOut = false;

    QNetworkReply *reply = m_network->get(indexRequest(url, load->plan.validators, timeouts));
    reply->setReadBufferSize(kReadBufferBytes);
    // The transfer time-out only catches a transfer that stops moving; this one ends a request that
    // takes too long as a whole, however steadily it drips.
    load->deadline = new QTimer(reply);
    load->deadline->setSingleShot(true);
    connect(load->deadline, &QTimer::timeout, reply, [load, reply] {
        load->timedOut = true;
        reply->abort();
    });
    load->deadline->start(std::min(timeouts.requestMilliseconds, timeouts.waitMilliseconds));
    connect(reply, &QNetworkReply::metaDataChanged, this, [load, reply] {
        const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
        if (length.isValid() && length.toLongLong() > kMaxIndexBodyBytes) {
            load->overLimit = true;
            reply->abort();
        }
    });
    connect(reply, &QIODevice::readyRead, this, [this, load, reply] { onReadyRead(load, reply); });
    connect(reply, &QNetworkReply::finished, this, [this, load, reply] { onFinished(load, reply); });
}

void SourceLoader::onReadyRead(const std::shared_ptr<Load> &load, QNetworkReply *reply)
{
    if (load->overLimit || load->timedOut)
        return;
    const qint64 available = reply->bytesAvailable();
    if (available <= 0)
        return;
    if (load->received + available > kMaxIndexBodyBytes) {
        load->overLimit = true;
        reply->abort();
        return;
    }
    load->received += available;
    load->chunks.append(reply->read(available));
}

void SourceLoader::onFinished(const std::shared_ptr<Load> &load, QNetworkReply *reply)
{
    reply->disconnect(this);
    if (load->deadline)
        load->deadline->stop();
    onReadyRead(load, reply);
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const QNetworkReply::NetworkError error = reply->error();
    qCDebug(lcIndex) << load->current.toString() << "->" << status.toInt() << reply->errorString()
                     << (load->timedOut ? "(took too long)" : "") << (load->overLimit ? "(too large)" : "");
    IndexResponse response{load->current, std::exchange(load->chunks, {}), reply->rawHeader("ETag"),
                           reply->rawHeader("Last-Modified"), reply->rawHeader("Content-Encoding")};
    reply->deleteLater();

    const bool answered = status.isValid() && !load->overLimit && !load->timedOut;
    if (answered && status.toInt() == 304) {
        endWithoutNetwork(load, true);
        return;
    }
    // A transport error after the headers (a reset mid-body, a short body) leaves a body that is not
    // the whole index.
    const bool whole =
        answered && status.toInt() == 200 && error == QNetworkReply::NoError && load->received > 0;
    if (!whole) {
        if (load->received > kReadBufferBytes) // let a big unused body go on a worker
            m_jobs->start([unused = std::move(response)] { return BackgroundJobs::Completion(); });
        tryNextCandidate(load);
        return;
    }
    m_jobs->start([this, load, response = std::move(response)]() mutable -> BackgroundJobs::Completion {
        std::optional<LoadResult> accepted = acceptIndexResponse(load->plan, std::move(response));
        if (!accepted)
            return [this, load] { tryNextCandidate(load); };
        auto result = std::make_shared<const LoadResult>(std::move(*accepted));
        return [this, load, result] { finish(load->ticket, load->plan.link, result); };
    });
}

void SourceLoader::endWithoutNetwork(const std::shared_ptr<Load> &load, bool notModified)
{
    m_jobs->start([this, load, notModified, root = m_environment.deviceRoot]() -> BackgroundJobs::Completion {
        auto result = std::make_shared<const LoadResult>(loadWithoutNetwork(load->plan, root, notModified));
        return [this, load, result] { finish(load->ticket, load->plan.link, result); };
    });
}

void SourceLoader::finish(quint64 ticket, const QString &link,
                          const std::shared_ptr<const LoadResult> &result)
{
    m_servedFrom.insert(link, result->servedFrom);
    auto pending = m_pending.extract(ticket);
    if (pending)
        pending.mapped()(*result);
}
