#include "Nameserver.h"

using namespace Qt::StringLiterals;

namespace tw {

std::optional<Nameserver> Nameserver::parse(const QString &text)
{
    const QString trimmed = text.trimmed();
    QString host = trimmed;
    QString port;
    if (trimmed.startsWith(u'[')) {
        const qsizetype close = trimmed.indexOf(u']');
        if (close < 0)
            return std::nullopt;
        host = trimmed.sliced(1, close - 1);
        const QString rest = trimmed.sliced(close + 1);
        if (!rest.isEmpty()) {
            if (!rest.startsWith(u':'))
                return std::nullopt;
            port = rest.sliced(1);
        }
    } else if (trimmed.count(u':') == 1) {
        // One colon is an IPv4 address and a port; more are an IPv6 address without one.
        host = trimmed.section(u':', 0, 0);
        port = trimmed.section(u':', 1);
    }
    const QHostAddress address(host);
    // A scope ("fe80::1%eth0") is not something c-ares can be told.
    if (address.isNull() || !address.scopeId().isEmpty())
        return std::nullopt;
    if (trimmed.startsWith(u'[') && address.protocol() != QAbstractSocket::IPv6Protocol)
        return std::nullopt;
    Nameserver server{address, 53};
    if (!port.isNull()) {
        bool ok = false;
        const uint number = port.toUInt(&ok);
        if (!ok || number == 0 || number > 65535 || port.startsWith(u'+'))
            return std::nullopt;
        server.port = quint16(number);
    }
    return server;
}

QByteArray Nameserver::serverList() const
{
    const QString host =
        address.protocol() == QAbstractSocket::IPv6Protocol ? u'[' + address.toString() + u']' : address.toString();
    return (host + u':' + QString::number(port)).toLatin1();
}

} // namespace tw
