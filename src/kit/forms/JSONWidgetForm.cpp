#include "kit/forms/FormText.h"
#include "kit/forms/SourceFormState.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// Values picked out of any JSON endpoint by dot paths, with an optional bearer token.
class JSONWidgetForm final : public SourceKindForm
{
public:
    JSONWidgetForm()
        : SourceKindForm(JSONWidgetConfig::info)
    { }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        const auto &c = *source.as<JSONWidgetConfig>();
        form.baseURL = c.url;
        form.jsonFields = c.fields;
        form.hasStoredSecret = c.bearerTokenRef && !c.bearerTokenRef->isEmpty();
    }

    bool filled(const SourceFormState &form) const override
    {
        return !form.baseURL.isEmpty() && !form.jsonFields.isEmpty();
    }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        JSONWidgetConfig c;
        static_cast<SourceConfig &>(c) = common;
        c.url = form.url();
        c.fields = form.jsonFields;
        c.bearerTokenRef = form.credentialRef(common.id);
        return c;
    }

    bool storesSecret(const SourceFormState &) const override { return true; }

    QString missing(const SourceFormState &form) const override
    {
        if (form.baseURL.isEmpty())
            return u"Give the endpoint's address with --url."_s;
        return u"Give at least one --field 'label = dot.path'."_s;
    }

    QString usage() const override
    {
        return u"--url URL --field 'label = dot.path' [--field …] [--secret-stdin]   (bearer token)"_s;
    }

    QList<Option> options() const override
    {
        return {textOption(u"--url"_s, &SourceFormState::baseURL),
                {u"--field"_s, [](SourceFormState &form, const QString &value) -> std::optional<QString> {
                     const auto parsed = SourceFormState::parseFields(value);
                     if (parsed.size() != 1)
                         return u"--field takes 'label = path', got '"_s + value + u'\'';
                     form.jsonFields.append(parsed.first());
                     return std::nullopt;
                 }}};
    }
};

} // namespace

TW_DEFINE_KIND_FORM(JSONWidget)

} // namespace tw
