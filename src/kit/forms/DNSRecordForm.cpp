#include "kit/forms/FormText.h"
#include "kit/forms/SourceFormState.h"
#include "kit/transport/Nameserver.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// A name that must resolve, to a given value if one is expected, through a chosen nameserver or the
// system's resolver.
class DNSRecordForm final : public SourceKindForm
{
public:
    DNSRecordForm()
        : SourceKindForm(DNSRecordConfig::info)
    { }

    void start(SourceFormState &form) const override { form.recordType = toText(DNSRecordType::A); }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        const auto &c = *source.as<DNSRecordConfig>();
        form.recordName = c.name;
        form.recordType = toText(c.recordType);
        form.expectedValue = c.expectedValue.value_or(QString());
        form.nameserver = c.nameserver.value_or(QString());
    }

    std::optional<QString> problem(const SourceFormState &form) const override
    {
        if (!form.recordName.isEmpty() && !FormText::isPlainName(form.recordName.trimmed()))
            return u"Enter a DNS name like "_s + QString::fromLatin1(SourceFormState::exampleHostName)
                + u" — no spaces, scheme, or port."_s;
        if (!dnsRecordTypeFromString(form.recordType))
            return u"Choose a record type: A, AAAA, CNAME, MX, TXT or SRV."_s;
        if (!form.nameserver.trimmed().isEmpty() && !Nameserver::parse(form.nameserver))
            return u"Enter the nameserver as an IP address, like "_s
                + QString::fromLatin1(SourceFormState::exampleNameserver)
                + u" (a port after a colon if it is not 53), or leave it blank."_s;
        return std::nullopt;
    }

    bool filled(const SourceFormState &form) const override { return !form.recordName.trimmed().isEmpty(); }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        DNSRecordConfig c;
        static_cast<SourceConfig &>(c) = common;
        c.name = form.recordName.trimmed();
        c.recordType = *dnsRecordTypeFromString(form.recordType);
        c.expectedValue = FormText::nonEmpty(form.expectedValue.trimmed());
        c.nameserver = FormText::nonEmpty(form.nameserver.trimmed());
        return c;
    }

    QString missing(const SourceFormState &) const override { return u"Give the name to look up with --query."_s; }

    QString usage() const override
    {
        return u"--query NAME [--type A|AAAA|CNAME|MX|TXT|SRV] [--expect VALUE] [--nameserver IP[:PORT]]"_s;
    }

    QList<Option> options() const override
    {
        return {textOption(u"--query"_s, &SourceFormState::recordName),
                {u"--type"_s,
                 [](SourceFormState &form, const QString &value) -> std::optional<QString> {
                     form.recordType = value.toUpper();
                     return std::nullopt;
                 }},
                textOption(u"--expect"_s, &SourceFormState::expectedValue),
                textOption(u"--nameserver"_s, &SourceFormState::nameserver)};
    }
};

} // namespace

TW_DEFINE_KIND_FORM(DNSRecord)

} // namespace tw
