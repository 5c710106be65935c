#include "DNSRecordProvider.h"

#include "kit/model/AnySourceConfig.h"
#include "kit/model/JsonRead.h"
#include "kit/monitor/ProviderError.h"
#include "kit/transport/Cancelled.h"
#include "kit/transport/Wakeup.h"

#include <QDnsLookup>
#include <QElapsedTimer>
#include <QHostAddress>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

enum Reason { Finished = 1, Stopped };

QDnsLookup::Type lookupType(DNSRecordType type)
{
    switch (type) {
    case DNSRecordType::A:
        return QDnsLookup::A;
    case DNSRecordType::AAAA:
        return QDnsLookup::AAAA;
    case DNSRecordType::CNAME:
        return QDnsLookup::CNAME;
    case DNSRecordType::MX:
        return QDnsLookup::MX;
    case DNSRecordType::TXT:
        return QDnsLookup::TXT;
    case DNSRecordType::SRV:
        return QDnsLookup::SRV;
    }
    return QDnsLookup::A;
}

QString bareName(QString name)
{
    while (name.endsWith(u'.'))
        name.chop(1);
    return name;
}

bool sameName(const QString &a, const QString &b)
{
    return bareName(a).compare(bareName(b), Qt::CaseInsensitive) == 0;
}

ProviderError lookupError(const QDnsLookup &lookup)
{
    switch (lookup.error()) {
    case QDnsLookup::NotFoundError:
        return ProviderError::upstream(QString::fromLatin1(DNSRecordProvider::notFoundText));
    case QDnsLookup::InvalidReplyError:
        // Qt 6.4 reads a reply without records of the type, a nameserver that refuses the datagram
        // and a resolver that gave up waiting all as an invalid reply: in each, no answer came.
        return ProviderError::upstream(QString::fromLatin1(DNSRecordProvider::noAnswerText));
    case QDnsLookup::ServerFailureError:
        return ProviderError::upstream(u"server failure"_s);
    case QDnsLookup::ServerRefusedError:
        return ProviderError::upstream(u"refused by the nameserver"_s);
    default:
        return ProviderError::upstream(lookup.errorString());
    }
}

} // namespace

QString DNSRecordProvider::mismatchText(const QString &expected, const QStringList &answers)
{
    return u"expected "_s + expected + u" got "_s + answers.join(u", "_s);
}

QStringList DNSRecordProvider::answers(const QDnsLookup &lookup, DNSRecordType type)
{
    QStringList texts;
    switch (type) {
    case DNSRecordType::A:
    case DNSRecordType::AAAA:
        for (const QDnsHostAddressRecord &record : lookup.hostAddressRecords())
            texts.append(record.value().toString());
        break;
    case DNSRecordType::CNAME:
        for (const QDnsDomainNameRecord &record : lookup.canonicalNameRecords())
            texts.append(bareName(record.value()));
        break;
    case DNSRecordType::MX:
        for (const QDnsMailExchangeRecord &record : lookup.mailExchangeRecords())
            texts.append(QString::number(record.preference()) + u' ' + bareName(record.exchange()));
        break;
    case DNSRecordType::TXT:
        for (const QDnsTextRecord &record : lookup.textRecords()) {
            QString text;
            for (const QByteArray &piece : record.values())
                text += QString::fromUtf8(piece);
            texts.append(text);
        }
        break;
    case DNSRecordType::SRV:
        for (const QDnsServiceRecord &record : lookup.serviceRecords()) {
            texts.append(u"%1 %2 %3 %4"_s.arg(record.priority())
                             .arg(record.weight())
                             .arg(record.port())
                             .arg(bareName(record.target())));
        }
        break;
    }
    return texts;
}

bool DNSRecordProvider::matches(const QString &answer, const QString &expected, DNSRecordType type)
{
    switch (type) {
    case DNSRecordType::A:
    case DNSRecordType::AAAA: {
        const QHostAddress wanted(expected);
        return !wanted.isNull() && wanted.isEqual(QHostAddress(answer), QHostAddress::StrictConversion);
    }
    case DNSRecordType::CNAME:
        return sameName(answer, expected);
    case DNSRecordType::MX:
    case DNSRecordType::SRV:
        return sameName(answer, expected.simplified()) || sameName(answer.section(u' ', -1), expected);
    case DNSRecordType::TXT:
        return answer == expected;
    }
    return false;
}

DNSRecordProvider::DNSRecordProvider(const AnySourceConfig &config)
    : m_config([&] {
        const auto *dns = config.as<DNSRecordConfig>();
        if (!dns)
            throw ProviderError::misconfigured(u"expected dnsRecord config"_s);
        return *dns;
    }())
{ }

QCoro::Task<SourceSnapshot> DNSRecordProvider::fetch(StopToken stop)
{
    const DNSRecordConfig config = m_config;
    if (config.name.trimmed().isEmpty())
        throw ProviderError::misconfigured(u"no name to look up"_s);
    QHostAddress nameserver;
    if (config.nameserver && !config.nameserver->isEmpty()) {
        nameserver = QHostAddress(config.nameserver->trimmed());
        if (nameserver.isNull())
            throw ProviderError::misconfigured(u"bad nameserver: "_s + *config.nameserver);
    }
    if (stop && stop->isStopped())
        throw Cancelled();

    CheckResult row{JsonRead::uuidText(config.id), config.displayName, ServiceStatus::Down, {}, {}};
    // The lookup runs on a thread of Qt's and hands its answer back through a blocking queued call:
    // deleting an abandoned one cuts that call off (see DnsSRVResolver).
    const auto lookup = std::make_unique<QDnsLookup>(lookupType(config.recordType), config.name.trimmed());
    if (!nameserver.isNull())
        lookup->setNameserver(nameserver);
    QElapsedTimer clock;
    clock.start();
    int why = 0;
    {
        Wakeup wakeup(lookupTimeout);
        wakeup.on(lookup.get(), &QDnsLookup::finished, Finished);
        if (stop)
            wakeup.on(stop.get(), &StopSource::stopped, Stopped);
        lookup->lookup();
        why = co_await wakeup;
    }
    if (why == Stopped)
        throw Cancelled();
    if (why != Finished) {
        row.detail = u"timed out"_s;
        co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {row}};
    }
    row.latencyMs = double(clock.nsecsElapsed()) / 1e6;
    const QStringList found = answers(*lookup, config.recordType);
    if (lookup->error() != QDnsLookup::NoError) {
        row.detail = lookupError(*lookup).description();
    } else if (found.isEmpty()) {
        row.detail = QString::fromLatin1(noAnswerText);
    } else if (config.expectedValue && !config.expectedValue->isEmpty()
               && std::none_of(found.cbegin(), found.cend(), [&](const QString &answer) {
                      return matches(answer, *config.expectedValue, config.recordType);
                  })) {
        row.detail = mismatchText(*config.expectedValue, found);
    } else {
        row.status = ServiceStatus::Up;
    }
    co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {row}};
}

} // namespace tw
