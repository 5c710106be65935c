#pragma once

#include <QStringList>

// `tidewatch-cli games [QUERY]`: the game catalogue in the picker's sections, for writing a game
// source by hand or with `add`.
namespace tw::GamesCommand {

QString synopsis();
int run(const QStringList &arguments);

} // namespace tw::GamesCommand
