#include "faultserver.h"

#include "testcertificates.h"

#include <QFile>
#include <QPointer>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>
#include <QTimer>

namespace {

constexpr qint64 kGeneratedPiece = 1024 * 1024;

const QByteArray &generatedPiece()
{
    static const QByteArray piece = [] {
        QByteArray line = "Package: endless\nDescription: more and more\n\n";
        QByteArray out;
        while (out.size() < kGeneratedPiece)
            out += line;
        return out.left(kGeneratedPiece);
    }();
    return piece;
}

} // namespace

FaultServer::FaultServer(const TestCertificates &certificates, QObject *parent)
    : QObject(parent)
{
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    config.setLocalCertificateChain(QSslCertificate::fromPath(certificates.certificateFile()));
    QFile keyFile(certificates.keyFile());
    if (keyFile.open(QIODevice::ReadOnly))
        config.setPrivateKey(QSslKey(&keyFile, QSsl::Ec));
    config.setPeerVerifyMode(QSslSocket::VerifyNone); // clients present no certificate
    m_server.setSslConfiguration(config);
    connect(&m_server, &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection())
            serve(socket);
    });
    m_server.listen(QHostAddress::LocalHost, 0);
}

QString FaultServer::url(const QString &path) const
{
    return QStringLiteral("https://127.0.0.1:%1/").arg(m_server.serverPort()) + path;
}

QList<QByteArray> FaultServer::requestedPaths() const
{
    QList<QByteArray> paths;
    for (const Request &request : m_requests)
        paths.append(request.path);
    return paths;
}

void FaultServer::serve(QTcpSocket *socket)
{
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
        QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
        // One request at a time; a connection that is not kept alive answers only its first.
        while (!socket->property("busy").toBool()) {
            const qsizetype end = buffer.indexOf("\r\n\r\n");
            if (end < 0)
                break;
            const QList<QByteArray> lines = buffer.left(end).split('\n');
            buffer.remove(0, end + 4);
            Request request;
            request.path = lines.value(0).split(' ').value(1);
            for (qsizetype i = 1; i < lines.size(); ++i) {
                const qsizetype colon = lines.at(i).indexOf(':');
                if (colon > 0)
                    request.headers.insert(lines.at(i).left(colon).trimmed().toLower(),
                                           lines.at(i).mid(colon + 1).trimmed());
            }
            m_requests.append(request);
            answer(socket, request);
            if (socket->state() != QAbstractSocket::ConnectedState)
                return;
        }
        socket->setProperty("buffer", buffer);
    });
}

void FaultServer::answer(QTcpSocket *socket, const Request &request)
{
    Route route = m_routes.value(request.path, Route{404, "not here\n", {}, Fault::None});
    if (route.closesWhenAsked)
        route.keepAlive = !request.headers.value("connection").toLower().contains("close");
    if (!route.etag.isEmpty()) {
        if (request.headers.value("if-none-match") == route.etag) {
            route.status = 304;
            route.body.clear();
        }
        route.headers.append({"ETag", route.etag});
    }
    if (route.fault == Fault::Reset) {
        socket->abort();
        return;
    }
    if (route.fault == Fault::StallBeforeHeaders) {
        socket->setProperty("busy", true);
        return;
    }

    const qint64 size = route.generated > 0 ? route.generated : route.body.size();
    qint64 promised = route.contentLength >= 0 ? route.contentLength : size;
    if (route.fault == Fault::ShortBody)
        promised = size * 2 + 10;
    if (route.fault == Fault::AbsurdLength)
        promised = Q_INT64_C(999999999999999999);
    QByteArray head = "HTTP/1.1 " + QByteArray::number(route.status) + " Test\r\n";
    if (!route.keepAlive)
        head += "Connection: close\r\n";
    if (route.fault == Fault::ChunkedCutShort)
        head += "Transfer-Encoding: chunked\r\n";
    else if (!route.undelimited)
        head += "Content-Length: " + QByteArray::number(promised) + "\r\n";
    for (const auto &[name, value] : route.headers)
        head += name + ": " + value + "\r\n";
    head += "\r\n";

    if (route.fault == Fault::ResetInHeaders) {
        socket->write(head.left(head.size() / 2));
        socket->flush();
        QTimer::singleShot(50, socket, &QTcpSocket::abort);
        return;
    }
    socket->write(head);
    const QByteArray half = route.body.left(route.body.size() / 2);
    switch (route.fault) {
    case Fault::StallMidBody:
        socket->setProperty("busy", true);
        socket->write(half);
        return;
    case Fault::ResetInBody:
        socket->write(half);
        socket->flush();
        QTimer::singleShot(50, socket, &QTcpSocket::abort);
        return;
    case Fault::ChunkedCutShort:
        socket->write(QByteArray::number(half.size(), 16) + "\r\n" + half + "\r\n");
        socket->flush();
        socket->disconnectFromHost();
        return;
    case Fault::Drip: {
        socket->setProperty("busy", true);
        auto *timer = new QTimer(socket);
        const qsizetype piece = (route.body.size() + 19) / 20;
        connect(timer, &QTimer::timeout, socket,
                [socket, timer, body = route.body, piece, at = qsizetype(0)]() mutable {
                    socket->write(body.mid(at, piece));
                    at += piece;
                    if (at >= body.size()) {
                        timer->stop();
                        socket->flush();
                        socket->disconnectFromHost();
                    }
                });
        timer->start(route.interval);
        return;
    }
    default:
        break;
    }
    if (route.generated > 0) {
        socket->setProperty("busy", true);
        socket->setProperty("generatedLeft", route.generated);
        connect(socket, &QIODevice::bytesWritten, this, [this, socket] { sendGenerated(socket); });
        if (auto *ssl = qobject_cast<QSslSocket *>(socket))
            connect(ssl, &QSslSocket::encryptedBytesWritten, this, [this, socket] { sendGenerated(socket); });
        sendGenerated(socket);
        return;
    }
    // Bytes sent after the answer stand for whatever the next request on this connection would
    // read; the server answers nothing more here.
    if (!route.after.isEmpty())
        socket->setProperty("busy", true);
    if (route.afterDelay > 0) {
        socket->write(route.body);
        socket->flush();
        QTimer::singleShot(route.afterDelay, socket, [socket, route] {
            socket->write(route.after);
            socket->flush();
            if (!route.keepAlive)
                socket->disconnectFromHost();
        });
        return;
    }
    socket->write(route.body + route.after);
    socket->flush();
    if (!route.keepAlive)
        socket->disconnectFromHost();
}

void FaultServer::sendGenerated(QTcpSocket *socket)
{
    qint64 left = socket->property("generatedLeft").toLongLong();
    // An encrypting socket hands plain bytes on at once; what waits is the encrypted backlog.
    const auto *ssl = qobject_cast<QSslSocket *>(socket);
    const auto backlog = [&] { return socket->bytesToWrite() + (ssl ? ssl->encryptedBytesToWrite() : 0); };
    while (left > 0 && socket->state() == QAbstractSocket::ConnectedState &&
           backlog() < 4 * kGeneratedPiece) {
        const qint64 piece = std::min(left, kGeneratedPiece);
        socket->write(generatedPiece().left(piece));
        left -= piece;
        m_generatedSent += piece;
    }
    socket->setProperty("generatedLeft", left);
    if (left == 0) {
        socket->disconnect(this);
        socket->disconnectFromHost();
    }
}
