#pragma once

#include <QObject>

class QQuickWindow;

namespace tw {

// Return and Enter press the button that has the keyboard focus, as Space does, in a window of Qt
// Quick Controls, whose buttons answer Space alone. A window's own Return handler (a default action)
// then runs only when no button has the focus.
class ReturnActivatesButtons : public QObject
{
    Q_OBJECT
public:
    // Watches `window` for as long as it lives.
    static void install(QQuickWindow *window);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    using QObject::QObject;
};

} // namespace tw
