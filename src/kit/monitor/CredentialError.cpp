#include "CredentialError.h"

namespace tw {

CredentialError::CredentialError(Kind kind, int status, const QString &text)
    : std::runtime_error(text.toStdString())
    , m_kind(kind)
    , m_status(status)
{ }

CredentialError CredentialError::unexpectedStatus(int status)
{
    return {Kind::UnexpectedStatus, status, QStringLiteral("Keychain error %1").arg(status)};
}

CredentialError CredentialError::timedOut()
{
    return {Kind::TimedOut,
            0,
            QStringLiteral("credential unavailable: keychain request timed out (a system prompt may be waiting for a "
                           "response)")};
}

} // namespace tw
