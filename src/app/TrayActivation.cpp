#include "TrayActivation.h"

#include <QDBusMessage>
#include <QElapsedTimer>
#include <QtDBus/qtdbusglobal.h>

// QtDBus calls these for every incoming method call before it delivers it. Exported by the library
// for debugging tools (KDE's module daemon is started through it), though not in a public header.
extern Q_DBUS_EXPORT void qDBusAddSpyHook(void (*)(const QDBusMessage &));

using namespace Qt::StringLiterals;

namespace tw {

namespace {

struct LastActivation
{
    QPoint position;
    QElapsedTimer since;
};

LastActivation &last()
{
    static LastActivation activation;
    return activation;
}

} // namespace

void TrayActivation::install()
{
    static const bool installed = [] {
        qDBusAddSpyHook(&TrayActivation::observe);
        return true;
    }();
    Q_UNUSED(installed);
}

void TrayActivation::observe(const QDBusMessage &message)
{
    if (message.type() != QDBusMessage::MethodCallMessage || message.member() != u"Activate"_s
        || message.interface() != u"org.kde.StatusNotifierItem"_s)
        return;
    const QList<QVariant> arguments = message.arguments();
    if (arguments.size() != 2)
        return;
    last().position = QPoint(arguments[0].toInt(), arguments[1].toInt());
    last().since.start();
}

std::optional<QPoint> TrayActivation::recent(qint64 withinMs)
{
    const LastActivation &activation = last();
    if (!activation.since.isValid() || activation.since.elapsed() > withinMs || activation.position.isNull())
        return std::nullopt;
    return activation.position;
}

} // namespace tw
