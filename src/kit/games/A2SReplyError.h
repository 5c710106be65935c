#pragma once

#include <QByteArray>
#include <QString>

#include <exception>

namespace tw {

// A Steam query reply that breaks the protocol. Unlike a silent port it says something is there
// and wrong, so the probe stops at it and the row shows the reason.
class A2SReplyError : public std::exception
{
public:
    static A2SReplyError malformed() { return A2SReplyError(QStringLiteral("malformed reply")); }
    static A2SReplyError tooLarge() { return A2SReplyError(QStringLiteral("reply too large")); }
    static A2SReplyError compressed() { return A2SReplyError(QStringLiteral("compressed reply not supported")); }
    static A2SReplyError challengeLoop() { return A2SReplyError(QStringLiteral("challenge loop exceeded")); }

    QString reason() const { return m_reason; }
    QString description() const { return m_reason; }
    const char *what() const noexcept override { return m_utf8.constData(); }

    bool operator==(const A2SReplyError &other) const { return m_reason == other.m_reason; }

private:
    explicit A2SReplyError(const QString &reason);

    QString m_reason;
    QByteArray m_utf8;
};

} // namespace tw
