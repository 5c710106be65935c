#pragma once

#include <QQmlEngine>

namespace tw {

class Preferences;
class Theme;

// The engine the views run on. The preferences and the theme are the views' singletons; each engine
// hands out the ones it was made with rather than one pair for the whole process, so that tests can
// open views over preferences of their own.
class ViewEngine : public QQmlEngine
{
    Q_OBJECT
public:
    ViewEngine(Preferences *preferences, Theme *theme, QObject *parent = nullptr);

    Preferences *preferences() const { return m_preferences; }
    Theme *theme() const { return m_theme; }

    // What a singleton's factory hands to the engine: the object stays the application's, for the
    // engine is dropped and made again while the application runs.
    template<typename T>
    static T *lent(T *object)
    {
        QJSEngine::setObjectOwnership(object, QJSEngine::CppOwnership);
        return object;
    }

private:
    Preferences *m_preferences;
    Theme *m_theme;
};

} // namespace tw
