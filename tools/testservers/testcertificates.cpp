#include "testcertificates.h"

#include "common/httpclient.h"

#include <QFile>
#include <QProcess>

namespace {

bool openssl(const QString &workDir, const QStringList &args)
{
    QProcess process;
    process.setWorkingDirectory(workDir);
    process.start(QStringLiteral("openssl"), args);
    return process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

} // namespace

TestCertificates::TestCertificates()
{
    if (!m_shared.isEmpty()) {
        m_valid = QFile::exists(caFile()) && QFile::exists(certificateFile()) && QFile::exists(keyFile());
        return;
    }
    const QString dir = m_dir.path();
    const QString ec = QStringLiteral("ec");
    QFile ext(m_dir.filePath(QStringLiteral("san.ext")));
    if (!ext.open(QIODevice::WriteOnly))
        return;
    ext.write("subjectAltName=DNS:localhost,IP:127.0.0.1\nbasicConstraints=CA:FALSE\n");
    ext.close();
    m_valid =
        openssl(dir,
                {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"), ec,
                 QStringLiteral("-pkeyopt"), QStringLiteral("ec_paramgen_curve:prime256v1"),
                 QStringLiteral("-nodes"), QStringLiteral("-keyout"), QStringLiteral("ca.key"),
                 QStringLiteral("-out"), QStringLiteral("ca.pem"), QStringLiteral("-days"),
                 QStringLiteral("2"), QStringLiteral("-subj"), QStringLiteral("/CN=TallowPine Test CA")}) &&
        openssl(dir,
                {QStringLiteral("req"), QStringLiteral("-newkey"), ec, QStringLiteral("-pkeyopt"),
                 QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
                 QStringLiteral("-keyout"), QStringLiteral("server.key"), QStringLiteral("-out"),
                 QStringLiteral("server.csr"), QStringLiteral("-subj"), QStringLiteral("/CN=localhost")}) &&
        openssl(dir, {QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"),
                      QStringLiteral("server.csr"), QStringLiteral("-CA"), QStringLiteral("ca.pem"),
                      QStringLiteral("-CAkey"), QStringLiteral("ca.key"), QStringLiteral("-CAcreateserial"),
                      QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-extfile"),
                      QStringLiteral("san.ext"), QStringLiteral("-out"), QStringLiteral("server.pem")});
}

QString TestCertificates::filePath(const QString &name) const
{
    return m_shared.isEmpty() ? m_dir.filePath(name) : m_shared + QLatin1Char('/') + name;
}

void TestCertificates::trustInThisProcess() const
{
    HttpClient::setExtraAuthorities(caFile());
}
