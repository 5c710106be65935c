#include "Theme.h"

#include "app/ViewEngine.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPalette>

namespace tw {

namespace {

QColor withAlpha(QColor colour, float alpha)
{
    colour.setAlphaF(alpha);
    return colour;
}

} // namespace

Theme *Theme::create(QQmlEngine *engine, QJSEngine *)
{
    auto *views = qobject_cast<ViewEngine *>(engine);
    return views ? ViewEngine::lent(views->theme()) : nullptr;
}

Theme::Theme(QObject *parent)
    : QObject(parent)
{
    qApp->installEventFilter(this);
}

bool Theme::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange)
        Q_EMIT changed();
    return QObject::eventFilter(watched, event);
}

QColor Theme::text() const
{
    return QGuiApplication::palette().color(QPalette::WindowText);
}

QColor Theme::secondary() const
{
    return withAlpha(text(), 0.6f);
}

QColor Theme::window() const
{
    return QGuiApplication::palette().color(QPalette::Window);
}

QColor Theme::hairline() const
{
    return withAlpha(text(), 0.15f);
}

QColor Theme::cardFill() const
{
    return withAlpha(text(), 0.04f);
}

bool Theme::dark() const
{
    return window().lightnessF() < 0.5;
}

} // namespace tw
