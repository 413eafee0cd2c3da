#include "nginxserver.h"

#include "testcertificates.h"

#include <QFile>
#include <QSslSocket>
#include <QTcpServer>
#include <QThread>

namespace {

quint16 freeLoopbackPort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
}

bool accepts(quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    return socket.waitForConnected(200);
}

} // namespace

NginxServer::NginxServer(const QString &documentRoot, const TestCertificates &certificates)
{
    const quint16 port = freeLoopbackPort();
    const QString dir = m_dir.path();
    // One process, no privilege drop: the document root sits in a private temporary folder.
    const QString config = QStringLiteral(R"(daemon off;
master_process off;
worker_processes 1;
pid %1/nginx.pid;
error_log %1/error.log warn;
events { worker_connections 256; }
http {
    access_log %1/access.log;
    client_body_temp_path %1/client_body;
    proxy_temp_path %1/proxy;
    fastcgi_temp_path %1/fastcgi;
    uwsgi_temp_path %1/uwsgi;
    scgi_temp_path %1/scgi;
    default_type application/octet-stream;
    server {
        listen 127.0.0.1:%2 ssl;
        server_name localhost;
        ssl_certificate %3;
        ssl_certificate_key %4;
        root %5;
    }
}
)")
                               .arg(dir)
                               .arg(port)
                               .arg(certificates.certificateFile(), certificates.keyFile(), documentRoot);
    QFile file(m_dir.filePath(QStringLiteral("nginx.conf")));
    if (port == 0 || !file.open(QIODevice::WriteOnly))
        return;
    file.write(config.toUtf8());
    file.close();

    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QStringLiteral("nginx"),
                    {QStringLiteral("-p"), dir, QStringLiteral("-c"), file.fileName(), QStringLiteral("-e"),
                     m_dir.filePath(QStringLiteral("error.log"))});
    if (!m_process.waitForStarted(5000))
        return;
    for (int i = 0; i < 100 && m_process.state() == QProcess::Running; ++i) {
        if (accepts(port)) {
            m_port = port;
            return;
        }
        QThread::msleep(20);
    }
}

NginxServer::~NginxServer()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000))
        m_process.kill();
    m_process.waitForFinished(2000);
}

QString NginxServer::url(const QString &path) const
{
    return QStringLiteral("https://127.0.0.1:%1/").arg(m_port) + path;
}

QString NginxServer::errorLog() const
{
    QFile file(m_dir.filePath(QStringLiteral("error.log")));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}
