#include "SecretServiceStatus.h"

#include <QCoroDBus>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

const QString service = u"org.freedesktop.secrets"_s;
constexpr int callTimeoutMs = 5000;

QDBusMessage busCall(const QString &method)
{
    return QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s,
                                          u"/org/freedesktop/DBus"_s,
                                          u"org.freedesktop.DBus"_s,
                                          method);
}

} // namespace

SecretServiceStatus::SecretServiceStatus(QDBusConnection bus)
    : m_bus(std::move(bus))
{ }

QCoro::Task<SecretServiceStatus::State> SecretServiceStatus::read()
{
    if (!m_bus.isConnected())
        co_return State::Missing;
    QDBusMessage owner = busCall(u"NameHasOwner"_s);
    owner << service;
    const QDBusPendingReply<bool> owned = co_await m_bus.asyncCall(owner, callTimeoutMs);
    if (owned.isError() || !owned.value()) {
        // A keyring that starts on demand counts as running.
        const QDBusPendingReply<QStringList> activatable =
            co_await m_bus.asyncCall(busCall(u"ListActivatableNames"_s), callTimeoutMs);
        if (activatable.isError() || !activatable.value().contains(service))
            co_return State::Missing;
    }
    // The default keyring's lock, read as a property: asking for it opens no prompt.
    QDBusMessage locked = QDBusMessage::createMethodCall(service,
                                                         u"/org/freedesktop/secrets/aliases/default"_s,
                                                         u"org.freedesktop.DBus.Properties"_s,
                                                         u"Get"_s);
    locked << u"org.freedesktop.Secret.Collection"_s << u"Locked"_s;
    const QDBusPendingReply<QDBusVariant> reply = co_await m_bus.asyncCall(locked, callTimeoutMs);
    if (reply.isError())
        co_return reply.error().type() == QDBusError::ServiceUnknown ? State::Missing : State::NoKeyring;
    co_return reply.value().variant().toBool() ? State::Locked : State::Unlocked;
}

QString SecretServiceStatus::text(std::optional<State> state)
{
    if (!state)
        return {};
    switch (*state) {
    case State::Unlocked:
        return u"Passwords and tokens are kept in the desktop's keyring."_s;
    case State::Locked:
        return u"The keyring is locked: the desktop asks you to unlock it when a source needs its password."_s;
    case State::NoKeyring:
        return u"The keyring has no default collection yet: the desktop offers to make one when you save a password."_s;
    case State::Missing:
        return u"No keyring is running (such as GNOME Keyring or KWallet): sources with a password or token "
               "cannot be polled."_s;
    }
    return {};
}

} // namespace tw
