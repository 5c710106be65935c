#include "AlertCenter.h"

#include "kit/base/Logging.h"

#include <QCoroDBus>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

const QString service = u"org.freedesktop.Notifications"_s;
const QString path = u"/org/freedesktop/Notifications"_s;
constexpr int callTimeoutMs = 5000;
const QString openAction = u"open"_s;
const QString snoozeAction = u"snooze-1h"_s;

} // namespace

AlertCenter::AlertCenter(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{
    if (!m_bus.isConnected())
        return;
    m_bus.connect(service, path, service, u"ActionInvoked"_s, this, SLOT(onActionInvoked(uint, QString)));
    m_bus.connect(service, path, service, u"NotificationClosed"_s, this, SLOT(onClosed(uint, uint)));
}

QCoro::Task<bool> AlertCenter::takesActions()
{
    if (m_actions)
        co_return *m_actions;
    const QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, u"GetCapabilities"_s);
    const QDBusPendingCall pending = m_bus.asyncCall(call, callTimeoutMs);
    const QPointer<AlertCenter> self = this;
    const QDBusPendingReply<QStringList> reply = co_await pending;
    if (reply.isError() || !self)
        co_return false; // asked again next time: the server may not have started yet
    m_actions = reply.value().contains(u"actions"_s);
    co_return *m_actions;
}

void AlertCenter::withdrawOutage(const QString &key)
{
    const auto outage = m_outages.constFind(key);
    if (outage == m_outages.cend())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, u"CloseNotification"_s);
    call << *outage;
    m_bus.asyncCall(call, callTimeoutMs);
    m_shown.remove(*outage);
    m_outages.erase(outage);
}

void AlertCenter::onActionInvoked(uint id, const QString &action)
{
    const auto shown = m_shown.constFind(id);
    if (shown == m_shown.cend())
        return; // another program's notification
    if (action == openAction || action == u"default"_s)
        Q_EMIT actionInvoked(Action::Open, shown->sourceID, shown->key);
    else if (action == snoozeAction)
        Q_EMIT actionInvoked(Action::Snooze, shown->sourceID, shown->key);
}

void AlertCenter::onClosed(uint id, uint)
{
    const auto shown = m_shown.constFind(id);
    if (shown == m_shown.cend())
        return;
    if (m_outages.value(shown->key) == id)
        m_outages.remove(shown->key);
    m_shown.erase(shown);
}

QString AlertCenter::alertBody(const AlertEvent &event, const QDateTime &now)
{
    if (event.detail)
        return *event.detail;
    const bool recovered = event.kind == AlertEvent::Kind::Recovered;
    if (!event.downSince)
        return recovered ? u"Recovered"_s : u"Unreachable"_s;
    const qint64 minutes = event.downSince->secsTo(now) / 60;
    if (minutes < 1)
        return recovered ? u"Back in under a minute"_s : u"Unreachable for less than a minute"_s;
    const QString length = minutes == 1 ? u"1 minute"_s : QString::number(minutes) + u" minutes"_s;
    return (recovered ? u"Back after "_s : u"Unreachable for "_s) + length;
}

QCoro::Task<AlertCenter::Authorization> AlertCenter::authorizationStatus()
{
    if (!m_bus.isConnected())
        co_return Authorization::Denied;
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s,
                                                       u"/org/freedesktop/DBus"_s,
                                                       u"org.freedesktop.DBus"_s,
                                                       u"NameHasOwner"_s);
    call << service;
    const QDBusPendingCall ownerCall = m_bus.asyncCall(call, callTimeoutMs);
    const QDBusPendingReply<bool> owned = co_await ownerCall;
    if (!owned.isError() && owned.value())
        co_return Authorization::Authorized;
    // A server that starts on demand counts too.
    QDBusMessage list = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s,
                                                       u"/org/freedesktop/DBus"_s,
                                                       u"org.freedesktop.DBus"_s,
                                                       u"ListActivatableNames"_s);
    const QDBusPendingCall listCall = m_bus.asyncCall(list, callTimeoutMs);
    const QDBusPendingReply<QStringList> activatable = co_await listCall;
    co_return !activatable.isError() && activatable.value().contains(service) ? Authorization::Authorized
                                                                              : Authorization::Denied;
}

void AlertCenter::post(const AlertEvent &event, bool sound)
{
    postAndWait(event, sound);
}

QCoro::Task<uint> AlertCenter::postAndWait(AlertEvent event, bool sound)
{
    const QString body = alertBody(event, QDateTime::currentDateTimeUtc());
    Fallback fallback = m_fallback;
    if (m_bus.isConnected()) {
        const bool down = event.kind == AlertEvent::Kind::Down;
        // An outage that is over no longer needs its notification on screen.
        if (!down)
            withdrawOutage(event.key);
        QStringList actions;
        // The centre may go while the server answers; what it remembers then goes with it.
        const QPointer<AlertCenter> self = this;
        const bool takesActions = co_await this->takesActions();
        if (!self)
            co_return 0u;
        if (takesActions) {
            if (m_offersOpen)
                actions << openAction << u"Open"_s;
            if (down)
                actions << snoozeAction << u"Snooze 1 Hour"_s;
        }
        QVariantMap hints{{u"category"_s, event.kind == AlertEvent::Kind::Down ? u"device.error"_s : u"device"_s},
                          {u"urgency"_s, QVariant::fromValue(uchar(event.kind == AlertEvent::Kind::Down ? 2 : 1))},
                          {u"desktop-entry"_s, u"dev.ostrel.Tidewatch"_s}};
        if (sound)
            hints.insert(u"sound-name"_s, event.kind == AlertEvent::Kind::Down ? u"dialog-warning"_s : u"complete"_s);
        else
            hints.insert(u"suppress-sound"_s, true);
        QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, u"Notify"_s);
        // replaces_id 0: a fresh notification every time, never one that replaces an earlier alert.
        call << u"Tidewatch"_s << 0u
             << (event.kind == AlertEvent::Kind::Down ? u"network-error"_s : u"network-transmit-receive"_s)
             << event.title << body << actions << hints << -1;
        const QDBusPendingCall pending = m_bus.asyncCall(call, callTimeoutMs);
        const QDBusPendingReply<uint> reply = co_await pending;
        if (!reply.isError()) {
            const uint id = reply.value();
            if (!self)
                co_return id;
            m_shown.insert(id, {event.sourceID, event.key, event.kind});
            if (down && !event.key.isEmpty())
                m_outages.insert(event.key, id);
            co_return id;
        }
        qCWarning(logging::alerts, "Could not post a notification: %s", qUtf8Printable(reply.error().message()));
    }
    if (fallback)
        fallback(event.title, body);
    co_return 0u;
}

} // namespace tw
