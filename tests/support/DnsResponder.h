#pragma once

#include "kit/transport/Nameserver.h"

#include <QHostAddress>
#include <QProcess>

namespace tw::test {

// The python responder of dns_responder.py on a free port of 127.0.0.1.
class DnsResponder
{
public:
    DnsResponder() = default;
    ~DnsResponder();
    DnsResponder(const DnsResponder &) = delete;
    DnsResponder &operator=(const DnsResponder &) = delete;

    // Starts it and waits until it listens; false with the reason on standard error otherwise.
    bool start();
    Nameserver server() const { return {QHostAddress::LocalHost, m_port}; }
    // As a user types it into a DNS record check: "127.0.0.1:PORT".
    QString nameserver() const { return QString::fromLatin1(server().serverList()); }

private:
    quint16 m_port = 0;
    QProcess m_process;
};

} // namespace tw::test
