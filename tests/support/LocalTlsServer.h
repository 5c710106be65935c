#pragma once

#include <QDateTime>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslServer>
#include <QStringList>

namespace tw::test {

// A self-signed certificate made on the spot with OpenSSL, so a test can pick its dates and names.
struct TestCertificate
{
    QSslCertificate certificate;
    QSslKey key;

    // `names` become subject alternative names ("DNS:a.test", "IP:127.0.0.1"); the first also the
    // common name. An empty list gives a certificate with only a common name, `commonName`.
    static TestCertificate make(const QStringList &names,
                                const QDateTime &notBefore,
                                const QDateTime &notAfter,
                                const QString &commonName = {});
};

// A TLS server on 127.0.0.1 that completes the handshake with its one certificate and then holds
// the connection until the client leaves.
class LocalTlsServer : public QObject
{
    Q_OBJECT
public:
    explicit LocalTlsServer(const TestCertificate &certificate);
    quint16 port() const { return m_server.serverPort(); }

private:
    QSslServer m_server;
};

} // namespace tw::test
