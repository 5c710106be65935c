#include "kit/forms/FormText.h"
#include "kit/forms/SourceFormState.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// Echoes to a host, through the kernel's unprivileged ping sockets.
class ICMPPingForm final : public SourceKindForm
{
public:
    ICMPPingForm()
        : SourceKindForm(ICMPPingConfig::info)
    { }

    void start(SourceFormState &form) const override { form.pingCount = QString::number(ICMPPingConfig::defaultCount); }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        const auto &c = *source.as<ICMPPingConfig>();
        form.host = c.host;
        form.pingCount = QString::number(c.count);
    }

    std::optional<QString> problem(const SourceFormState &form) const override
    {
        if (!count(form))
            return u"Enter a ping count between %1 and %2."_s.arg(ICMPPingConfig::minCount)
                .arg(ICMPPingConfig::maxCount);
        return std::nullopt;
    }

    bool filled(const SourceFormState &form) const override { return !form.host.trimmed().isEmpty(); }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        ICMPPingConfig c;
        static_cast<SourceConfig &>(c) = common;
        c.host = form.host.trimmed();
        c.count = *count(form);
        return c;
    }

    bool hostTakesPort() const override { return false; }

    QString missing(const SourceFormState &) const override { return u"Give the host to ping with --host."_s; }
    QString usage() const override { return u"--host HOST [--count 1-5]"_s; }

    QList<Option> options() const override
    {
        return {textOption(u"--host"_s, &SourceFormState::host), textOption(u"--count"_s, &SourceFormState::pingCount)};
    }

private:
    static std::optional<qint64> count(const SourceFormState &form)
    {
        return FormText::integerIn(form.pingCount, ICMPPingConfig::minCount, ICMPPingConfig::maxCount);
    }
};

} // namespace

TW_DEFINE_KIND_FORM(ICMPPing)

} // namespace tw
