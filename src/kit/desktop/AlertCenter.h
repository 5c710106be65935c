#pragma once

#include "kit/monitor/AlertEvent.h"

#include <QCoroTask>
#include <QDBusConnection>
#include <QObject>

#include <functional>

namespace tw {

// Shows alerts as desktop notifications over org.freedesktop.Notifications. Every event is a new
// notification, so an outage and its recovery are two entries in the desktop's history. Where no
// notification server runs, a fallback (the tray icon's balloon, in the application) shows it.
class AlertCenter : public QObject
{
    Q_OBJECT
public:
    enum class Authorization { Authorized, Denied };
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

private:
    QDBusConnection m_bus;
    Fallback m_fallback;
};

} // namespace tw
