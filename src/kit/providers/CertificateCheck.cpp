#include "CertificateCheck.h"

#include <QHostAddress>

using namespace Qt::StringLiterals;

namespace tw::CertificateCheck {

namespace {

constexpr qint64 secondsPerDay = 86400;

QString days(qint64 count)
{
    return count == 1 ? u"1 day"_s : u"%1 days"_s.arg(count);
}

QString canonical(QString name)
{
    while (name.endsWith(u'.'))
        name.chop(1);
    return name.toLower();
}

} // namespace

QString expiresText(qint64 secondsLeft)
{
    return u"expires in "_s + days((std::max<qint64>(secondsLeft, 1) + secondsPerDay - 1) / secondsPerDay);
}

QString expiredText(qint64 secondsPast)
{
    const qint64 whole = secondsPast / secondsPerDay;
    if (whole < 1)
        return u"expired less than a day ago"_s;
    return u"expired "_s + days(whole) + u" ago"_s;
}

QString notYetValidText(const QDateTime &validFrom)
{
    return u"not valid until "_s + validFrom.toUTC().toString(u"yyyy-MM-dd HH:mm"_s) + u" UTC"_s;
}

bool nameMatches(const QString &pattern, const QString &host)
{
    const QString p = canonical(pattern);
    const QString h = canonical(host);
    if (p.isEmpty() || h.isEmpty())
        return false;
    if (!p.startsWith(u"*."_s))
        return p == h;
    // At least two labels under the wildcard, so that "*.com" covers nothing.
    const QString rest = p.mid(2);
    if (rest.count(u'.') < 1 || rest.contains(u'*') || !QHostAddress(h).isNull())
        return false;
    const qsizetype dot = h.indexOf(u'.');
    return dot > 0 && h.mid(dot + 1) == rest;
}

bool certificateNames(const QSslCertificate &certificate, const QString &host)
{
    const auto alternatives = certificate.subjectAlternativeNames();
    const QHostAddress address(host);
    if (!address.isNull()) {
        for (const QString &entry : alternatives.values(QSsl::IpAddressEntry)) {
            if (QHostAddress(entry).isEqual(address))
                return true;
        }
        return false;
    }
    const QList<QString> dnsNames = alternatives.values(QSsl::DnsEntry);
    const QStringList candidates = dnsNames.isEmpty() && !alternatives.contains(QSsl::IpAddressEntry)
        ? certificate.subjectInfo(QSslCertificate::CommonName)
        : QStringList(dnsNames);
    return std::any_of(candidates.cbegin(), candidates.cend(), [&](const QString &name) {
        return nameMatches(name, host);
    });
}

CertificateVerdict judge(const QSslCertificate &leaf, const QString &host, const QDateTime &now, qint64 warningDays)
{
    if (leaf.isNull())
        return {ServiceStatus::Down, QString::fromLatin1(noCertificateText)};
    if (!certificateNames(leaf, host))
        return {ServiceStatus::Down, QString::fromLatin1(nameMismatchText)};
    if (now < leaf.effectiveDate())
        return {ServiceStatus::Down, notYetValidText(leaf.effectiveDate())};
    const qint64 left = now.secsTo(leaf.expiryDate());
    if (left <= 0)
        return {ServiceStatus::Down, expiredText(-left)};
    const ServiceStatus status = left < warningDays * secondsPerDay ? ServiceStatus::Warn : ServiceStatus::Up;
    return {status, expiresText(left)};
}

} // namespace tw::CertificateCheck
