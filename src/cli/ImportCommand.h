#pragma once

#include <QStringList>

// `tidewatch-cli import FILE`: adds the sources of an exported file, with the application's rules:
// every source gets a new id and every secret a new name, so nothing collides with the sources
// already there or reaches their secrets. Tells which imported sources need a secret entered.
namespace tw::ImportCommand {

QString synopsis();
int run(const QStringList &arguments);

} // namespace tw::ImportCommand
