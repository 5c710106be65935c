#include "HostLimits.h"

#include "kit/model/JsonRead.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

constexpr auto cpuKey = u"cpuLimit";
constexpr auto memKey = u"memLimit";
constexpr auto diskKey = u"diskLimit";
constexpr auto tempKey = u"tempLimit";

// Whole numbers, except where rounding would show a reading that is past its limit as equal to it
// ("disk 90 %" over a limit of 90 would read as a mistake).
QString reading(double value, qint64 limit)
{
    const double whole = std::round(value);
    return whole > static_cast<double>(limit) ? QString::number(whole, 'f', 0) : QString::number(value, 'f', 1);
}

void insert(QJsonObject &o, QStringView key, const std::optional<qint64> &limit)
{
    if (limit)
        o.insert(key, *limit);
}

} // namespace

void HostLimits::write(QJsonObject &o) const
{
    insert(o, cpuKey, cpuPct);
    insert(o, memKey, memPct);
    insert(o, diskKey, diskPct);
    insert(o, tempKey, tempC);
}

HostLimits HostLimits::read(const QJsonObject &o)
{
    return {JsonRead::optionalInteger(o, cpuKey),
            JsonRead::optionalInteger(o, memKey),
            JsonRead::optionalInteger(o, diskKey),
            JsonRead::optionalInteger(o, tempKey)};
}

QStringList HostLimits::breaches(const HostStats &host) const
{
    QStringList found;
    const auto check = [&](const QString &label,
                           const std::optional<double> &value,
                           const std::optional<qint64> &limit,
                           const QString &unit) {
        if (value && limit && std::isfinite(*value) && *value > static_cast<double>(*limit))
            found.append(label + u' ' + reading(*value, *limit) + unit);
    };
    check(u"CPU"_s, host.cpuPct, cpuPct, u" %"_s);
    check(u"memory"_s, host.memPct, memPct, u" %"_s);
    check(u"disk"_s, host.diskPct, diskPct, u" %"_s);
    for (const DriveTemp &drive : host.temps)
        check(drive.label, drive.reading(), tempC, u" °C"_s);
    return found;
}

} // namespace tw
