#pragma once

#include <QObject>
#include <QSize>
#include <QUrl>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>

class QQmlEngine;
class QQuickView;

namespace tw {

// A window of the application that is made on first show, on the shared QML engine, with its
// controllers and itself (`hostWindow`) as the view's required properties. Closing hides it; `hidden` tells the owner
// either way.
class QmlWindow : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("A view's window is the one that loaded it")
public:
    struct Options
    {
        QUrl source;
        QString title;
        QSize size;
        QVariantMap properties; // the root item's required properties: name → QObject*
    };

    QmlWindow(Options options, std::function<QQmlEngine *()> engine, QObject *parent = nullptr);
    ~QmlWindow() override;

    void show();
    Q_INVOKABLE void close();
    bool isVisible() const;
    QQuickView *view() const { return m_view.get(); }
    // Drops the window while it is hidden; the next show makes it again.
    void release();

Q_SIGNALS:
    void shown();
    void hidden();
    // The window became the active one again while it was showing, as when the user comes back to it.
    void activated();

private:
    void create();

    Options m_options;
    std::function<QQmlEngine *()> m_engine;
    std::unique_ptr<QQuickView> m_view;
};

} // namespace tw
