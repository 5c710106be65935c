#pragma once

#include "kit/providers/SourceProvider.h"

#include <QObject>
#include <QPointer>
#include <QUuid>
#include <QWindow>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>
#include <optional>

class QQmlEngine;
class QQuickView;

namespace tw {

class AppState;
class SourceSheetController;

// The sheet that adds or edits one source: a window made on first use over the shared QML engine.
// The settings window and onboarding open it through add() and edit(), over themselves: the sheet
// stacks on that window, centred there, and holds its input while it is up. One sheet exists; a
// request for another while it holds typed input brings it to the front and asks before that input
// is dropped.
class SourceEditor : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The sheet's window comes from the application")
    // The question on screen when another source was asked for; empty when none is.
    Q_PROPERTY(QString question READ question NOTIFY questionChanged)

public:
    SourceEditor(AppState *state,
                 ProviderMaker makeProvider,
                 std::function<QQmlEngine *()> engine,
                 QObject *parent = nullptr);
    ~SourceEditor() override;

    // Opens the chooser of kinds, over `parent` when one is given.
    Q_INVOKABLE void add(QWindow *parent = nullptr);
    // Opens the form on the source; an id that names no source opens nothing.
    Q_INVOKABLE void edit(const QUuid &id, QWindow *parent = nullptr);
    Q_INVOKABLE void close();
    // The answers to the question: keep what was typed, or drop it for the source asked for.
    Q_INVOKABLE void keepEditing();
    Q_INVOKABLE void discardChanges();
    bool isVisible() const;
    // Drops the window while it is hidden; the next add or edit makes it again.
    void release();
    QString question() const { return m_question; }

    SourceSheetController *controller() const { return m_controller; }
    QQuickView *view() const { return m_view.get(); }

Q_SIGNALS:
    // The sheet closed, saved or not.
    void closed();
    void questionChanged();

private:
    struct Request
    {
        std::optional<QUuid> edit; // nothing: add
        QPointer<QWindow> parent;
    };

    void open(Request request);
    void start(const Request &request);
    void show(QWindow *parent);
    void present();
    void create();
    void setQuestion(const QString &text);

    AppState *m_state;
    SourceSheetController *m_controller;
    std::function<QQmlEngine *()> m_engine;
    std::unique_ptr<QQuickView> m_view;
    std::optional<Request> m_pending;
    QString m_question;
};

} // namespace tw
