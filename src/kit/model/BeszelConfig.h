#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct BeszelConfig : SourceConfig
{
    QString baseURL;
    QString tokenRef; // credential name; a hub always needs a token

    BeszelConfig() { pollInterval = PollInterval::beszelDefault; }
    BeszelConfig(const QUuid &id, const QString &displayName, const QString &baseURL, const QString &tokenRef);
    bool operator==(const BeszelConfig &) const = default;
    QJsonObject toJson() const;
    static BeszelConfig fromJson(const QJsonValue &value);
};

} // namespace tw
