#include "faultserver.h"

#include "testcertificates.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>

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
        if (socket->property("answered").toBool())
            return;
        QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0) {
            socket->setProperty("buffer", buffer);
            return;
        }
        socket->setProperty("answered", true);
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        Request request;
        request.path = lines.value(0).split(' ').value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines.at(i).indexOf(':');
            if (colon > 0)
                request.headers.insert(lines.at(i).left(colon).trimmed().toLower(), lines.at(i).mid(colon + 1).trimmed());
        }
        m_requests.append(request);
        answer(socket, request.path);
    });
}

void FaultServer::answer(QTcpSocket *socket, const QByteArray &path)
{
    const Route route = m_routes.value(path, Route{404, "not here\n", {}, Fault::None});
    if (route.fault == Fault::Reset) {
        socket->abort();
        return;
    }
    if (route.fault == Fault::StallBeforeHeaders)
        return;

    const qsizetype promised = route.fault == Fault::ShortBody ? route.body.size() * 2 + 10 : route.body.size();
    QByteArray head = "HTTP/1.1 " + QByteArray::number(route.status) + " Test\r\nConnection: close\r\n";
    head += "Content-Length: " + QByteArray::number(promised) + "\r\n";
    for (const auto &[name, value] : route.headers)
        head += name + ": " + value + "\r\n";
    socket->write(head + "\r\n");
    if (route.fault == Fault::StallMidBody) {
        socket->write(route.body.left(route.body.size() / 2));
        return;
    }
    socket->write(route.body);
    socket->flush();
    socket->disconnectFromHost();
}
