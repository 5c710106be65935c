#pragma once

#include <QHostAddress>
#include <QString>

#include <optional>

namespace tw {

// A nameserver to ask instead of the system's: an address, and a port other than 53 for a resolver
// that listens beside another one (unbound behind Pi-hole on 5335 is common).
struct Nameserver
{
    QHostAddress address;
    quint16 port = 53;

    // "192.0.2.53", "192.0.2.53:5335", "2001:db8::53" or "[2001:db8::53]:5335"; nothing for anything else.
    static std::optional<Nameserver> parse(const QString &text);
    // The form c-ares reads its server list in.
    QByteArray serverList() const;

    bool operator==(const Nameserver &) const = default;
};

} // namespace tw
