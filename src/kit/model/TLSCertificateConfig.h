#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

// The certificate a TLS server presents: its dates and whether it names the host.
struct TLSCertificateConfig : SourceConfig
{
    static constexpr SourceKindInfo info{u"tlsCertificate", u"TLS Certificate", u"lock.shield", u"Certificate expiry"};

    static constexpr qint64 defaultPort = 443;
    static constexpr qint64 defaultWarningDays = 14;
    static constexpr qint64 maxWarningDays = 365;

    QString host;
    qint64 port = defaultPort;
    std::optional<QString> sniName; // the name sent and checked, when it is not the host
    qint64 warningDays = defaultWarningDays;

    TLSCertificateConfig() = default;
    TLSCertificateConfig(const QUuid &id, const QString &displayName, const QString &host, qint64 port = defaultPort);
    // What it watches, as the settings list shows it: a URL, or "host:port".
    QString target() const;
    bool operator==(const TLSCertificateConfig &) const = default;
    QJsonObject toJson() const;
    static TLSCertificateConfig fromJson(const QJsonValue &value);
};

} // namespace tw
