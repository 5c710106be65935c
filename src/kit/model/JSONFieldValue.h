#pragma once

#include <QJsonObject>

namespace tw {

// One label and value pair of a key-value widget; the label is its identity.
struct JSONFieldValue
{
    QString label;
    QString value;

    QString id() const { return label; }
    bool operator==(const JSONFieldValue &) const = default;
    QJsonObject toJson() const;
    static JSONFieldValue fromJson(const QJsonValue &value);
};

} // namespace tw
