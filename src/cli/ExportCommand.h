#pragma once

#include <QStringList>

// `tidewatch-cli export FILE`: writes the sources as an exported file, byte for byte what the
// application's export writes. Secrets are not part of it: sources only name them.
namespace tw::ExportCommand {

QString synopsis();
int run(const QStringList &arguments);

} // namespace tw::ExportCommand
