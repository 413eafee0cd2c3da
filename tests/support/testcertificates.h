// A throw-away certificate authority and a localhost server certificate, made with openssl at test
// time so no key ever lives in the repository. Test helper; main thread.
#pragma once

#include <QString>
#include <QTemporaryDir>

class TestCertificates
{
public:
    TestCertificates();

    [[nodiscard]] bool isValid() const { return m_valid; }
    [[nodiscard]] QString caFile() const { return m_dir.filePath(QStringLiteral("ca.pem")); }
    [[nodiscard]] QString certificateFile() const { return m_dir.filePath(QStringLiteral("server.pem")); }
    [[nodiscard]] QString keyFile() const { return m_dir.filePath(QStringLiteral("server.key")); }

    // Adds the CA to the default TLS configuration, the way the app's --ca-file does; must run
    // before any network access manager exists.
    void trustInThisProcess() const;

private:
    QTemporaryDir m_dir;
    bool m_valid = false;
};
