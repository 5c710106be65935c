#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct KumaConfig : SourceConfig
{
    static constexpr SourceKindInfo info{u"kuma", u"Uptime Kuma", u"waveform.path.ecg", u"Service state"};

    QString baseURL;
    std::optional<QString> username;
    std::optional<QString> passwordRef; // credential name
    std::optional<QString> statusPageSlug;

    KumaConfig() = default;
    KumaConfig(const QUuid &id, const QString &displayName, const QString &baseURL);
    // What it watches, as the settings list shows it: a URL, or "host:port".
    QString target() const;
    // The name of its secret in the credential store, when it has one.
    std::optional<QString> secretRef() const;
    bool operator==(const KumaConfig &) const = default;
    QJsonObject toJson() const;
    static KumaConfig fromJson(const QJsonValue &value);
};

} // namespace tw
