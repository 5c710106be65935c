#pragma once

#include <QString>

#include <stdexcept>

namespace tw {

// Why a poll failed, with the final text the user reads in the source's row.
class ProviderError : public std::runtime_error
{
public:
    enum class Kind { MissingCredential, Misconfigured, Upstream };

    static ProviderError missingCredential(const QString &what) { return {Kind::MissingCredential, what}; }
    static ProviderError misconfigured(const QString &text) { return {Kind::Misconfigured, text}; }
    static ProviderError upstream(const QString &text) { return {Kind::Upstream, text}; }

    Kind kind() const { return m_kind; }
    // The payload: the name of what is missing, or the message as it stands.
    QString text() const { return m_text; }
    // What the user reads: "missing credential: kuma" or the text itself.
    QString description() const;

    bool operator==(const ProviderError &other) const { return m_kind == other.m_kind && m_text == other.m_text; }

private:
    ProviderError(Kind kind, const QString &text);

    Kind m_kind;
    QString m_text;
};

} // namespace tw
