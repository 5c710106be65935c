#pragma once

#include "kit/base/FailureKind.h"

#include <QString>

#include <optional>
#include <stdexcept>

namespace tw {

// Why a poll failed, with the final text the user reads in the source's row.
class ProviderError : public std::runtime_error
{
public:
    enum class Kind { MissingCredential, Misconfigured, Upstream };

    static ProviderError missingCredential(const QString &what) { return {Kind::MissingCredential, what, {}}; }
    static ProviderError misconfigured(const QString &text) { return {Kind::Misconfigured, text, {}}; }
    // An upstream failure in words of its own: the same as failure(FailureKind::Other, text).
    static ProviderError upstream(const QString &text) { return failure(FailureKind::Other, text); }
    static ProviderError failure(FailureKind what, const QString &detail = {})
    {
        return {Kind::Upstream, failureText(what, detail), what};
    }

    Kind kind() const { return m_kind; }
    // What went wrong on the way, for an upstream error; Other when it came as words only.
    std::optional<FailureKind> failure() const { return m_failure; }
    // The payload: the name of what is missing, or the message as it stands.
    QString text() const { return m_text; }
    // What the user reads: "missing credential: kuma" or the text itself.
    QString description() const;

    bool operator==(const ProviderError &other) const
    {
        return m_kind == other.m_kind && m_text == other.m_text && m_failure == other.m_failure;
    }

private:
    ProviderError(Kind kind, const QString &text, std::optional<FailureKind> failure);

    Kind m_kind;
    QString m_text;
    std::optional<FailureKind> m_failure;
};

} // namespace tw
