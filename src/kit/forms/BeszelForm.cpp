#include "kit/forms/SourceFormState.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// A Beszel hub, read with its API token.
class BeszelForm final : public SourceKindForm
{
public:
    BeszelForm()
        : SourceKindForm(BeszelConfig::info)
    { }

    void start(SourceFormState &form) const override
    {
        form.pollSeconds = QString::number(static_cast<qint64>(PollInterval::beszelDefault));
    }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        const auto &c = *source.as<BeszelConfig>();
        form.baseURL = c.baseURL;
        form.hasStoredSecret = !c.tokenRef.isEmpty();
    }

    bool filled(const SourceFormState &form) const override { return !form.baseURL.isEmpty() && form.hasSecret(); }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        BeszelConfig c;
        static_cast<SourceConfig &>(c) = common;
        c.baseURL = form.url();
        c.tokenRef = form.credentialRef(common.id).value_or(QString());
        return c;
    }

    bool storesSecret(const SourceFormState &) const override { return true; }

    std::optional<QString> emptyTestHint(const SourceFormState &) const override
    {
        // Only a reply that is not the hub's record list reads as nothing.
        return u"Check that the URL is the Beszel hub itself, not a page in front of it."_s;
    }

    QString missing(const SourceFormState &form) const override
    {
        if (form.baseURL.isEmpty())
            return u"Give the hub's address with --url."_s;
        return u"A Beszel hub needs its API token: pass --secret-stdin and write the token to standard input."_s;
    }

    QString usage() const override { return u"--url URL --secret-stdin            (the API token)"_s; }

    QList<Option> options() const override { return {textOption(u"--url"_s, &SourceFormState::baseURL)}; }
};

} // namespace

TW_DEFINE_KIND_FORM(Beszel)

} // namespace tw
