#pragma once

#include <QPoint>
#include <QRect>
#include <QStringList>

namespace tw::test {

// Input as a person gives it: xdotool's synthetic events go through the X server to whichever
// window is under the pointer or has the focus, exactly as a mouse and keyboard would. Positions
// are global screen coordinates. Each call returns false when xdotool failed or is missing.
namespace XInput {

bool run(const QStringList &arguments, QString *output = nullptr);
bool moveTo(const QPoint &point);
bool click(const QPoint &point, int button = 1);
bool press(const QPoint &point);
bool release();
// Notches of the wheel over `point`: positive scrolls down, negative up.
bool wheel(const QPoint &point, int notches);
bool type(const QString &text);
// Keys by their X names, "Return", "ctrl+a".
bool key(const QString &keys);
// Visible windows whose title matches `title` exactly, of process `pid` when one is given.
QStringList windowsNamed(const QString &title, qint64 pid = 0);
// The window's place on screen; empty when it is gone.
QRect geometry(const QString &window);

} // namespace XInput

} // namespace tw::test
