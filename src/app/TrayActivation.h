#pragma once

#include <QPoint>

#include <optional>

class QDBusMessage;

namespace tw {

// Where a StatusNotifierItem host says its icon was clicked. Qt reads the position of the host's
// Activate(x, y) call and drops it; this catches the call on its way to Qt's handler, so the popover
// can open at the icon rather than in the middle of the screen.
class TrayActivation
{
public:
    // Starts listening to the process's D-Bus calls; once is enough, more is harmless.
    static void install();
    // The position of an Activate call in the last `withinMs` milliseconds; none when there was
    // none, or the host sent (0, 0), as hosts do that do not know where the icon is.
    static std::optional<QPoint> recent(qint64 withinMs = 1000);
    // Reads one incoming call; anything but an item's Activate is ignored.
    static void observe(const QDBusMessage &message);
};

} // namespace tw
