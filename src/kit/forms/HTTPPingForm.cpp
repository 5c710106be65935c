#include "kit/forms/SourceFormState.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// Any web address, up when it answers with a success status.
class HTTPPingForm final : public SourceKindForm
{
public:
    HTTPPingForm()
        : SourceKindForm(HTTPPingConfig::info)
    { }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        form.baseURL = source.as<HTTPPingConfig>()->url;
    }

    bool filled(const SourceFormState &form) const override { return !form.baseURL.isEmpty(); }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        HTTPPingConfig c;
        static_cast<SourceConfig &>(c) = common;
        c.url = form.url();
        return c;
    }

    QString missing(const SourceFormState &) const override { return u"Give the address to check with --url."_s; }
    QString usage() const override { return u"--url URL"_s; }
    QList<Option> options() const override { return {textOption(u"--url"_s, &SourceFormState::baseURL)}; }
};

} // namespace

TW_DEFINE_KIND_FORM(HTTPPing)

} // namespace tw
