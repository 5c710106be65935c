#pragma once

#include <QString>

#include <stdexcept>

namespace tw {

// A JSON document that does not have the shape of the record it is read into. The text names the
// offending key, for the user reading a quarantined file.
class DecodeError : public std::runtime_error
{
public:
    explicit DecodeError(const QString &text);
    QString text() const { return QString::fromUtf8(what()); }
};

} // namespace tw
