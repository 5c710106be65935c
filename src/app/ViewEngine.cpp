#include "ViewEngine.h"

namespace tw {

ViewEngine::ViewEngine(Preferences *preferences, Theme *theme, QObject *parent)
    : QQmlEngine(parent)
    , m_preferences(preferences)
    , m_theme(theme)
{ }

} // namespace tw
