#pragma once

#include <QString>

#include <stdexcept>

namespace tw {

// Why the credential store could not answer; what() is the text the user reads.
class CredentialError : public std::runtime_error
{
public:
    enum class Kind { UnexpectedStatus, TimedOut };

    static CredentialError unexpectedStatus(int status);
    static CredentialError timedOut();

    Kind kind() const { return m_kind; }
    int status() const { return m_status; }
    QString description() const { return QString::fromUtf8(what()); }
    bool operator==(const CredentialError &other) const { return m_kind == other.m_kind && m_status == other.m_status; }

private:
    CredentialError(Kind kind, int status, const QString &text);
    Kind m_kind;
    int m_status;
};

} // namespace tw
