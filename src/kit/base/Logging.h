#pragma once

#include <QLoggingCategory>

// Where the monitoring library speaks, so that a user can quiet or widen each part alone
// (QT_LOGGING_RULES="tidewatch.storage.warning=false"). Polls log nothing at the default level: a
// failing source is shown in its row, not in the journal.
namespace tw::logging {

Q_DECLARE_LOGGING_CATEGORY(storage) // sources, history and preferences on disk
Q_DECLARE_LOGGING_CATEGORY(alerts) // the desktop's notification server
Q_DECLARE_LOGGING_CATEGORY(secrets) // the credential store

} // namespace tw::logging
