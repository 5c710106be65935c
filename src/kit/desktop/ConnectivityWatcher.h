#pragma once

#include <QDBusConnection>
#include <QObject>

namespace tw {

// Tells whether the machine has a network and when it goes to sleep and wakes. The network comes
// from Qt's network information backend where one exists (NetworkManager on Linux; not GLib's, which
// takes a LAN without a default route for no network); without one the machine counts as online. Sleep comes from
// logind's PrepareForSleep signal on the system bus.
class ConnectivityWatcher : public QObject
{
    Q_OBJECT
public:
    explicit ConnectivityWatcher(QDBusConnection systemBus = QDBusConnection::systemBus(),
                                 bool useNetworkInformation = true,
                                 QObject *parent = nullptr);

    bool isOnline() const { return m_online; }
    // Whether logind's signal is subscribed; false without a system bus.
    bool watchesSleep() const { return m_watchesSleep; }

Q_SIGNALS:
    void onlineChanged(bool online);
    // True just before the machine sleeps, false once it has resumed.
    void asleepChanged(bool asleep);

private Q_SLOTS:
    void prepareForSleep(bool start);

private:
    void setOnline(bool online);

    bool m_online = true;
    bool m_watchesSleep = false;
};

} // namespace tw
