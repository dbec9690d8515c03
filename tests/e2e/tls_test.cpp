// The whole product over https: the emulator serves a certificate made for
// this run with openssl, the host trusts the system's authorities and the
// one given with --ca-file. A certificate that is not trusted, has expired
// or names another host ends the exchange with a Network error the page
// explains; it is never accepted anyway. A token never goes over plain
// http to another machine.
#include "e2e_fixture.h"

#include <QProcess>
#include <QTemporaryDir>

namespace QuorvelE2E {
namespace {

// A certificate authority and the server certificates the rows need, made
// once per run.
class Certificates
{
public:
    Certificates()
    {
        m_ok = m_dir.isValid()
               && run({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key", "-out", "ca.pem",
                       "-days", "2", "-subj", "/CN=quorvel test CA"})
               && issue("trusted", "IP:127.0.0.1", "2") && issue("expired", "IP:127.0.0.1", "-1")
               && issue("other-host", "DNS:other.example", "2");
    }
    bool ok() const { return m_ok; }
    QString path(const QString& name) const { return m_dir.filePath(name); }

private:
    bool run(const QStringList& arguments)
    {
        QProcess openssl;
        openssl.setWorkingDirectory(m_dir.path());
        openssl.setProcessChannelMode(QProcess::MergedChannels);
        openssl.start(QStringLiteral("openssl"), arguments);
        return openssl.waitForFinished(30000) && openssl.exitStatus() == QProcess::NormalExit
               && openssl.exitCode() == 0;
    }

    // NAME.pem and NAME.key for `subject` (a subjectAltName), valid for
    // `days` (-1: expired yesterday), signed by the CA.
    bool issue(const QString& name, const QString& subject, const QString& days)
    {
        return run({"req", "-newkey", "rsa:2048", "-nodes", "-keyout", name + ".key", "-out", name + ".csr",
                    "-subj", "/CN=quorvel test", "-addext", "subjectAltName=" + subject})
               && run({"x509", "-req", "-in", name + ".csr", "-out", name + ".pem", "-days", days,
                       "-copy_extensions", "copyall", "-CA", "ca.pem", "-CAkey", "ca.key",
                       "-CAcreateserial"});
    }

    QTemporaryDir m_dir;
    bool m_ok = false;
};

const Certificates& certificates()
{
    static const Certificates made;
    return made;
}

struct TlsRow
{
    const char* name;
    // The emulator's certificate and key, by name.
    QString certificate;
    bool trustCa;
    // Empty: the page resolves.
    QString status = {};
    QString message = {};
    // The log's reason, for a refused certificate.
    QString reason = {};
};

const QString kCertificateRefused = QStringLiteral("The secure connection failed: the service's certificate "
                                                   "is not trusted, has expired or names another host.");

const TlsRow kRows[] = {
    {"TrustedCertificate", "trusted", true},
    {"CertificateOfAnUnknownAuthority", "trusted", false, failed("Network", 6), kCertificateRefused,
     "The issuer certificate of a locally looked up certificate could not be found"},
    {"ExpiredCertificate", "expired", true, failed("Network", 6), kCertificateRefused,
     "The certificate has expired"},
    {"CertificateForAnotherHost", "other-host", true, failed("Network", 6), kCertificateRefused,
     "The host name did not match any of the valid hosts for this certificate"},
};

class TlsEndToEnd : public HostEndToEnd, public ::testing::WithParamInterface<TlsRow>
{
protected:
    TlsEndToEnd()
    {
        const QString name = GetParam().certificate;
        emulatorArguments = {"--tls-certificate", certificates().path(name + ".pem"), "--tls-key",
                             certificates().path(name + ".key")};
    }
};

TEST_P(TlsEndToEnd, OnlyATrustedCertificateForTheHostIsAccepted)
{
    const TlsRow& row = GetParam();
    ASSERT_TRUE(certificates().ok());
    HostOptions options;
    if (row.trustCa)
        options.arguments = {"--ca-file", certificates().path("ca.pem")};
    // A refused certificate refuses the sign-in too: tokens come from a
    // plain emulator on this machine, and the page meets the certificate.
    QuorvelEmulator::EmulatorProcess tokens{QStringLiteral(QUORVEL_EMULATOR_BIN)};
    tokens.process().setStandardErrorFile(QProcess::nullDevice());
    if (!row.status.isEmpty()) {
        ASSERT_TRUE(tokens.start({"--client-id", clientId, "--client-secret", clientSecret}));
        options.tokenUrl = tokens.baseUrl() + "/oauth/token";
    }
    const HostRun run = runHost(options);
    if (row.status.isEmpty()) {
        expectDemoChatResolved(run);
        return;
    }
    expectFailure(run, row.status, row.message);
    EXPECT_TRUE(run.errors.contains(QStringLiteral("certificate refused: ") + row.reason))
        << run.errors.toStdString();
}

INSTANTIATE_TEST_SUITE_P(Certificates, TlsEndToEnd, ::testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

// RFC 6750, section 5.3: a bearer token over plain http is anybody's on the
// way. Only this machine is spared the rule.
TEST_F(HostEndToEnd, NoTokenGoesOverPlainHttpToAnotherMachine)
{
    HostOptions options;
    options.baseUrl = QStringLiteral("http://192.0.2.1:9");
    const HostRun run = runHost(options);
    expectFailure(
        run, failed("Network", 302),
        QStringLiteral("The service's address is plain http to another machine; the token is only sent "
                       "over https."));
    EXPECT_TRUE(run.errors.contains("plain http to this machine only")) << run.errors.toStdString();
}

} // namespace
} // namespace QuorvelE2E
