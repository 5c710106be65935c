#include "DnsResponder.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace tw::test {

DnsResponder::DnsResponder(int block)
{
    const qint64 pid = QCoreApplication::applicationPid();
    m_address = QHostAddress(u"127.%1.%2.%3"_s.arg(block).arg(pid / 200 % 250 + 1).arg(pid % 200 + 2));
}

DnsResponder::~DnsResponder()
{
    m_process.kill();
    m_process.waitForFinished();
}

bool DnsResponder::start()
{
    // glibc's resolver otherwise waits 5 s twice for a nameserver that never answers.
    qputenv("RES_OPTIONS", "timeout:1 attempts:1");
    const QString python = QStandardPaths::findExecutable(u"python3"_s);
    if (python.isEmpty()) {
        qWarning("python3 is needed for the DNS responder");
        return false;
    }
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(python,
                    {QDir::cleanPath(QStringLiteral(TW_SOURCE_SUPPORT_DIR "/dns_responder.py")), m_address.toString()});
    if (!m_process.waitForReadyRead(10000)) {
        qWarning("the DNS responder did not start (port 53 needs root)");
        return false;
    }
    return m_process.readLine().trimmed() == "ready";
}

} // namespace tw::test
