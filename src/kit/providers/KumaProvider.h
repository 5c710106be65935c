#pragma once

#include "kit/model/KumaConfig.h"
#include "kit/model/ServiceRow.h"
#include "kit/providers/ProviderTransports.h"
#include "kit/providers/SourceProvider.h"

namespace tw {

// All monitors of one Uptime Kuma server, one row each: through /metrics with Basic authentication
// when credentials are set (names and response times), or through a public status page's heartbeat
// list, named from the page's monitor list, which is also the way in when the server turns the
// credentials down.
class KumaProvider : public SourceProvider
{
public:
    KumaProvider(const AnySourceConfig &config,
                 std::shared_ptr<CredentialStore> credentials,
                 ProviderTransports transports);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

    // The rows of a status page's heartbeat reply, each named from `names` (monitor id to name) where
    // it has one and by its id otherwise. Throws DecodeError for a reply of another shape, and
    // ProviderError when the page lists no monitor at all, as a mistyped `slug` reads on Kuma 1.x.
    static QList<ServiceRow>
    heartbeatRows(const QByteArray &body, const QHash<QString, QString> &names, const QString &slug);
    // Monitor ids to names from the status page's own reply; empty for anything else.
    static QHash<QString, QString> monitorNames(const QByteArray &body);
    // The addresses a status page shows for its monitors (those with "show clickable link" on).
    static QHash<QString, QString> monitorLinks(const QByteArray &body);
    // This poll's rows, then the monitors an earlier poll saw and this one lacks, as paused: Kuma
    // drops a paused monitor from /metrics, and it must not vanish from view as if it never was.
    static QList<ServiceRow> withVanished(QList<ServiceRow> rows, const QList<ServiceRow> &seen);
    static constexpr auto vanishedText = "Paused in Kuma (or removed)";

    static constexpr auto rejectedText =
        "metrics auth rejected — Uptime Kuma expects an API key as the password (Settings → API Keys)";

private:
    KumaConfig m_config;
    std::shared_ptr<CredentialStore> m_credentials;
    std::shared_ptr<HTTPClient> m_http;
    // Every row of the last poll; shared so that a poll still running when the provider goes does
    // not write into a freed object.
    std::shared_ptr<QList<ServiceRow>> m_seen = std::make_shared<QList<ServiceRow>>();
};

} // namespace tw
