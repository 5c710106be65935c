#pragma once

#include <QColor>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>

// The user's accent colour, kept as text so that a typo never loses the setting, and the colour of
// text laid over it, chosen for contrast.
namespace tw::Accent {

inline constexpr auto defaultHex = "#8BB8E8";
inline constexpr auto settingsKey = "accentHex";

// The swatches offered in the settings, in display order.
QStringList presets();

// Red, green and blue from 0 to 1; absent unless the text holds exactly six hexadecimal digits
// after an optional "#".
std::optional<std::array<double, 3>> parseHex(const QString &text);
// The stored text's colour, or the default accent when the text does not parse.
QColor accentColour(const QString &text);
// Near-black or white, whichever reads better on the accent; a tie goes to the dark one.
QColor onAccentColour(const QString &text);
double relativeLuminance(double red, double green, double blue);

} // namespace tw::Accent
