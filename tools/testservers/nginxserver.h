// A real nginx serving a folder over HTTPS on a free loopback port, as its own process, for tests
// that need genuine ETag, Last-Modified and 304 behaviour. Test helper; main thread.
#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

class TestCertificates;

class NginxServer
{
public:
    NginxServer(const QString &documentRoot, const TestCertificates &certificates);
    ~NginxServer();

    [[nodiscard]] bool isRunning() const { return m_port != 0; }
    [[nodiscard]] quint16 port() const { return m_port; }
    // "https://127.0.0.1:PORT/" followed by the path.
    [[nodiscard]] QString url(const QString &path = {}) const;
    [[nodiscard]] QString errorLog() const;

private:
    QTemporaryDir m_dir;
    QProcess m_process;
    quint16 m_port = 0;
};
