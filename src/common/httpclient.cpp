#include "common/httpclient.h"

#include "common/threadpriority.h"

#include <QDir>
#include <QFile>
#include <QTemporaryFile>

#include <curl/curl.h>

#include <algorithm>
#include <cstring>

namespace {

// Bodies are kept in pieces of this size: few enough pieces for a 128 MiB index, and no piece so
// big that growing it copies much.
constexpr qsizetype kPieceBytes = 1024 * 1024;

// Many sources share one host when users add repositories from the same server; a few slow ones
// must not hold everyone else's requests behind them.
constexpr long kMaxHostConnections = 32;
// Below the usual limit of 1,024 open files, with room for the cache and the lists.
constexpr long kMaxTotalConnections = 256;

std::mutex g_authoritiesMutex;
QString g_extraAuthorities; // guarded by g_authoritiesMutex
// The system's bundle with the extra authorities after it; every file made stays until exit, since
// a request started earlier may still be connecting with it.
QString g_bundle;                                       // guarded by g_authoritiesMutex
std::vector<std::unique_ptr<QTemporaryFile>> g_bundles; // guarded by g_authoritiesMutex

// The one file of trusted authorities that a request names. curl builds the store of authorities once
// per client and reuses it only when it comes from a single file: a folder of hashed certificates
// beside it (Debian's default) has every connection read the whole system bundle again, several
// milliseconds of CPU per connection.
QByteArray bundleFor(const QString &extra)
{
    if (extra.isEmpty())
        return {};
    QFile extraFile(extra);
    CURL *probe = curl_easy_init();
    char *systemPath = nullptr;
    curl_easy_getinfo(probe, CURLINFO_CAINFO, &systemPath);
    QFile system(QString::fromLocal8Bit(systemPath ? systemPath : "/etc/ssl/certs/ca-certificates.crt"));
    curl_easy_cleanup(probe);
    auto bundle =
        std::make_unique<QTemporaryFile>(QDir::tempPath() + QStringLiteral("/tallowpine-ca-XXXXXX.pem"));
    if (!extraFile.open(QIODevice::ReadOnly) || !bundle->open())
        return QFile::encodeName(extra); // curl names the problem when it cannot read it either
    if (system.open(QIODevice::ReadOnly))
        bundle->write(system.readAll() + '\n');
    bundle->write(extraFile.readAll());
    bundle->close();
    const QByteArray path = QFile::encodeName(bundle->fileName());
    g_bundles.push_back(std::move(bundle));
    return path;
}

struct CurlGlobal
{
    CurlGlobal() { curl_global_init(CURL_GLOBAL_DEFAULT); }
    ~CurlGlobal() { curl_global_cleanup(); }
};

QString failureInWords(CURLcode code, const char *buffer, long osErrno)
{
    QString words = QString::fromUtf8(buffer).trimmed();
    if (words.isEmpty())
        words = QString::fromUtf8(curl_easy_strerror(code));
    if (code == CURLE_COULDNT_CONNECT && osErrno != 0)
        return QStringLiteral("Failed to connect: ") + qt_error_string(int(osErrno));
    return words;
}

HttpFailure failureOf(CURLcode code)
{
    switch (code) {
    case CURLE_OK:
        return HttpFailure::None;
    case CURLE_OPERATION_TIMEDOUT:
        return HttpFailure::TimedOut;
    case CURLE_FILESIZE_EXCEEDED:
        return HttpFailure::TooLarge;
    case CURLE_COULDNT_RESOLVE_HOST:
        return HttpFailure::NoHost;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
        return HttpFailure::Tls;
    default:
        return HttpFailure::Transport;
    }
}

} // namespace

QByteArray HttpResponse::header(QByteArrayView name) const
{
    for (const auto &[field, value] : headers) {
        if (field == name)
            return value;
    }
    return {};
}

// One request while it runs: owned by the client's thread from the moment it is added.
struct HttpClient::Transfer
{
    Id id = 0;
    HttpRequest request;
    Done done;
    QByteArray authorities;
    CURL *easy = nullptr;
    curl_slist *headers = nullptr;
    HttpResponse response;
    QByteArray piece;                           // the body's newest piece, not yet in response.body
    bool looked = false;                        // refuseBody has seen the start
    HttpFailure ownFailure = HttpFailure::None; // set when a callback of ours stopped the transfer
    char errors[CURL_ERROR_SIZE] = {};

    ~Transfer()
    {
        if (easy)
            curl_easy_cleanup(easy);
        curl_slist_free_all(headers);
    }

    bool lookAtStart(QByteArrayView start)
    {
        looked = true;
        if (request.refuseBody && request.refuseBody(response, start)) {
            ownFailure = HttpFailure::Refused;
            return false;
        }
        return true;
    }

    static size_t onHeader(char *data, size_t size, size_t count, void *self)
    {
        auto *transfer = static_cast<Transfer *>(self);
        const size_t bytes = size * count;
        const QByteArrayView line = QByteArrayView(data, qsizetype(bytes)).trimmed();
        if (line.startsWith("HTTP/")) {
            // A new answer (after a redirect, or a 100 Continue): only the last one counts.
            transfer->response.headers.clear();
            const QList<QByteArray> parts = line.toByteArray().split(' ');
            transfer->response.status = parts.value(1).toInt();
            // An HTTP/1 connection carries one request only: bytes a server sends after its answer,
            // early or late, can then never be read as the answer to a later request, whoever made
            // it. HTTP/2 frames every answer in its own stream, so its connections are shared.
            curl_easy_setopt(transfer->easy, CURLOPT_FORBID_REUSE, line.startsWith("HTTP/1") ? 1L : 0L);
            return bytes;
        }
        const qsizetype colon = line.indexOf(':');
        if (colon > 0) {
            transfer->response.headers.append({line.first(colon).trimmed().toByteArray().toLower(),
                                               line.sliced(colon + 1).trimmed().toByteArray()});
        }
        return bytes;
    }

    static size_t onBody(char *data, size_t size, size_t count, void *self)
    {
        auto *transfer = static_cast<Transfer *>(self);
        const size_t bytes = size * count;
        HttpResponse &response = transfer->response;
        if (response.bodyBytes + qint64(bytes) > transfer->request.maxBodyBytes) {
            transfer->ownFailure = HttpFailure::TooLarge;
            return 0; // less than given: curl ends the transfer
        }
        if (!transfer->looked && response.bodyBytes + qint64(bytes) >= 2) {
            QByteArray start = transfer->piece;
            start.append(data, qsizetype(std::min<size_t>(bytes, 2)));
            if (!transfer->lookAtStart(QByteArrayView(start).first(2)))
                return 0;
        }
        if (transfer->piece.isEmpty())
            transfer->piece.reserve(
                std::min<qsizetype>(kPieceBytes, std::max<qsizetype>(qsizetype(bytes), 16384)));
        transfer->piece.append(data, qsizetype(bytes));
        response.bodyBytes += qint64(bytes);
        if (transfer->piece.size() >= kPieceBytes)
            response.body.append(std::exchange(transfer->piece, QByteArray()));
        return bytes;
    }
};

HttpClient &HttpClient::shared()
{
    static CurlGlobal global; // made first, so it ends after the client
    static HttpClient client;
    return client;
}

void HttpClient::setExtraAuthorities(const QString &pemFile)
{
    const std::lock_guard lock(g_authoritiesMutex);
    if (pemFile == g_extraAuthorities)
        return;
    g_extraAuthorities = pemFile;
    g_bundle = QFile::decodeName(bundleFor(pemFile));
}

QString HttpClient::extraAuthorities()
{
    const std::lock_guard lock(g_authoritiesMutex);
    return g_extraAuthorities;
}

HttpClient::HttpClient()
{
    m_multi = curl_multi_init();
    curl_multi_setopt(m_multi, CURLMOPT_MAX_HOST_CONNECTIONS, kMaxHostConnections);
    curl_multi_setopt(m_multi, CURLMOPT_MAX_TOTAL_CONNECTIONS, kMaxTotalConnections);
    curl_multi_setopt(m_multi, CURLMOPT_PIPELINING, long(CURLPIPE_MULTIPLEX));
    m_thread = std::thread([this] { run(); });
}

HttpClient::~HttpClient()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    curl_multi_wakeup(m_multi);
    m_thread.join();
    for (const std::unique_ptr<Transfer> &transfer : m_running)
        curl_multi_remove_handle(m_multi, transfer->easy);
    m_running.clear();
    m_starting.clear();
    curl_multi_cleanup(m_multi);
}

HttpClient::Id HttpClient::start(HttpRequest request, Done done)
{
    auto transfer = std::make_unique<Transfer>();
    transfer->request = std::move(request);
    transfer->done = std::move(done);
    {
        const std::lock_guard lock(g_authoritiesMutex);
        transfer->authorities = QFile::encodeName(g_bundle);
    }
    Id id = 0;
    {
        const std::lock_guard lock(m_mutex);
        id = ++m_nextId;
        transfer->id = id;
        m_live.insert(id);
        m_starting.push_back(std::move(transfer));
    }
    curl_multi_wakeup(m_multi);
    return id;
}

void HttpClient::cancel(Id id)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_live.erase(id) == 0) {
            // Delivered, or being delivered: wait below for that to end.
        } else {
            m_cancelling.push_back(id);
        }
    }
    curl_multi_wakeup(m_multi);
    const std::lock_guard wait(m_deliveryMutex);
}

quint64 HttpClient::startedCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_nextId;
}

void HttpClient::run()
{
    // Below the thread that draws, which must never queue behind socket and TLS work; curl's lookup
    // threads, started from here, inherit it.
    setThisThreadNice(10);
    for (;;) {
        std::vector<std::unique_ptr<Transfer>> starting;
        std::vector<Id> cancelling;
        {
            const std::lock_guard lock(m_mutex);
            if (m_stopping)
                return;
            starting.swap(m_starting);
            cancelling.swap(m_cancelling);
        }
        for (std::unique_ptr<Transfer> &transfer : starting) {
            if (std::find(cancelling.cbegin(), cancelling.cend(), transfer->id) == cancelling.cend())
                addTransfer(std::move(transfer));
        }
        for (const Id id : cancelling) {
            const auto found = std::find_if(m_running.begin(), m_running.end(),
                                            [id](const std::unique_ptr<Transfer> &t) { return t->id == id; });
            if (found == m_running.end())
                continue;
            curl_multi_remove_handle(m_multi, (*found)->easy);
            m_running.erase(found);
        }

        int running = 0;
        curl_multi_perform(m_multi, &running);
        int left = 0;
        while (CURLMsg *message = curl_multi_info_read(m_multi, &left)) {
            if (message->msg != CURLMSG_DONE)
                continue;
            Transfer *transfer = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
            finishTransfer(transfer, message->data.result);
        }
        curl_multi_poll(m_multi, nullptr, 0, 1000, nullptr);
    }
}

void HttpClient::addTransfer(std::unique_ptr<Transfer> transfer)
{
    CURL *easy = curl_easy_init();
    transfer->easy = easy;
    const HttpRequest &request = transfer->request;
    const QByteArray url = request.url.toEncoded();
    curl_easy_setopt(easy, CURLOPT_URL, url.constData());
    curl_easy_setopt(easy, CURLOPT_PRIVATE, transfer.get());
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    if (qEnvironmentVariableIsSet("TALLOWPINE_HTTP_TRACE"))
        curl_easy_setopt(easy, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer->errors);
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    // Never from https down to http.
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR,
                     request.url.scheme() == QLatin1String("https") ? "https" : "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, long(request.maxRedirects));
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, long(request.timeoutMilliseconds));
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS,
                     long(std::min(request.connectTimeoutMilliseconds, request.timeoutMilliseconds)));
    if (request.stallMilliseconds > 0) {
        curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
        curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME,
                         long(std::max(1, (request.stallMilliseconds + 999) / 1000)));
    }
    curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, curl_off_t(request.maxBodyBytes));
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, long(CURL_HTTP_VERSION_2TLS));
    // Requests to a host that is already being connected to wait to share its connection when it
    // turns out to speak HTTP/2, rather than each opening one of their own.
    curl_easy_setopt(easy, CURLOPT_PIPEWAIT, 1L);
    // Until the answer shows HTTP/2, a connection is not handed to another request.
    curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    // One file, so that curl keeps the store it builds from it (see bundleFor).
    curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
    if (!transfer->authorities.isEmpty())
        curl_easy_setopt(easy, CURLOPT_CAINFO, transfer->authorities.constData());
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "TallowPine/" TALLOWPINE_VERSION);
    for (const QByteArray &line : request.headers)
        transfer->headers = curl_slist_append(transfer->headers, line.constData());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer->headers);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, transfer.get());
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, transfer.get());
    // No CURLOPT_ACCEPT_ENCODING: bodies arrive as the server sent them, and the index's own rules
    // decide what a compressed one is.
    curl_multi_add_handle(m_multi, easy);
    m_running.push_back(std::move(transfer));
}

void HttpClient::finishTransfer(Transfer *transfer, int code)
{
    const auto found =
        std::find_if(m_running.begin(), m_running.end(),
                     [transfer](const std::unique_ptr<Transfer> &t) { return t.get() == transfer; });
    if (found == m_running.end())
        return;
    std::unique_ptr<Transfer> owned = std::move(*found);
    m_running.erase(found);
    curl_multi_remove_handle(m_multi, owned->easy);

    HttpResponse response = std::move(owned->response);
    if (!owned->piece.isEmpty())
        response.body.append(std::exchange(owned->piece, QByteArray()));
    const auto result = CURLcode(code);
    // A body shorter than the two bytes the look needs is shown whole once it is complete.
    if (result == CURLE_OK && !owned->looked && response.bodyBytes > 0)
        (void)owned->lookAtStart(response.body.constFirst());
    if (owned->ownFailure != HttpFailure::None) {
        response.failure = owned->ownFailure;
        response.error = owned->ownFailure == HttpFailure::TooLarge ? QStringLiteral("too large")
                                                                    : QStringLiteral("refused");
    } else if (result != CURLE_OK) {
        long osErrno = 0;
        curl_easy_getinfo(owned->easy, CURLINFO_OS_ERRNO, &osErrno);
        response.failure = failureOf(result);
        response.error = failureInWords(result, owned->errors, osErrno);
    }
    if (response.status == 0 || response.failure == HttpFailure::None) {
        long status = 0;
        curl_easy_getinfo(owned->easy, CURLINFO_RESPONSE_CODE, &status);
        if (status != 0)
            response.status = int(status);
    }

    const std::lock_guard delivering(m_deliveryMutex);
    bool mine = false;
    {
        const std::lock_guard lock(m_mutex);
        mine = m_live.erase(owned->id) > 0;
    }
    if (mine)
        owned->done(std::move(response));
}
