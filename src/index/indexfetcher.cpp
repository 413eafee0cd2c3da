#include "index/indexfetcher.h"

#include "common/completionqueue.h"
#include "common/threadpriority.h"
#include "index/indexlog.h"

#include <QDateTime>
#include <QElapsedTimer>

#include <algorithm>

namespace {

// The time a connection may take before the request is given up, when the request's own limit is
// longer: a host that does not answer at all is known well before a slow index would be.
constexpr int kConnectMilliseconds = 10000;

HttpRequest indexRequest(const QUrl &url, const std::optional<RepoMeta> &validators,
                         const DownloadTimeouts &timeouts)
{
    HttpRequest request;
    request.url = url;
    request.timeoutMilliseconds = std::min(timeouts.requestMilliseconds, timeouts.waitMilliseconds);
    request.connectTimeoutMilliseconds = kConnectMilliseconds;
    request.maxBodyBytes = kMaxIndexBodyBytes;
    if (validators) {
        if (validators->etag)
            request.headers.append("If-None-Match: " + validators->etag->toUtf8());
        if (validators->lastModified)
            request.headers.append("If-Modified-Since: " + validators->lastModified->toUtf8());
    }
    // Most repositories serve a gzip "Packages.gz" beside the plain index: it is refused after its
    // first two bytes rather than downloaded whole for nothing.
    request.refuseBody = [url](const HttpResponse &head, QByteArrayView start) {
        return cannotDecode(url, head.header("content-encoding"), start);
    };
    return request;
}

QString failureInWords(const HttpResponse &response)
{
    switch (response.failure) {
    case HttpFailure::None:
        break;
    case HttpFailure::TimedOut:
        return QStringLiteral("timed out");
    case HttpFailure::Refused:
        return QStringLiteral("decode failure");
    case HttpFailure::TooLarge:
        return QStringLiteral("too large");
    case HttpFailure::NoHost:
        return QStringLiteral("host not found");
    case HttpFailure::Tls:
        return QStringLiteral("TLS error: ") + response.error;
    case HttpFailure::Transport:
        return response.error;
    }
    if (response.status != 200 && response.status != 304)
        return QStringLiteral("HTTP %1").arg(response.status);
    return {};
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
    for (const HttpClient::Id request : m_requests)
        HttpClient::shared().cancel(request);
    delete m_jobs;
    m_jobs = nullptr;
}

void IndexFetcher::fetch(quint64 ticket, const QString &link, bool force)
{
    // Made on first use rather than in the constructor, so that they belong to this thread.
    if (!m_jobs) {
        // Below the thread that draws: the bookkeeping of hundreds of answers must not take its core.
        setThisThreadNice(10);
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
        return [this, load] { tryNextCandidate(load); };
    });
}

void IndexFetcher::tryNextCandidate(const std::shared_ptr<Load> &load)
{
    if (load->next >= load->plan.candidates.size()) {
        endWithoutNetwork(load, false);
        return;
    }
    load->current = load->plan.candidates.at(load->next++);
    if (!load->started.isValid())
        load->started.start();
    // The answer comes on the client's thread and is handed straight on to this one, where the id
    // below has been recorded by then.
    auto id = std::make_shared<HttpClient::Id>(0);
    CompletionQueue *inbox = m_inbox;
    *id = HttpClient::shared().start(
        indexRequest(load->current, load->plan.validators, m_environment.timeouts),
        [this, inbox, load, id](HttpResponse response) {
            inbox->post([this, load, id, response = std::move(response)]() mutable {
                complete(load, *id, std::move(response));
            });
        });
    m_requests.insert(*id);
}

void IndexFetcher::complete(const std::shared_ptr<Load> &load, HttpClient::Id request, HttpResponse response)
{
    m_requests.erase(request);
    qCDebug(lcIndex) << load->current.toString() << "->" << response.status << response.error;
    load->lastStatus = response.status;
    load->milliseconds = load->started.elapsed();
    // A candidate the server does not have says least about the source: a time-out or a bad
    // certificate on another candidate is what the record keeps.
    const QString problem = failureInWords(response);
    const bool missing = response.status == 404 || response.status == 410;
    if (load->problem.isEmpty() || !missing)
        load->problem = problem;

    const bool answered = response.failure == HttpFailure::None;
    if (answered && response.status == 304) {
        endWithoutNetwork(load, true);
        return;
    }
    // Every candidate is on the same host: one that cannot be looked up settles them all.
    if (response.failure == HttpFailure::NoHost) {
        endWithoutNetwork(load, false);
        return;
    }
    // A transport error after the headers (a reset mid-body, a short body) leaves a body that is not
    // the whole index.
    const bool whole = answered && response.status == 200 && response.bodyBytes > 0;
    if (whole)
        load->servedBytes = response.bodyBytes;
    else if (answered && response.status == 200)
        load->problem = QStringLiteral("empty answer");
    if (!whole) {
        if (response.bodyBytes > qint64(1024) * 1024) // let a big unused body go on a worker
            m_jobs->start([unused = std::move(response)] { return BackgroundJobs::Completion(); });
        tryNextCandidate(load);
        return;
    }
    IndexResponse index{load->current, std::move(response.body), response.header("etag"),
                        response.header("last-modified"), response.header("content-encoding")};
    m_jobs->start([this, load, index = std::move(index)]() mutable -> BackgroundJobs::Completion {
        std::optional<LoadResult> accepted = acceptIndexResponse(load->plan, std::move(index));
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
