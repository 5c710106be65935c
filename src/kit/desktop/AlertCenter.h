#pragma once

#include "kit/monitor/AlertEvent.h"

#include <QCoroTask>
#include <QDBusConnection>
#include <QHash>
#include <QObject>

#include <functional>
#include <optional>

namespace tw {

// Shows alerts as desktop notifications over org.freedesktop.Notifications. Every event is a new
// notification, so an outage and its recovery are two entries in the desktop's history. Where no
// notification server runs, a fallback (the tray icon's balloon, in the application) shows it.
// Where the server takes actions, a down alert offers "Open" and "Snooze 1 Hour", a recovery
// "Open"; an outage's notification still on screen when its source recovers is withdrawn.
class AlertCenter : public QObject
{
    Q_OBJECT
public:
    enum class Authorization { Authorized, Denied };
    // What the user chose on a notification.
    enum class Action { Open, Snooze };
    using Fallback = std::function<void(const QString &title, const QString &body)>;

    explicit AlertCenter(QDBusConnection bus = QDBusConnection::sessionBus(), QObject *parent = nullptr);

    void setFallback(Fallback fallback) { m_fallback = std::move(fallback); }

    // A notification server on the bus is permission enough; none is a denial.
    QCoro::Task<Authorization> authorizationStatus();
    void post(const AlertEvent &event, bool sound);
    // The same, awaitable; resolves to the server's notification id, or 0 when the fallback took it.
    QCoro::Task<uint> postAndWait(AlertEvent event, bool sound);

    // "Back after 2 minutes", "Unreachable for less than a minute", …
    static QString alertBody(const AlertEvent &event, const QDateTime &now);

    // Whether notifications offer "Open": the command line has no popover to open.
    void setOffersOpen(bool offers) { m_offersOpen = offers; }

Q_SIGNALS:
    // `key` is what the alert was about: the source's id, or a widget's key.
    void actionInvoked(tw::AlertCenter::Action action, const QUuid &sourceID, const QString &key);

private Q_SLOTS:
    void onActionInvoked(uint id, const QString &action);
    void onClosed(uint id, uint reason);

private:
    struct Shown
    {
        QUuid sourceID;
        QString key;
        AlertEvent::Kind kind;
    };

    // Asked once: a server does not change what it can do while it runs.
    QCoro::Task<bool> takesActions();
    void withdrawOutage(const QString &key);

    QDBusConnection m_bus;
    Fallback m_fallback;
    bool m_offersOpen = true;
    std::optional<bool> m_actions;
    QHash<uint, Shown> m_shown; // by notification id, until the server closes it
    QHash<QString, uint> m_outages; // an outage's key to its down notification
};

} // namespace tw
