#pragma once

#include <QCoroTask>
#include <QDBusConnection>
#include <QString>

#include <optional>

namespace tw {

// What the desktop's keyring (the Secret Service on the session bus) can do for Tidewatch right now,
// read without a prompt: whether one runs, and whether its default keyring is open.
class SecretServiceStatus
{
public:
    enum class State {
        Unlocked, // passwords are read and written without asking
        Locked, // the desktop asks to unlock it at the first read
        NoKeyring, // a service runs but has no default keyring yet; it offers to make one at the first write
        Missing, // no Secret Service on the bus: passwords can be neither stored nor read
    };

    explicit SecretServiceStatus(QDBusConnection bus = QDBusConnection::sessionBus());

    QCoro::Task<State> read();

    // The line the settings window shows; nothing before the first read.
    static QString text(std::optional<State> state);

private:
    QDBusConnection m_bus;
};

} // namespace tw
