#include "RowText.h"

#include "app/TrayIconPainter.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace tw::RowText {

namespace {

const QString dash = u"—"_s;

QString truncated(double value)
{
    return QString::number(static_cast<qint64>(std::trunc(value)));
}

} // namespace

QString latencyText(const std::optional<QString> &prefix, std::optional<double> ms)
{
    if (!ms || !std::isfinite(*ms))
        return dash;
    const QString value = truncated(*ms) + u"ms"_s;
    return prefix ? *prefix + u' ' + value : value;
}

QString playersText(std::optional<qint64> current, std::optional<qint64> max)
{
    QString text = current ? QString::number(*current) : dash;
    if (max)
        text += u'/' + QString::number(*max);
    return text + u" players"_s;
}

QString namesText(const QStringList &names)
{
    if (names.size() < 4)
        return names.join(u", "_s);
    return names.first(3).join(u", "_s) + namesOverflow(names);
}

QString namesOverflow(const QStringList &names)
{
    return names.size() < 4 ? QString() : u" +"_s + QString::number(names.size() - 3);
}

std::optional<QString> gameSubtitle(const GameServerStatus &game)
{
    if (game.online && !game.playerNames.isEmpty())
        return namesText(game.playerNames);
    if (!game.detail.isEmpty())
        return game.detail;
    return std::nullopt;
}

double ringFraction(std::optional<double> pct)
{
    if (!pct || std::isnan(*pct))
        return 0;
    return std::clamp(*pct / 100.0, 0.0, 1.0);
}

QColor ringColour(std::optional<double> pct, const QColor &accent)
{
    if (!pct || std::isnan(*pct))
        return TrayIconPainter::statusColour(OverallStatus::Unknown);
    if (*pct > 90)
        return TrayIconPainter::statusColour(OverallStatus::Down);
    if (*pct > 70)
        return TrayIconPainter::statusColour(OverallStatus::Degraded);
    return accent;
}

QString ringText(std::optional<double> pct)
{
    if (!pct || !std::isfinite(*pct))
        return dash;
    return truncated(*pct) + u'%';
}

QString hottestTempText(const QList<DriveTemp> &drives)
{
    const std::optional<DriveTemp> hottest = DriveTemp::hottest(drives);
    return hottest ? truncated(hottest->tempC) + u"°C"_s : QString();
}

} // namespace tw::RowText
