#pragma once

#include "app/PopoverModel.h"

#include <QColor>
#include <QDateTime>
#include <QObject>
#include <QUrl>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <functional>

namespace tw {

class AppState;

// What the popover's header and footer show and do, as properties QML binds to. Holds no state of
// its own: every property is read from AppState when it changes.
class PopoverController : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The popover's controller comes from the application")
    Q_PROPERTY(QString headline READ headline NOTIFY changed)
    Q_PROPERTY(QString chipText READ chipText NOTIFY changed)
    Q_PROPERTY(QColor statusColour READ statusColour NOTIFY changed)
    Q_PROPERTY(QString status READ status NOTIFY changed)
    Q_PROPERTY(QString summary READ summary NOTIFY changed)
    Q_PROPERTY(bool paused READ paused NOTIFY changed)
    Q_PROPERTY(bool hasSources READ hasSources NOTIFY changed)
    Q_PROPERTY(QDateTime lastFetched READ lastFetched NOTIFY changed)
    Q_PROPERTY(tw::PopoverModel *rows READ rows CONSTANT)
    // Why failures do not alert now ("You're offline — …"); empty when they do.
    Q_PROPERTY(QString hushText READ hushText NOTIFY changed)
    Q_PROPERTY(bool offline READ offline NOTIFY changed)
    // "Could not save sources.json: No space left on device. …"; empty while everything is saved.
    Q_PROPERTY(QString storageProblem READ storageProblem NOTIFY changed)
    // "Notifications snoozed until 14:30"; empty without a snooze of everything.
    Q_PROPERTY(QString snoozeAllText READ snoozeAllText NOTIFY snoozesChanged)
    // Bumped whenever any snooze changes, for bindings that call snoozeText().
    Q_PROPERTY(int snoozeRevision READ snoozeRevision NOTIFY snoozesChanged)
    // The Recent view's lines, newest first: maps of kind, title, detail, time and sourceId.
    Q_PROPERTY(QVariantList recentEvents READ recentEvents NOTIFY recentEventsChanged)

public:
    PopoverController(AppState *state, PopoverModel *rows, QObject *parent = nullptr);

    QString headline() const;
    QString chipText() const;
    QColor statusColour() const;
    QString status() const;
    QString summary() const;
    bool paused() const;
    bool hasSources() const;
    // The newest poll of any source; invalid before the first one.
    QDateTime lastFetched() const;
    PopoverModel *rows() const { return m_rows; }
    QString hushText() const;
    bool offline() const;
    QString storageProblem() const;
    QString snoozeAllText() const;
    int snoozeRevision() const { return m_snoozeRevision; }
    QVariantList recentEvents() const;

    // "Snoozed until 14:30" for a source's row; empty when it is not snoozed.
    Q_INVOKABLE QString snoozeText(const QString &sourceId) const;
    // Hours from the row's menu; 0 means until the source recovers.
    Q_INVOKABLE void snoozeSource(const QString &sourceId, int hours);
    Q_INVOKABLE void endSnooze(const QString &sourceId);
    Q_INVOKABLE void snoozeAll(int hours);
    Q_INVOKABLE void resumeNotifications();

    Q_INVOKABLE QString relativeTime(const QDateTime &date) const;
    Q_INVOKABLE QString ageText(const QDateTime &date) const;
    // Formatting for the row views; an undefined value from QML stands for "no reading".
    Q_INVOKABLE QString latencyText(const QString &prefix, const QVariant &ms) const;
    Q_INVOKABLE QString ringText(const QVariant &pct) const;
    Q_INVOKABLE double ringFraction(const QVariant &pct) const;
    Q_INVOKABLE QColor ringColour(const QVariant &pct, const QColor &accent) const;
    Q_INVOKABLE QColor statusColourOf(const QString &status) const;
    // Ten flat rows or more scroll between a pinned header and footer.
    Q_INVOKABLE static bool usesScrollingForm(int sourceCount, int flatRows);
    Q_INVOKABLE void refreshAll();
    Q_INVOKABLE void togglePaused();
    Q_INVOKABLE void openSettings() { Q_EMIT settingsRequested(); }
    Q_INVOKABLE void quit() { Q_EMIT quitRequested(); }
    Q_INVOKABLE void close() { Q_EMIT closeRequested(); }
    // Hands a row's page to the desktop's browser, and closes the popover, which the browser covers.
    Q_INVOKABLE void openInBrowser(const QString &url);
    // Brings the source's card into view and gives it the keyboard's focus.
    void reveal(const QUuid &sourceID);
    // What opens a page; the desktop's URL handler unless a test puts its own.
    void setPageOpener(std::function<bool(const QUrl &)> opener) { m_openPage = std::move(opener); }

Q_SIGNALS:
    void revealRequested(const QString &sourceId);
    void changed();
    void snoozesChanged();
    void recentEventsChanged();
    void settingsRequested();
    void quitRequested();
    void closeRequested();

private:
    AppState *m_state;
    PopoverModel *m_rows;
    int m_snoozeRevision = 0;
    std::function<bool(const QUrl &)> m_openPage;
};

} // namespace tw
