#include "Logging.h"

namespace tw::logging {

Q_LOGGING_CATEGORY(storage, "tidewatch.storage", QtInfoMsg)
Q_LOGGING_CATEGORY(alerts, "tidewatch.alerts", QtInfoMsg)
Q_LOGGING_CATEGORY(secrets, "tidewatch.secrets", QtInfoMsg)

} // namespace tw::logging
