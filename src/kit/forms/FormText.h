#pragma once

#include <QString>

#include <optional>

// The small readings of typed text that the forms of several kinds share.
namespace tw::FormText {

// A base-10 integer with an optional sign and nothing else: no blanks, no fraction, no "0x".
std::optional<qint64> strictInteger(QStringView text);
// A whole number within [low, high] after trimming, or nothing.
std::optional<qint64> integerIn(const QString &text, qint64 low, qint64 high);
std::optional<qint64> portNumber(QStringView text);
// A bare name: no blanks, no scheme, no port, no path.
bool isPlainName(const QString &text);
bool isIPv6Literal(const QString &text);
// Nothing for empty text, so that blank optional fields are not saved.
std::optional<QString> nonEmpty(const QString &text);

} // namespace tw::FormText
