// The process's one HTTP client: libcurl's multi interface, driven by a thread of its own, carries
// every request the app makes (indexes and icons), with TLS always verified.
// Its own thread; start() and cancel() may be called from any thread, `done` runs on the client's.
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_set>
#include <vector>

enum class HttpFailure {
    None,     // the last answer arrived whole, whatever its status
    TimedOut, // the whole request, or its connection, took too long
    TooLarge, // the body passed the request's ceiling (or announced that it would)
    Refused,  // the request's own look at the body's start turned it down
    Tls,      // no trusted, working TLS session
    NoHost,   // the host name could not be looked up
    Transport // anything else: no connection, a reset, a body cut short, bad framing, a redirect refused
};

struct HttpResponse
{
    int status = 0; // of the last answer; 0 when none came
    // The last answer's header fields, names lower-cased, values as sent.
    QList<QPair<QByteArray, QByteArray>> headers;
    QList<QByteArray> body; // in pieces of up to a MiB, as it came
    qint64 bodyBytes = 0;
    HttpFailure failure = HttpFailure::None;
    QString error; // the reason in words, for a failure

    // The first field of that name (lower case), null when there is none.
    [[nodiscard]] QByteArray header(QByteArrayView name) const;
};

struct HttpRequest
{
    QUrl url;                        // http or https; a redirect never leaves https
    QList<QByteArray> headers;       // extra request header lines, "Name: value"
    int timeoutMilliseconds = 25000; // the whole request, redirects included
    int connectTimeoutMilliseconds = 10000;
    // A transfer that moves no byte for this long ends as TimedOut; whole seconds, 0 for no limit.
    int stallMilliseconds = 0;
    qint64 maxBodyBytes = qint64(128) * 1024 * 1024;
    int maxRedirects = 16;
    // Shown the answer's status and fields with the first two bytes of its body (or the whole body
    // when it is shorter), once, on the client's thread; true stops the transfer there (Refused).
    std::function<bool(const HttpResponse &head, QByteArrayView start)> refuseBody;
};

class HttpClient
{
public:
    using Done = std::function<void(HttpResponse)>;
    using Id = quint64;

    // The process's client, started on first use; it stops at exit.
    [[nodiscard]] static HttpClient &shared();

    // Certificate authorities trusted beside the system's, from a PEM file (the --ca-file option, and
    // the tests' throw-away authority); empty for the system's alone. Applies to requests started
    // afterwards. Verification itself is never relaxed.
    static void setExtraAuthorities(const QString &pemFile);
    [[nodiscard]] static QString extraAuthorities();

    HttpClient();
    // Ends every transfer without calling its `done`.
    ~HttpClient();
    HttpClient(const HttpClient &) = delete;
    HttpClient &operator=(const HttpClient &) = delete;

    // `done` runs exactly once on the client's thread, unless the request is cancelled first. It
    // should only hand the response on: it may start requests but never cancel one.
    Id start(HttpRequest request, Done done);
    // Once this returns, the request's `done` is not running and never will. Unknown or finished
    // requests are ignored.
    void cancel(Id id);

    // Requests started so far, for tests.
    [[nodiscard]] quint64 startedCount() const;

private:
    struct Transfer;

    void run();
    void addTransfer(std::unique_ptr<Transfer> transfer);
    void finishTransfer(Transfer *transfer, int code);

    void *m_multi = nullptr; // CURLM; touched only by the client's thread after construction

    mutable std::mutex m_mutex;
    std::vector<std::unique_ptr<Transfer>> m_starting; // guarded by m_mutex
    std::vector<Id> m_cancelling;                      // guarded by m_mutex
    std::unordered_set<Id> m_live;                     // guarded by m_mutex: not yet delivered
    Id m_nextId = 0;                                   // guarded by m_mutex
    bool m_stopping = false;                           // guarded by m_mutex

    // Held while a `done` runs, so that cancel() can wait for one in progress.
    std::mutex m_deliveryMutex;

    std::vector<std::unique_ptr<Transfer>> m_running; // the client's thread only
    std::thread m_thread;                             // last: started once the rest is built
};
