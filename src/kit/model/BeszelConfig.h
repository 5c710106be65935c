#pragma once

#include "kit/model/HostLimits.h"
#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct BeszelConfig : SourceConfig
{
    static constexpr SourceKindInfo info{u"beszel", u"Beszel", u"gauge.with.dots.needle.33percent", u"Server stats"};

    QString baseURL;
    QString tokenRef; // credential name; a hub always needs a token
    HostLimits limits; // past any of them, a host reads warn and is alerted on like a failure

    BeszelConfig() { pollInterval = PollInterval::beszelDefault; }
    BeszelConfig(const QUuid &id, const QString &displayName, const QString &baseURL, const QString &tokenRef);
    // What it watches, as the settings list shows it: a URL, or "host:port".
    QString target() const;
    // The name of its secret in the credential store, when it has one.
    std::optional<QString> secretRef() const;
    bool operator==(const BeszelConfig &) const = default;
    QJsonObject toJson() const;
    static BeszelConfig fromJson(const QJsonValue &value);
};

} // namespace tw
