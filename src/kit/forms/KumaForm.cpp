#include "kit/forms/FormText.h"
#include "kit/forms/SourceFormState.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// Uptime Kuma: a status page read without a secret, or the metrics page with a user and password.
class KumaForm final : public SourceKindForm
{
public:
    KumaForm()
        : SourceKindForm(KumaConfig::info)
    { }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        const auto &c = *source.as<KumaConfig>();
        form.baseURL = c.baseURL;
        form.username = c.username.value_or(QString());
        form.statusPageSlug = c.statusPageSlug.value_or(QString());
        form.hasStoredSecret = c.passwordRef && !c.passwordRef->isEmpty();
    }

    bool filled(const SourceFormState &form) const override
    {
        return !form.baseURL.isEmpty()
            && ((!form.username.isEmpty() && form.hasSecret()) || !form.statusPageSlug.isEmpty());
    }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        KumaConfig c;
        static_cast<SourceConfig &>(c) = common;
        c.baseURL = form.url();
        c.username = FormText::nonEmpty(form.username);
        c.passwordRef = form.credentialRef(common.id);
        c.statusPageSlug = FormText::nonEmpty(form.statusPageSlug);
        return c;
    }

    bool storesSecret(const SourceFormState &) const override { return true; }

    std::optional<QString> emptyTestHint(const SourceFormState &form) const override
    {
        // A user with a secret reads the metrics page first; otherwise the status page is read, and a
        // page that lists no monitor at all already fails with its own text.
        if (!form.username.isEmpty() && form.hasSecret())
            return u"Check that Uptime Kuma has monitors set up."_s;
        return u"Check that the status page's monitors are active and have run a check."_s;
    }

    QString missing(const SourceFormState &form) const override
    {
        if (form.baseURL.isEmpty())
            return u"Give the server's address with --url."_s;
        return u"Give a status page with --slug, or a metrics user with --username and its password with "
               "--secret-stdin."_s;
    }

    QString usage() const override { return u"--url URL (--slug SLUG | --username USER --secret-stdin)"_s; }

    QList<Option> options() const override
    {
        return {textOption(u"--url"_s, &SourceFormState::baseURL),
                textOption(u"--username"_s, &SourceFormState::username),
                textOption(u"--slug"_s, &SourceFormState::statusPageSlug)};
    }
};

} // namespace

TW_DEFINE_KIND_FORM(Kuma)

} // namespace tw
