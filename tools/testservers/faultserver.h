// A small HTTPS server on loopback that misbehaves on purpose: stalls, resets, short and long bodies,
// slow drips, endless bodies, bytes after a response, redirects and odd statuses that a
// well-behaved nginx will not produce. Records every request.
// Test helper; lives on the test's main thread, so the test must spin the event loop while it waits.
#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QSslServer>

class TestCertificates;

class FaultServer : public QObject
{
    Q_OBJECT

public:
    enum class Fault {
        None,
        StallBeforeHeaders, // read the request, never answer
        StallMidBody,       // send headers and half the body, then go quiet
        Reset,              // drop the connection without a word
        ResetInHeaders,     // send half the header block, then drop the connection
        ResetInBody,        // send headers and half the body, then drop the connection
        ShortBody,          // promise more bytes than are sent, then close
        AbsurdLength,       // promise an impossible number of bytes, send the body, then close
        ChunkedCutShort,    // chunked encoding that stops before its last chunk, then close
        Drip,               // the whole body, in 20 pieces, one every `interval` milliseconds
    };

    struct Route
    {
        Route(int status = 200, QByteArray body = {}, QList<QPair<QByteArray, QByteArray>> headers = {},
              Fault fault = Fault::None)
            : status(status)
            , body(std::move(body))
            , headers(std::move(headers))
            , fault(fault)
        {}
        int status = 200;
        QByteArray body;
        QList<QPair<QByteArray, QByteArray>> headers;
        Fault fault = Fault::None;
        QByteArray after;   // raw bytes sent right after the response, on the same connection
        int afterDelay = 0; // milliseconds between the response and `after`
        bool closesWhenAsked =
            false;              // a request's "Connection: close" is honoured: said, and done after `after`
        bool keepAlive = false; // no "Connection: close"; further requests on the connection are read
        qint64 generated = 0;   // when set: a body of this many bytes, made as it is sent
        int interval = 0;       // for Fault::Drip
        qint64 contentLength = -1; // when set: the Content-Length sent, whatever the body's size
        bool undelimited = false;  // no Content-Length: the body ends when the connection does
        QByteArray etag;           // when set: sent, and a request that names it gets a bare 304

        [[nodiscard]] Route followedBy(QByteArray bytes) const
        {
            Route r = *this;
            r.after = std::move(bytes);
            r.keepAlive = true;
            return r;
        }
        // As an HTTP/1.1 server does it: the connection stays open unless the request asked for it to
        // close. Either way the extra bytes follow a little later, when the client has finished reading
        // the answer and may already have sent its next request.
        [[nodiscard]] Route followedLaterBy(QByteArray bytes, int milliseconds) const
        {
            Route r = followedBy(std::move(bytes));
            r.afterDelay = milliseconds;
            r.closesWhenAsked = true;
            return r;
        }
        [[nodiscard]] Route keptAlive() const
        {
            Route r = *this;
            r.keepAlive = true;
            return r;
        }
        [[nodiscard]] Route generating(qint64 bytes) const
        {
            Route r = *this;
            r.generated = bytes;
            return r;
        }
        [[nodiscard]] Route withoutLength() const
        {
            Route r = *this;
            r.undelimited = true;
            return r;
        }
        [[nodiscard]] Route dripping(int milliseconds) const
        {
            Route r = *this;
            r.fault = Fault::Drip;
            r.interval = milliseconds;
            return r;
        }
        // A well-behaved repository: validators honoured, the connection kept for further requests.
        [[nodiscard]] Route healthy(QByteArray tag) const
        {
            Route r = *this;
            r.etag = std::move(tag);
            r.keepAlive = true;
            return r;
        }
        [[nodiscard]] Route claimingLength(qint64 length) const
        {
            Route r = *this;
            r.contentLength = length;
            return r;
        }
    };

    struct Request
    {
        QByteArray path;
        QHash<QByteArray, QByteArray> headers; // names lower-cased
    };

    explicit FaultServer(const TestCertificates &certificates, QObject *parent = nullptr);

    [[nodiscard]] bool isListening() const { return m_server.isListening(); }
    [[nodiscard]] QString url(const QString &path = {}) const;
    void setRoute(const QByteArray &path, const Route &route) { m_routes.insert(path, route); }
    [[nodiscard]] const QList<Request> &requests() const { return m_requests; }
    [[nodiscard]] QList<QByteArray> requestedPaths() const;
    // Bytes of generated bodies handed to sockets so far.
    [[nodiscard]] qint64 generatedBytesSent() const { return m_generatedSent; }

private:
    void serve(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const Request &request);
    void sendGenerated(QTcpSocket *socket);

    QSslServer m_server;
    QHash<QByteArray, Route> m_routes;
    QList<Request> m_requests;
    qint64 m_generatedSent = 0;
};
