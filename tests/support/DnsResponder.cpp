#include "DnsResponder.h"

#include <QDir>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace tw::test {

DnsResponder::~DnsResponder()
{
    m_process.kill();
    m_process.waitForFinished();
}

bool DnsResponder::start()
{
    const QString python = QStandardPaths::findExecutable(u"python3"_s);
    if (python.isEmpty()) {
        qWarning("python3 is needed for the DNS responder");
        return false;
    }
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(python,
                    {QDir::cleanPath(QStringLiteral(TW_SOURCE_SUPPORT_DIR "/dns_responder.py")), u"127.0.0.1"_s});
    // Python can take seconds to start on a busy machine.
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(30000)) {
            qWarning("the DNS responder did not start: %s", qPrintable(m_process.errorString()));
            return false;
        }
    }
    const QList<QByteArray> words = m_process.readLine().trimmed().split(' ');
    if (words.size() != 2 || words.first() != "ready") {
        qWarning("the DNS responder said %s", words.join(' ').constData());
        return false;
    }
    m_port = quint16(words.last().toUInt());
    return m_port != 0;
}

} // namespace tw::test
