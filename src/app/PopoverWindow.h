#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QRect>

#include <functional>
#include <memory>

class QQmlEngine;
class QQuickView;

namespace tw {

class PopoverController;

// The frameless window the tray icon opens. Made on first use, hung from the icon, and hidden again
// as soon as it loses focus, as panel popovers on Linux desktops behave.
class PopoverWindow : public QObject
{
    Q_OBJECT
public:
    // `engine` is asked for the shared QML engine at first show, so nothing of QML loads before.
    PopoverWindow(PopoverController *controller, std::function<QQmlEngine *()> engine, QObject *parent = nullptr);
    ~PopoverWindow() override;

    // Shows the popover below (or above) `anchor`; with an empty anchor, near the cursor.
    void toggle(const QRect &anchor);
    void show(const QRect &anchor);
    void hide();
    bool isVisible() const;
    QQuickView *view() const { return m_view.get(); }
    // Drops the hidden window and what it drew, so that an idle tray program holds no scene; the
    // next show makes them again.
    void release();

    // Where a window of `size` goes for an icon at `anchor` on a screen whose free area is `screen`.
    static QPoint placement(const QRect &anchor, const QSize &size, const QRect &screen);

Q_SIGNALS:
    void hidden();

private:
    void create();

    PopoverController *m_controller;
    std::function<QQmlEngine *()> m_engine;
    std::unique_ptr<QQuickView> m_view;
    // A click on the tray icon first takes the focus away, which hides the popover; the click
    // itself must then not open it again.
    QElapsedTimer m_hiddenByFocusLoss;
};

} // namespace tw
