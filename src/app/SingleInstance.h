#pragma once

#include <QDBusConnection>
#include <QObject>

namespace tw {

// One Tidewatch per desktop session: the first instance owns a name on the session bus, and a
// second launch asks it to show its popover instead of starting another tray icon.
class SingleInstance : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "dev.ostrel.Tidewatch")
public:
    static constexpr auto serviceName = "dev.ostrel.Tidewatch";
    static constexpr auto objectPath = "/dev/ostrel/Tidewatch";

    enum class Outcome {
        Primary, // this process owns the name and answers later launches
        Forwarded, // another instance runs and was asked to show itself
        NoBus, // no session bus: nothing to coordinate with, so run alone
    };

    explicit SingleInstance(QDBusConnection bus, QObject *parent = nullptr);

    // Blocks for at most two seconds, before the event loop runs.
    Outcome claim();

public Q_SLOTS:
    Q_SCRIPTABLE void ShowPopover();

Q_SIGNALS:
    void showRequested();

private:
    QDBusConnection m_bus;
};

} // namespace tw
