#include "CredentialError.h"

#include <qt6keychain/keychain.h>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

constexpr auto unavailable = "credential unavailable: ";

QString sentence(CredentialError::Kind kind)
{
    switch (kind) {
    case CredentialError::Kind::TimedOut:
        return u"keychain request timed out (a system prompt may be waiting for a response)"_s;
    case CredentialError::Kind::NoSessionBus:
        return u"no D-Bus session bus, so no keyring can be reached — run Tidewatch inside a desktop session"_s;
    case CredentialError::Kind::NoService:
        return u"no Secret Service is running — install gnome-keyring or KWallet"_s;
    case CredentialError::Kind::Locked:
        return u"the keyring is locked — unlock it (for example in Passwords and Keys) and try again"_s;
    case CredentialError::Kind::AccessDenied:
        return u"access to the keyring was denied"_s;
    case CredentialError::Kind::NoDefaultKeyring:
        return u"the keyring has no default collection and could not ask for one — create a \"Login\" keyring "
               "in Passwords and Keys"_s;
    case CredentialError::Kind::NoLibrary:
        return u"libsecret is not installed (Debian package libsecret-1-0)"_s;
    case CredentialError::Kind::UnexpectedStatus:
        break;
    }
    return {};
}

} // namespace

QString toText(CredentialError::Kind kind)
{
    switch (kind) {
    case CredentialError::Kind::UnexpectedStatus:
        return u"unexpectedStatus"_s;
    case CredentialError::Kind::TimedOut:
        return u"timedOut"_s;
    case CredentialError::Kind::NoSessionBus:
        return u"noSessionBus"_s;
    case CredentialError::Kind::NoService:
        return u"noService"_s;
    case CredentialError::Kind::Locked:
        return u"locked"_s;
    case CredentialError::Kind::AccessDenied:
        return u"accessDenied"_s;
    case CredentialError::Kind::NoDefaultKeyring:
        return u"noDefaultKeyring"_s;
    case CredentialError::Kind::NoLibrary:
        return u"noLibrary"_s;
    }
    return {};
}

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
    return ofKind(Kind::TimedOut);
}

CredentialError CredentialError::ofKind(Kind kind)
{
    return {kind, 0, QString::fromLatin1(unavailable) + sentence(kind)};
}

CredentialError CredentialError::fromKeychain(int code, const QString &text)
{
    // libsecret reports most failures as OtherError with the message of the D-Bus call beneath; the
    // message is all there is to tell a missing service from a missing bus.
    switch (code) {
    case QKeychain::AccessDenied: // libsecret's "is locked"
        return ofKind(Kind::Locked);
    case QKeychain::AccessDeniedByUser:
        return ofKind(Kind::AccessDenied);
    case QKeychain::NoBackendAvailable:
    case QKeychain::NotImplemented:
        return ofKind(Kind::NoService);
    default:
        break;
    }
    const auto mentions = [&text](const char *words) {
        return text.contains(QLatin1String(words), Qt::CaseInsensitive);
    };
    if (mentions("org.freedesktop.secrets") || mentions("ServiceUnknown") || mentions("No keychain service"))
        return ofKind(Kind::NoService);
    if (mentions("autolaunch") || mentions("dbus-launch") || mentions("session bus") || mentions("D-Bus is not running")
        || mentions("DBUS_SESSION_BUS_ADDRESS"))
        return ofKind(Kind::NoSessionBus);
    if (mentions("locked"))
        return ofKind(Kind::Locked);
    if (mentions("/org/freedesktop/secrets/collection/") || mentions("no such keyring"))
        return ofKind(Kind::NoDefaultKeyring);
    if (text.isEmpty() || text == u"Unknown error"_s)
        return {Kind::NoLibrary, code, QString::fromLatin1(unavailable) + sentence(Kind::NoLibrary)};
    return {Kind::UnexpectedStatus, code, QString::fromLatin1(unavailable) + u"the keyring failed: "_s + text};
}

} // namespace tw
