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
    [[nodiscard]] QString caFile() const { return filePath(QStringLiteral("ca.pem")); }
    [[nodiscard]] QString certificateFile() const { return filePath(QStringLiteral("server.pem")); }
    [[nodiscard]] QString keyFile() const { return filePath(QStringLiteral("server.key")); }

    // Trusts the CA beside the system's for the process's HTTP client, the way the app's --ca-file
    // does.
    void trustInThisProcess() const;

private:
    [[nodiscard]] QString filePath(const QString &name) const;

    // Made once per test run by a set-up step when TALLOWPINE_TEST_CERTS names its folder, so
    // test processes need not fork (ThreadSanitizer loses track of a process that forks while
    // threads run); otherwise made here.
    QString m_shared = qEnvironmentVariable("TALLOWPINE_TEST_CERTS");
    QTemporaryDir m_dir;
    bool m_valid = false;
};
