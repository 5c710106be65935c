#pragma once

#include <QJsonObject>

namespace tw {

struct DriveTemp
{
    QString label;
    double tempC = 0;

    bool operator==(const DriveTemp &) const = default;
    QJsonObject toJson() const;
    static DriveTemp fromJson(const QJsonValue &value);
};

} // namespace tw
