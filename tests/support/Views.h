#pragma once

// For the tests of the views, which link the application's library.

#include "app/PopoverController.h"
#include "app/PopoverModel.h"
#include "app/PopoverWindow.h"
#include "app/Preferences.h"
#include "app/Theme.h"
#include "app/TidewatchApp.h"
#include "support/Hub.h"

#include <QDir>
#include <QImage>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QTest>

namespace tw::test {

// The first item named `name` under `root`, shown or not.
inline QQuickItem *findItem(QQuickItem *root, const QString &name)
{
    if (!root)
        return nullptr;
    if (root->objectName() == name)
        return root;
    for (QQuickItem *child : root->childItems()) {
        if (QQuickItem *hit = findItem(child, name))
            return hit;
    }
    return nullptr;
}

// The items named `name` under `root` that are visible themselves, in the order of the tree.
inline QList<QQuickItem *> findVisible(QQuickItem *root, const QString &name)
{
    QList<QQuickItem *> hits;
    if (!root)
        return hits;
    if (root->objectName() == name && root->isVisible())
        hits.append(root);
    for (QQuickItem *child : root->childItems())
        hits += findVisible(child, name);
    return hits;
}

inline QQuickItem *findShown(QQuickItem *root, const QString &name)
{
    return findVisible(root, name).value(0);
}

// An item's text, or a text no view shows when there is no such item, so that a comparison says so.
inline QString textOf(QQuickItem *root, const QString &name)
{
    QQuickItem *item = findItem(root, name);
    return item ? item->property("text").toString() : QStringLiteral("<missing %1>").arg(name);
}

inline bool isShown(QQuickItem *root, const QString &name)
{
    QQuickItem *item = findItem(root, name);
    return item && item->isVisible();
}

inline QPoint sceneCentre(const QQuickItem *item)
{
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

inline void clickItem(QQuickItem *item, Qt::MouseButton button = Qt::LeftButton)
{
    QVERIFY(item);
    QTest::mouseClick(item->window(), button, {}, sceneCentre(item));
}

// Pictures for the README and a look by eye go to $TW_SCREENSHOT_DIR.
inline void saveScreenshot(const QImage &image, const QString &name)
{
    const QString out = qEnvironmentVariable("TW_SCREENSHOT_DIR", QDir::tempPath());
    QDir().mkpath(out);
    QVERIFY(!image.isNull());
    QVERIFY(image.save(QDir(out).filePath(name)));
}

// A hub with what every window of the application draws with: the preferences, the theme and the
// QML engine. Members declared by a derived rig, the windows among them, go before these.
struct AppHub : Hub
{
    std::unique_ptr<Preferences> preferences = std::make_unique<Preferences>(settings);
    std::unique_ptr<Theme> theme = std::make_unique<Theme>();
    std::unique_ptr<QQmlEngine> engine = TidewatchApp::makeQmlEngine(preferences.get(), theme.get());
    std::function<QQmlEngine *()> engineGetter()
    {
        return [this] {
            return engine.get();
        };
    }

    using Hub::Hub;
};

// The popover over such a hub, shown as the tray shows it.
struct PopoverRig : AppHub
{
    std::unique_ptr<PopoverModel> model = std::make_unique<PopoverModel>(state.get(), preferences.get());
    std::unique_ptr<PopoverController> controller = std::make_unique<PopoverController>(state.get(), model.get());
    std::unique_ptr<PopoverWindow> window = std::make_unique<PopoverWindow>(controller.get(), engineGetter());

    using AppHub::AppHub;
    ~PopoverRig() override { window.reset(); }

    QQuickItem *show()
    {
        window->show(QRect(100, 0, 22, 22));
        if (!QTest::qWaitForWindowExposed(window->view()))
            return nullptr;
        return window->view()->rootObject();
    }
};

} // namespace tw::test
