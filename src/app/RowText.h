#pragma once

#include "kit/model/DriveTemp.h"
#include "kit/model/GameServerStatus.h"

#include <QColor>
#include <QString>
#include <QStringList>

#include <optional>

// The few formatting rules of the popover's rows, kept apart from QML so they are tested directly.
namespace tw::RowText {

// "12ms", "Avg 12ms"; "—" alone when there is no reading. Truncated, never rounded.
QString latencyText(const std::optional<QString> &prefix, std::optional<double> ms);
// "3/20 players", "—/20 players", "3 players".
QString playersText(std::optional<qint64> current, std::optional<qint64> max);
// "A, B, C" or, from four names on, "A, B, C +2".
QString namesText(const QStringList &names);
// The end of namesText that counts the names left out (" +2"), or nothing when all are named.
QString namesOverflow(const QStringList &names);
// Who is playing, else the server's detail, else nothing.
std::optional<QString> gameSubtitle(const GameServerStatus &game);
// How much of a ring a percentage fills, from 0 to 1.
double ringFraction(std::optional<double> pct);
// Gray without a value, red above 90, yellow above 70, the accent otherwise.
QColor ringColour(std::optional<double> pct, const QColor &accent);
// The text inside a ring: "42%" or "—".
QString ringText(std::optional<double> pct);
// The hottest drive's temperature, truncated: "52°C"; empty when no drive has a reading.
QString hottestTempText(const QList<DriveTemp> &drives);

} // namespace tw::RowText
