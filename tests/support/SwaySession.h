#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace tw::test {

// The compositor of scripts/with-wayland-session, asked and driven from outside as a person would:
// swaymsg for what sway shows and focuses, wtype for keys (they go to the focused window), grim for
// the screen. Each call returns false, or an empty result, when the tool failed or is missing.
namespace SwaySession {

// True inside the session: a Wayland display and sway's IPC socket.
bool present();
bool run(const QString &program, const QStringList &arguments, QString *output = nullptr);
// The window of process `pid` titled `title`, as sway's tree describes it ("rect", "focused",
// "visible", "type": "floating_con" when it floats); empty when sway shows no such window.
QJsonObject window(qint64 pid, const QString &title);
// A key by its XKB name ("Escape"), to the focused window.
bool key(const QString &name);
bool command(const QString &command);
// The whole screen as a PNG at `path`.
bool screenshot(const QString &path);

} // namespace SwaySession

} // namespace tw::test
