#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct KumaConfig : SourceConfig
{
    QString baseURL;
    std::optional<QString> username;
    std::optional<QString> passwordRef; // credential name
    std::optional<QString> statusPageSlug;

    KumaConfig() = default;
    KumaConfig(const QUuid &id, const QString &displayName, const QString &baseURL);
    bool operator==(const KumaConfig &) const = default;
    QJsonObject toJson() const;
    static KumaConfig fromJson(const QJsonValue &value);
};

} // namespace tw
