#pragma once

#include <QStringList>

// `tidewatch-cli export FILE` and `import FILE`: the sources as a file that holds no secret, and
// back. An import replaces every source, gives each a new identity and new secret names, and says
// which sources need their secret entered again.
namespace tw::TransferCommand {

QString exportSynopsis();
QString importSynopsis();
int runExport(const QStringList &arguments);
int runImport(const QStringList &arguments);

} // namespace tw::TransferCommand
