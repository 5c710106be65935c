#include "ConnectivityWatcher.h"

#include <QNetworkInformation>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// A home server is reached over the local network, so only "no network at all" counts as offline;
// a backend that cannot tell (Unknown) must not silence anything.
bool reachable(QNetworkInformation::Reachability reachability)
{
    return reachability != QNetworkInformation::Reachability::Disconnected;
}

// Any backend that tells the network's state but GLib's, which calls a network without a default
// route "disconnected" — a homelab LAN without internet access would silence every alert.
bool loadBackend()
{
    for (const QString &name : QNetworkInformation::availableBackends()) {
        if (name.compare(u"glib"_s, Qt::CaseInsensitive) == 0)
            continue;
        if (QNetworkInformation::loadBackendByName(name)
            && QNetworkInformation::instance()->supports(QNetworkInformation::Feature::Reachability))
            return true;
    }
    return false;
}

} // namespace

ConnectivityWatcher::ConnectivityWatcher(QDBusConnection systemBus, bool useNetworkInformation, QObject *parent)
    : QObject(parent)
{
    if (useNetworkInformation && loadBackend()) {
        QNetworkInformation *information = QNetworkInformation::instance();
        m_online = reachable(information->reachability());
        connect(information,
                &QNetworkInformation::reachabilityChanged,
                this,
                [this](QNetworkInformation::Reachability reachability) { setOnline(reachable(reachability)); });
    }
    if (systemBus.isConnected()) {
        m_watchesSleep = systemBus.connect(u"org.freedesktop.login1"_s,
                                           u"/org/freedesktop/login1"_s,
                                           u"org.freedesktop.login1.Manager"_s,
                                           u"PrepareForSleep"_s,
                                           this,
                                           SLOT(prepareForSleep(bool)));
    }
}

void ConnectivityWatcher::setOnline(bool online)
{
    if (online == m_online)
        return;
    m_online = online;
    Q_EMIT onlineChanged(online);
}

void ConnectivityWatcher::prepareForSleep(bool start)
{
    Q_EMIT asleepChanged(start);
}

} // namespace tw
