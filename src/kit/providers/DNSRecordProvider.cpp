#include "DNSRecordProvider.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/JsonRead.h"
#include "kit/transport/DnsResolver.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QtEndian>

#include <ares.h>
#include <arpa/nameser.h>
#include <array>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// The DNS type numbers.
int lookupType(DNSRecordType type)
{
    switch (type) {
    case DNSRecordType::A:
        return ns_t_a;
    case DNSRecordType::AAAA:
        return ns_t_aaaa;
    case DNSRecordType::CNAME:
        return ns_t_cname;
    case DNSRecordType::MX:
        return ns_t_mx;
    case DNSRecordType::TXT:
        return ns_t_txt;
    case DNSRecordType::SRV:
        return ns_t_srv;
    }
    return ns_t_a;
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

const unsigned char *bytes(const QByteArray &message)
{
    return reinterpret_cast<const unsigned char *>(message.constData());
}

QString expanded(const unsigned char *at, const QByteArray &message, long *length)
{
    char *name = nullptr;
    if (ares_expand_name(at, bytes(message), int(message.size()), &name, length) != ARES_SUCCESS)
        return {};
    const QString text = QString::fromUtf8(name);
    ares_free_string(name);
    return text;
}

// c-ares parses every type asked here but CNAME, whose targets are read off the answer section.
QStringList canonicalNames(const QByteArray &message)
{
    QStringList names;
    const qsizetype size = message.size();
    if (size < NS_HFIXEDSZ)
        return names;
    const unsigned char *data = bytes(message);
    const auto u16 = [data](qsizetype at) {
        return int(data[at] << 8 | data[at + 1]);
    };
    const int questions = u16(4);
    const int records = u16(6);
    qsizetype at = NS_HFIXEDSZ;
    long length = 0;
    for (int i = 0; i < questions; ++i) {
        if (expanded(data + at, message, &length).isNull() || at + length + NS_QFIXEDSZ > size)
            return names;
        at += length + NS_QFIXEDSZ;
    }
    for (int i = 0; i < records; ++i) {
        if (expanded(data + at, message, &length).isNull() || at + length + NS_RRFIXEDSZ > size)
            return names;
        at += length;
        const int type = u16(at);
        const int dataLength = u16(at + 8);
        at += NS_RRFIXEDSZ;
        if (at + dataLength > size)
            return names;
        if (type == ns_t_cname) {
            const QString target = expanded(data + at, message, &length);
            if (!target.isNull())
                names.append(bareName(target));
        }
        at += dataLength;
    }
    return names;
}

} // namespace

QString DNSRecordProvider::mismatchText(const QString &expected, const QStringList &answers)
{
    return u"expected "_s + expected + u" got "_s + answers.join(u", "_s);
}

QStringList DNSRecordProvider::answers(const QByteArray &message, DNSRecordType type)
{
    QStringList texts;
    const unsigned char *data = bytes(message);
    const int size = int(message.size());
    switch (type) {
    case DNSRecordType::A: {
        std::array<ares_addrttl, 64> found{};
        int count = int(found.size());
        if (ares_parse_a_reply(data, size, nullptr, found.data(), &count) == ARES_SUCCESS) {
            for (int i = 0; i < count; ++i)
                texts.append(QHostAddress(qFromBigEndian(found[i].ipaddr.s_addr)).toString());
        }
        break;
    }
    case DNSRecordType::AAAA: {
        std::array<ares_addr6ttl, 64> found{};
        int count = int(found.size());
        if (ares_parse_aaaa_reply(data, size, nullptr, found.data(), &count) == ARES_SUCCESS) {
            for (int i = 0; i < count; ++i)
                texts.append(QHostAddress(found[i].ip6addr._S6_un._S6_u8).toString());
        }
        break;
    }
    case DNSRecordType::CNAME:
        texts = canonicalNames(message);
        break;
    case DNSRecordType::MX: {
        ares_mx_reply *records = nullptr;
        if (ares_parse_mx_reply(data, size, &records) == ARES_SUCCESS) {
            for (const ares_mx_reply *record = records; record; record = record->next)
                texts.append(QString::number(record->priority) + u' ' + bareName(QString::fromUtf8(record->host)));
            ares_free_data(records);
        }
        break;
    }
    case DNSRecordType::TXT: {
        ares_txt_ext *records = nullptr;
        if (ares_parse_txt_reply_ext(data, size, &records) == ARES_SUCCESS) {
            // The strings of one record arrive one by one; record_start marks where a record begins.
            for (const ares_txt_ext *piece = records; piece; piece = piece->next) {
                const QString text =
                    QString::fromUtf8(reinterpret_cast<const char *>(piece->txt), qsizetype(piece->length));
                if (piece->record_start || texts.isEmpty())
                    texts.append(text);
                else
                    texts.last() += text;
            }
            ares_free_data(records);
        }
        break;
    }
    case DNSRecordType::SRV: {
        ares_srv_reply *records = nullptr;
        if (ares_parse_srv_reply(data, size, &records) == ARES_SUCCESS) {
            for (const ares_srv_reply *record = records; record; record = record->next) {
                texts.append(u"%1 %2 %3 %4"_s.arg(record->priority)
                                 .arg(record->weight)
                                 .arg(record->port)
                                 .arg(bareName(QString::fromUtf8(record->host))));
            }
            ares_free_data(records);
        }
        break;
    }
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

DNSRecordProvider::DNSRecordProvider(const AnySourceConfig &config, std::chrono::milliseconds timeout)
    : m_config([&] {
        const auto *dns = config.as<DNSRecordConfig>();
        if (!dns)
            throw ProviderError::misconfigured(u"expected dnsRecord config"_s);
        return *dns;
    }())
    , m_timeout(timeout)
{ }

QCoro::Task<SourceSnapshot> DNSRecordProvider::fetch(StopToken stop)
{
    const DNSRecordConfig config = m_config;
    const std::chrono::milliseconds timeout = m_timeout;
    if (config.name.trimmed().isEmpty())
        throw ProviderError::misconfigured(u"no name to look up"_s);
    std::optional<Nameserver> nameserver;
    if (config.nameserver && !config.nameserver->trimmed().isEmpty()) {
        nameserver = Nameserver::parse(*config.nameserver);
        if (!nameserver)
            throw ProviderError::misconfigured(u"bad nameserver: "_s + *config.nameserver);
    }
    if (stop && stop->isStopped())
        throw Cancelled();

    CheckResult row{JsonRead::uuidText(config.id), config.displayName, ServiceStatus::Down, {}, {}, {}};
    QElapsedTimer clock;
    clock.start();
    const DnsReply reply =
        co_await DnsResolver::query(config.name.trimmed(), lookupType(config.recordType), timeout, stop, nameserver);
    if (reply.status == DnsStatus::TimedOut) {
        row.detail = reply.text();
        co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {row}};
    }
    row.latencyMs = double(clock.nsecsElapsed()) / 1e6;
    const QStringList found =
        reply.status == DnsStatus::Answered ? answers(reply.message, config.recordType) : QStringList();
    if (reply.status != DnsStatus::Answered && reply.status != DnsStatus::NoData) {
        row.detail = reply.text();
    } else if (found.isEmpty()) {
        // Also an answer that holds only other types, as a CNAME chain for an A question that
        // ends nowhere.
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

std::unique_ptr<SourceProvider> makeProvider(const DNSRecordConfig &, const ProviderContext &context)
{
    return std::make_unique<DNSRecordProvider>(context.source);
}

} // namespace tw
