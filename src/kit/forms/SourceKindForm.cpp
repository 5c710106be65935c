#include "SourceKindForm.h"

#include "kit/forms/SourceFormState.h"

#include <array>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

using Payload = AnySourceConfig::Payload;

template<std::size_t... I>
std::array<const SourceKindForm *, AnySourceConfig::kindCount> kindForms(std::index_sequence<I...>)
{
    return {&kindForm(std::type_identity<std::variant_alternative_t<I, Payload>>())...};
}

#define TW_KIND_VIEW(Kind) QStringLiteral(#Kind "Form"),

} // namespace

const SourceKindForm &SourceKindForm::of(AnySourceConfig::Kind kind)
{
    static const auto forms = kindForms(std::make_index_sequence<AnySourceConfig::kindCount>());
    return *forms.at(static_cast<std::size_t>(kind));
}

QString SourceKindForm::view(AnySourceConfig::Kind kind)
{
    static const std::array<QString, AnySourceConfig::kindCount> views{TW_SOURCE_KINDS(TW_KIND_VIEW)};
    return views.at(static_cast<std::size_t>(kind));
}

SourceKindForm::Option SourceKindForm::textOption(const QString &flag, QString SourceFormState::*field)
{
    return {flag, [field](SourceFormState &form, const QString &value) -> std::optional<QString> {
                form.*field = value;
                return std::nullopt;
            }};
}

SourceKindForm::Option SourceKindForm::portOption()
{
    return {u"--port"_s, [](SourceFormState &form, const QString &value) -> std::optional<QString> {
                form.editPort(value);
                return std::nullopt;
            }};
}

} // namespace tw
