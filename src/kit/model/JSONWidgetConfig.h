#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct JSONWidgetConfig : SourceConfig
{
    static constexpr SourceKindInfo info{u"jsonWidget", u"Custom JSON", u"curlybraces", u"API endpoint"};

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
    // What it watches, as the settings list shows it: a URL, or "host:port".
    QString target() const;
    // The name of its secret in the credential store, when it has one.
    std::optional<QString> secretRef() const;
    bool operator==(const JSONWidgetConfig &) const = default;
    QJsonObject toJson() const;
    static JSONWidgetConfig fromJson(const QJsonValue &value);
};

} // namespace tw
