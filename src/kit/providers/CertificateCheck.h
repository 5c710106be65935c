#pragma once

#include "kit/model/ServiceStatus.h"

#include <QDateTime>
#include <QSslCertificate>
#include <QString>

namespace tw {

struct CertificateVerdict
{
    ServiceStatus status = ServiceStatus::Unknown;
    QString detail;

    bool operator==(const CertificateVerdict &) const = default;
};

// Judges a server's leaf certificate by itself, never by the system store's verdict: a homelab's
// own CA is as good as any, what matters is that the certificate names the host and is in date.
namespace CertificateCheck {

inline constexpr auto nameMismatchText = "name does not match";
inline constexpr auto noCertificateText = "no certificate";

// "expires in 3 days", "expires in 1 day": whole days, a part day counting as one.
QString expiresText(qint64 secondsLeft);
// "expired 3 days ago", "expired 1 day ago", "expired less than a day ago": whole days past.
QString expiredText(qint64 secondsPast);
// "not valid until 2026-12-01 10:00 UTC"
QString notYetValidText(const QDateTime &validFrom);

// One certificate name against a host name, without case or final dot. A wildcard is only the whole
// left-most label ("*.example.com") and covers exactly one label, never a bare address.
bool nameMatches(const QString &pattern, const QString &host);
// The subject alternative names decide; the common name only counts when there are none. An
// address matches only an address entry.
bool certificateNames(const QSslCertificate &certificate, const QString &host);

// Down for the wrong name, a certificate not yet valid or expired (in that order); warn with less
// than `warningDays` left; up otherwise. The detail of an in-date certificate tells the days left.
CertificateVerdict judge(const QSslCertificate &leaf, const QString &host, const QDateTime &now, qint64 warningDays);

} // namespace CertificateCheck

} // namespace tw
