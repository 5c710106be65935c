#include "Logging.h"

namespace tw::logging {

Q_LOGGING_CATEGORY(views, "tidewatch.views", QtInfoMsg)

} // namespace tw::logging
