#include "DriveTemp.h"

#include "kit/model/JsonRead.h"

#include <cmath>

namespace tw {

QJsonObject DriveTemp::toJson() const
{
    return {{QStringLiteral("label"), label}, {QStringLiteral("tempC"), tempC}};
}

std::optional<double> DriveTemp::reading() const
{
    if (tempC == 0 || !std::isfinite(tempC))
        return std::nullopt;
    return tempC;
}

std::optional<DriveTemp> DriveTemp::hottest(const QList<DriveTemp> &drives)
{
    std::optional<DriveTemp> hottest;
    for (const DriveTemp &drive : drives) {
        if (drive.reading() && (!hottest || drive.tempC > hottest->tempC))
            hottest = drive;
    }
    return hottest;
}

DriveTemp DriveTemp::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"DriveTemp");
    return {JsonRead::string(o, u"label"), JsonRead::number(o, u"tempC")};
}

} // namespace tw
