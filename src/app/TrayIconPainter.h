#pragma once

#include "kit/model/OverallStatus.h"
#include "kit/model/ServiceStatus.h"

#include <QColor>
#include <QImage>

// The tray icon is drawn at run time: a server-rack glyph with a status dot, so one picture tells the
// state of the whole estate at a glance, on light and dark panels alike.
namespace tw::TrayIconPainter {

// Green, yellow, red, or gray for paused and unknown.
QColor statusColour(OverallStatus status);
// A row's colour: the estate's colours for up, warn and down, blue for maintenance, gray otherwise.
QColor statusColour(ServiceStatus status);

// The symbolic icon of the theme for the status: "dev.ostrel.Tidewatch-up-symbolic" and so on.
QString themeIconName(OverallStatus status);

// What rims a glyph of this colour so that the rack reads on a panel of either lightness.
QColor haloFor(const QColor &glyph);

// A square icon of `size` pixels; `glyph` is the colour of the rack (the palette's text colour),
// rimmed with `haloFor(glyph)`.
// With `shapes`, the dot carries a tick, an exclamation mark, a cross, two bars or a question mark,
// so that the state does not rest on colour alone.
QImage paint(OverallStatus status, int size, const QColor &glyph, bool shapes = false);

} // namespace tw::TrayIconPainter
