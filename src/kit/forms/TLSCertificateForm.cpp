#include "kit/forms/FormText.h"
#include "kit/forms/SourceFormState.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// The certificate a TLS server presents, warned about some days before it expires.
class TLSCertificateForm final : public SourceKindForm
{
public:
    TLSCertificateForm()
        : SourceKindForm(TLSCertificateConfig::info)
    { }

    void start(SourceFormState &form) const override
    {
        form.port = QString::number(TLSCertificateConfig::defaultPort);
        form.warningDays = QString::number(TLSCertificateConfig::defaultWarningDays);
    }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        const auto &c = *source.as<TLSCertificateConfig>();
        form.host = c.host;
        form.port = QString::number(c.port);
        form.sniName = c.sniName.value_or(QString());
        form.warningDays = QString::number(c.warningDays);
    }

    std::optional<QString> problem(const SourceFormState &form) const override
    {
        const QString sni = form.sniName.trimmed();
        if (!sni.isEmpty() && !FormText::isPlainName(sni))
            return u"Enter the certificate name as a plain host name, or leave it blank."_s;
        if (!warningDays(form))
            return u"Enter a warning period between 1 and %1 days."_s.arg(TLSCertificateConfig::maxWarningDays);
        return std::nullopt;
    }

    bool filled(const SourceFormState &form) const override { return form.hostAndPort().has_value(); }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        TLSCertificateConfig c;
        static_cast<SourceConfig &>(c) = common;
        std::tie(c.host, c.port) = *form.hostAndPort();
        c.sniName = FormText::nonEmpty(form.sniName.trimmed());
        c.warningDays = *warningDays(form);
        return c;
    }

    QString missing(const SourceFormState &) const override
    {
        return u"Give the server with --host (host or host:port); the port is 443 unless --port says otherwise."_s;
    }

    QString usage() const override { return u"--host HOST[:PORT] [--port PORT] [--sni NAME] [--warn-days 1-365]"_s; }

    QList<Option> options() const override
    {
        return {textOption(u"--host"_s, &SourceFormState::host),
                portOption(),
                textOption(u"--sni"_s, &SourceFormState::sniName),
                textOption(u"--warn-days"_s, &SourceFormState::warningDays)};
    }

private:
    static std::optional<qint64> warningDays(const SourceFormState &form)
    {
        return FormText::integerIn(form.warningDays, 1, TLSCertificateConfig::maxWarningDays);
    }
};

} // namespace

TW_DEFINE_KIND_FORM(TLSCertificate)

} // namespace tw
