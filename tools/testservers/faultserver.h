// A small HTTPS server on loopback that misbehaves on purpose: stalls, resets, short bodies,
// redirects and odd statuses that a well-behaved nginx will not produce. Records every request.
// Test helper; lives on the test's main thread, so the test must spin the event loop while a
// worker waits on it.
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
        ShortBody,          // promise more bytes than are sent, then close
    };

    struct Route {
        int status = 200;
        QByteArray body;
        QList<QPair<QByteArray, QByteArray>> headers;
        Fault fault = Fault::None;
    };

    struct Request {
        QByteArray path;
        QHash<QByteArray, QByteArray> headers; // names lower-cased
    };

    explicit FaultServer(const TestCertificates &certificates, QObject *parent = nullptr);

    [[nodiscard]] bool isListening() const { return m_server.isListening(); }
    [[nodiscard]] QString url(const QString &path = {}) const;
    void setRoute(const QByteArray &path, const Route &route) { m_routes.insert(path, route); }
    [[nodiscard]] const QList<Request> &requests() const { return m_requests; }
    [[nodiscard]] QList<QByteArray> requestedPaths() const;

private:
    void serve(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const QByteArray &path);

    QSslServer m_server;
    QHash<QByteArray, Route> m_routes;
    QList<Request> m_requests;
};
