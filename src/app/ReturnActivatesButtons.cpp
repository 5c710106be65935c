#include "ReturnActivatesButtons.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QQuickItem>
#include <QQuickWindow>

namespace tw {

void ReturnActivatesButtons::install(QQuickWindow *window)
{
    window->installEventFilter(new ReturnActivatesButtons(window));
}

bool ReturnActivatesButtons::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease)
        return false;
    auto *key = static_cast<QKeyEvent *>(event);
    if ((key->key() != Qt::Key_Return && key->key() != Qt::Key_Enter)
        || (key->modifiers() & ~Qt::KeyboardModifiers(Qt::KeypadModifier)))
        return false;
    auto *window = qobject_cast<QQuickWindow *>(watched);
    QQuickItem *focused = window ? window->activeFocusItem() : nullptr;
    // Every button of Qt Quick Controls (Button, ToolButton, ItemDelegate, Switch, …) derives from it.
    if (!focused || !focused->inherits("QQuickAbstractButton") || !focused->isEnabled())
        return false;
    // A held Return presses once, as a held Space does.
    if (key->isAutoRepeat())
        return true;
    QKeyEvent space(event->type(), Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "));
    QCoreApplication::sendEvent(focused, &space);
    return true;
}

} // namespace tw
