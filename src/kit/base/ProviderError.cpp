#include "ProviderError.h"

namespace tw {

namespace {

QString describe(ProviderError::Kind kind, const QString &text)
{
    switch (kind) {
    case ProviderError::Kind::MissingCredential:
        return QStringLiteral("missing credential: ") + text;
    case ProviderError::Kind::Misconfigured:
    case ProviderError::Kind::Upstream:
        return text;
    }
    return text;
}

} // namespace

ProviderError::ProviderError(Kind kind, const QString &text, std::optional<FailureKind> failure)
    : std::runtime_error(describe(kind, text).toStdString())
    , m_kind(kind)
    , m_text(text)
    , m_failure(failure)
{ }

QString ProviderError::description() const
{
    return describe(m_kind, m_text);
}

} // namespace tw
