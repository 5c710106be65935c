#pragma once

#include <QLoggingCategory>

namespace tw::logging {

// The windows: a QML file that fails to load, a symbol with no icon.
Q_DECLARE_LOGGING_CATEGORY(views)

} // namespace tw::logging
