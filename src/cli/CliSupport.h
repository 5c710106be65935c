#pragma once

#include "kit/model/AnySourceConfig.h"

#include <QStringList>
#include <QTextStream>

#include <memory>
#include <optional>

namespace tw {

class CredentialStore;

// What the commands share: reading the user's files without ever changing them, and choosing the
// credential store. Failures are reported on `err` with a message a user can act on.
namespace CliSupport {

// The sources of `path` (or of the application's own file), or nothing after a message. The file
// is only read: a corrupt file is left where it is, for the application to deal with.
std::optional<QList<AnySourceConfig>> readSources(const QString &path, QTextStream &err);

// Secrets from a JSON object of name to secret, refused when others may read the file; without a
// file, the desktop's credential store.
std::shared_ptr<CredentialStore> credentials(const QString &path, QTextStream &err, bool *ok);

// The application's sources file.
QString defaultSourcesPath();

} // namespace CliSupport

} // namespace tw
