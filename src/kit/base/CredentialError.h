#pragma once

#include <QString>

#include <stdexcept>

namespace tw {

// Why the credential store could not answer; what() is the text the user reads.
class CredentialError : public std::runtime_error
{
public:
    enum class Kind {
        UnexpectedStatus, // a failure the store did not explain
        TimedOut,
        NoSessionBus, // nothing to reach a keyring through
        NoService, // a bus, but no Secret Service on it
        Locked,
        AccessDenied,
        NoDefaultKeyring, // the service has no keyring to store into, and could not ask for one
        NoLibrary, // libsecret is missing
    };

    static CredentialError unexpectedStatus(int status);
    static CredentialError timedOut();
    static CredentialError ofKind(Kind kind);
    // QtKeychain's error code and text, in words; a failure it cannot place keeps the store's text.
    static CredentialError fromKeychain(int code, const QString &text);

    Kind kind() const { return m_kind; }
    int status() const { return m_status; }
    QString description() const { return QString::fromUtf8(what()); }
    bool operator==(const CredentialError &other) const { return m_kind == other.m_kind && m_status == other.m_status; }

private:
    CredentialError(Kind kind, int status, const QString &text);
    Kind m_kind;
    int m_status;
};

QString toText(CredentialError::Kind kind);

} // namespace tw
