#pragma once

#include <QJsonObject>
#include <QList>

#include <optional>

namespace tw {

struct DriveTemp
{
    QString label;
    double tempC = 0;

    bool operator==(const DriveTemp &) const = default;
    // The temperature, or nothing: a Beszel agent that could not read a drive reports 0.
    std::optional<double> reading() const;
    // The hottest of the drives that have a reading, or nothing.
    static std::optional<DriveTemp> hottest(const QList<DriveTemp> &drives);
    QJsonObject toJson() const;
    static DriveTemp fromJson(const QJsonValue &value);
};

} // namespace tw
