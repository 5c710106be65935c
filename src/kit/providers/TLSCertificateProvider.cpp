#include "TLSCertificateProvider.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/base/Wakeup.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/JsonRead.h"
#include "kit/providers/CertificateCheck.h"
#include "kit/providers/CheckedPort.h"
#include "kit/transport/HostLookup.h"
#include "kit/transport/TransportError.h"

#include <QElapsedTimer>
#include <QSslSocket>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

enum Reason { Encrypted = 1, Failed, Stopped };

} // namespace

TLSCertificateProvider::TLSCertificateProvider(const AnySourceConfig &config)
    : m_config([&] {
        const auto *tls = config.as<TLSCertificateConfig>();
        if (!tls)
            throw ProviderError::misconfigured(u"expected tlsCertificate config"_s);
        return *tls;
    }())
{ }

QCoro::Task<SourceSnapshot> TLSCertificateProvider::fetch(StopToken stop)
{
    const TLSCertificateConfig config = m_config;
    const quint16 port = checkedPort(config.port, u"port"_s);
    const QString host = config.host.trimmed();
    if (host.isEmpty())
        throw ProviderError::misconfigured(u"no host to connect to"_s);
    const QString peerName = config.sniName && !config.sniName->trimmed().isEmpty() ? config.sniName->trimmed() : host;
    if (!QSslSocket::supportsSsl())
        throw ProviderError::upstream(QString::fromLatin1(tlsUnavailableText));
    if (stop && stop->isStopped())
        throw Cancelled();

    CheckResult row{JsonRead::uuidText(config.id), config.displayName, ServiceStatus::Down, {}, {}, {}};
    QSslSocket socket;
    // The decision is ours, made on the certificate below: the handshake must not stop at the
    // store's verdict on an internal CA or a certificate that is about to be reported as expired.
    socket.setPeerVerifyMode(QSslSocket::QueryPeer);
    QObject::connect(&socket, &QSslSocket::sslErrors, &socket, [&socket] { socket.ignoreSslErrors(); });
    QElapsedTimer clock;
    clock.start();
    QHostAddress address;
    try {
        address = co_await HostLookup::resolve(host, handshakeTimeout, stop);
    } catch (const ProviderError &error) {
        row.detail = error.description();
        co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {row}};
    }
    const auto remaining =
        std::max(handshakeTimeout - std::chrono::milliseconds(clock.elapsed()), std::chrono::milliseconds(1));
    int why = 0;
    {
        Wakeup wakeup(remaining);
        wakeup.on(&socket, &QSslSocket::encrypted, Encrypted).on(&socket, &QSslSocket::errorOccurred, Failed);
        if (stop)
            wakeup.on(stop.get(), &StopSource::stopped, Stopped);
        socket.connectToHostEncrypted(address.toString(), port, peerName);
        why = co_await wakeup;
    }
    switch (why) {
    case Encrypted: {
        row.latencyMs = double(clock.nsecsElapsed()) / 1e6;
        const CertificateVerdict verdict = CertificateCheck::judge(socket.peerCertificate(),
                                                                   peerName,
                                                                   QDateTime::currentDateTimeUtc(),
                                                                   config.warningDays);
        row.status = verdict.status;
        row.detail = verdict.detail;
        break;
    }
    case Stopped:
        socket.abort();
        throw Cancelled();
    case Failed:
        row.detail = socket.error() == QAbstractSocket::SslHandshakeFailedError
            ? QString::fromLatin1(handshakeFailedText)
            : TransportError::classify(socket.error(), socket.errorString()).description();
        break;
    default:
        row.detail = failureText(FailureKind::TimedOut);
        break;
    }
    socket.abort();
    co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {row}};
}

std::unique_ptr<SourceProvider> makeProvider(const TLSCertificateConfig &, const ProviderContext &context)
{
    return std::make_unique<TLSCertificateProvider>(context.source);
}

} // namespace tw
