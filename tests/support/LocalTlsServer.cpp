#include "LocalTlsServer.h"

#include <QSslConfiguration>
#include <QSslSocket>

#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace tw::test {

namespace {

template<typename T, void (*Free)(T *)>
struct Freer
{
    void operator()(T *p) const { Free(p); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
using CertPtr = std::unique_ptr<X509, Freer<X509, X509_free>>;
using BioPtr = std::unique_ptr<BIO, Freer<BIO, BIO_free_all>>;
using ExtPtr = std::unique_ptr<X509_EXTENSION, Freer<X509_EXTENSION, X509_EXTENSION_free>>;

QByteArray drain(BIO *bio)
{
    QByteArray bytes(qsizetype(BIO_ctrl_pending(bio)), '\0');
    BIO_read(bio, bytes.data(), int(bytes.size()));
    return bytes;
}

} // namespace

TestCertificate TestCertificate::make(const QStringList &names,
                                      const QDateTime &notBefore,
                                      const QDateTime &notAfter,
                                      const QString &commonName)
{
    const KeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    const CertPtr cert(X509_new());
    X509_set_version(cert.get(), 2);
    static long serial = 1;
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial++);
    ASN1_TIME_set(X509_getm_notBefore(cert.get()), time_t(notBefore.toSecsSinceEpoch()));
    ASN1_TIME_set(X509_getm_notAfter(cert.get()), time_t(notAfter.toSecsSinceEpoch()));
    X509_set_pubkey(cert.get(), key.get());

    QString cn = commonName;
    if (cn.isEmpty() && !names.isEmpty())
        cn = names.first().section(u':', 1);
    X509_NAME *subject = X509_get_subject_name(cert.get());
    const QByteArray cnBytes = cn.toUtf8();
    X509_NAME_add_entry_by_txt(subject,
                               "CN",
                               MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char *>(cnBytes.constData()),
                               -1,
                               -1,
                               0);
    X509_set_issuer_name(cert.get(), subject);
    if (!names.isEmpty()) {
        X509V3_CTX context;
        X509V3_set_ctx_nodb(&context);
        X509V3_set_ctx(&context, cert.get(), cert.get(), nullptr, nullptr, 0);
        const QByteArray list = names.join(u',').toUtf8();
        const ExtPtr extension(X509V3_EXT_conf_nid(nullptr, &context, NID_subject_alt_name, list.constData()));
        X509_add_ext(cert.get(), extension.get(), -1);
    }
    X509_sign(cert.get(), key.get(), EVP_sha256());

    const BioPtr certOut(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(certOut.get(), cert.get());
    const BioPtr keyOut(BIO_new(BIO_s_mem()));
    PEM_write_bio_PrivateKey(keyOut.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    return {QSslCertificate(drain(certOut.get()), QSsl::Pem), QSslKey(drain(keyOut.get()), QSsl::Ec, QSsl::Pem)};
}

LocalTlsServer::LocalTlsServer(const TestCertificate &certificate)
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(certificate.certificate);
    configuration.setPrivateKey(certificate.key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    m_server.setSslConfiguration(configuration);
    connect(&m_server, &QSslServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
    m_server.listen(QHostAddress::LocalHost, 0);
}

} // namespace tw::test
