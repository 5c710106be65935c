#pragma once

#include <QHostAddress>
#include <QProcess>

namespace tw::test {

// The python responder of dns_responder.py on port 53 of a loopback address of its own: Qt 6.4 asks
// nameservers on port 53 only, so each test process takes an address from its pid within `block`
// (127.<block>.x.y), keeping parallel runs and different tests apart. Binding port 53 needs root.
class DnsResponder
{
public:
    explicit DnsResponder(int block);
    ~DnsResponder();
    DnsResponder(const DnsResponder &) = delete;
    DnsResponder &operator=(const DnsResponder &) = delete;

    // Starts it and waits until it listens; false with the reason on standard error otherwise.
    bool start();
    QHostAddress address() const { return m_address; }

private:
    QHostAddress m_address;
    QProcess m_process;
};

} // namespace tw::test
