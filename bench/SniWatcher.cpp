// A StatusNotifierItem host as a desktop panel offers one: it owns org.kde.StatusNotifierWatcher on the
// session bus, says that a host is registered, and prints the wall-clock time (ns since the epoch) of
// every item that registers, so a script can time a program's start to its tray icon.
//   tw_sni_watcher            prints "ready", then "registered <ns> <service>" per item
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

#include <cstdio>
#include <ctime>

using namespace Qt::StringLiterals;

class Watcher : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList items() const { return m_items; }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service, const QDBusMessage &message)
    {
        timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        m_items << service;
        std::printf("registered %lld %s %s\n",
                    static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec,
                    qPrintable(service),
                    qPrintable(message.service()));
        std::fflush(stdout);
    }
    void RegisterStatusNotifierHost(const QString &) { }

private:
    QStringList m_items;
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    Watcher watcher;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(u"/StatusNotifierWatcher"_s,
                            &watcher,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties)
        || !bus.registerService(u"org.kde.StatusNotifierWatcher"_s)) {
        std::fprintf(stderr, "tw_sni_watcher: cannot own org.kde.StatusNotifierWatcher on the session bus\n");
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

#include "SniWatcher.moc"
