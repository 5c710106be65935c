#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct JSONWidgetConfig : SourceConfig
{
    // One row of the widget: a label and the path that picks its value out of the reply.
    struct FieldMapping
    {
        QString label;
        QString path;
        bool operator==(const FieldMapping &) const = default;
    };

    QString url;
    std::optional<QString> bearerTokenRef; // credential name
    QList<FieldMapping> fields;

    JSONWidgetConfig() = default;
    JSONWidgetConfig(const QUuid &id,
                     const QString &displayName,
                     const QString &url,
                     const QList<FieldMapping> &fields);
    bool operator==(const JSONWidgetConfig &) const = default;
    QJsonObject toJson() const;
    static JSONWidgetConfig fromJson(const QJsonValue &value);
};

} // namespace tw
