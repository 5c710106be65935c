#pragma once

#include "kit/monitor/SourceProvider.h"

#include <QObject>
#include <QUuid>

#include <functional>
#include <memory>

class QQmlEngine;
class QQuickView;

namespace tw {

class AppState;
class SourceSheetController;

// The sheet that adds or edits one source: a window made on first use over the shared QML engine.
// The settings window and onboarding open it through add() and edit().
class SourceEditor : public QObject
{
    Q_OBJECT
public:
    SourceEditor(AppState *state,
                 ProviderMaker makeProvider,
                 std::function<QQmlEngine *()> engine,
                 QObject *parent = nullptr);
    ~SourceEditor() override;

    // Opens the chooser of kinds.
    Q_INVOKABLE void add();
    // Opens the form on the source; an id that names no source opens nothing.
    Q_INVOKABLE void edit(const QUuid &id);
    Q_INVOKABLE void close();
    bool isVisible() const;

    SourceSheetController *controller() const { return m_controller; }
    QQuickView *view() const { return m_view.get(); }

Q_SIGNALS:
    // The sheet closed, saved or not.
    void closed();

private:
    void show();
    void create();

    SourceSheetController *m_controller;
    std::function<QQmlEngine *()> m_engine;
    std::unique_ptr<QQuickView> m_view;
};

} // namespace tw
