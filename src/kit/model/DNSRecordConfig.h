#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

enum class DNSRecordType { A, AAAA, CNAME, MX, TXT, SRV };

// "A", "AAAA", … as files, forms and the command line spell them.
QString toText(DNSRecordType type);
std::optional<DNSRecordType> dnsRecordTypeFromString(QStringView text);
QList<DNSRecordType> allDNSRecordTypes();

// A name that must resolve, and optionally to a given value, through the system's resolver or a
// nameserver of the user's choosing.
struct DNSRecordConfig : SourceConfig
{
    static constexpr SourceKindInfo info{u"dnsRecord", u"DNS Record", u"signpost.right", u"Name resolution"};

    QString name;
    DNSRecordType recordType = DNSRecordType::A;
    std::optional<QString> expectedValue;
    std::optional<QString> nameserver; // an IP address, with a port after a colon if not 53 ("[v6]:port")

    DNSRecordConfig() = default;
    DNSRecordConfig(const QUuid &id, const QString &displayName, const QString &name, DNSRecordType recordType);
    // What it watches, as the settings list shows it: a URL, or "host:port".
    QString target() const;
    bool operator==(const DNSRecordConfig &) const = default;
    QJsonObject toJson() const;
    // Throws DecodeError for a record type it does not know.
    static DNSRecordConfig fromJson(const QJsonValue &value);
};

} // namespace tw
