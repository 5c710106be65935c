#include "SingleInstance.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace tw {

SingleInstance::SingleInstance(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{ }

SingleInstance::Outcome SingleInstance::claim()
{
    if (!m_bus.isConnected())
        return Outcome::NoBus;
    const QString service = QString::fromLatin1(serviceName);
    const QString path = QString::fromLatin1(objectPath);
    m_bus.registerObject(path, this, QDBusConnection::ExportScriptableSlots);
    if (m_bus.registerService(service))
        return Outcome::Primary;
    m_bus.unregisterObject(path);

    QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("ShowPopover"));
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, 2000);
    // The owner may be exiting; starting alone then is better than not starting at all.
    if (reply.type() == QDBusMessage::ErrorMessage && m_bus.registerService(service)) {
        m_bus.registerObject(path, this, QDBusConnection::ExportScriptableSlots);
        return Outcome::Primary;
    }
    return Outcome::Forwarded;
}

void SingleInstance::ShowPopover()
{
    Q_EMIT showRequested();
}

} // namespace tw
