#include "FormText.h"

#include <QHostAddress>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace tw::FormText {

std::optional<qint64> strictInteger(QStringView text)
{
    const bool signed_ = text.startsWith(u'+') || text.startsWith(u'-');
    const QStringView digits = signed_ ? text.mid(1) : text;
    if (digits.isEmpty() || digits.size() > 18)
        return std::nullopt;
    for (QChar c : digits) {
        if (c < u'0' || c > u'9')
            return std::nullopt;
    }
    const qint64 value = digits.toLongLong();
    return text.startsWith(u'-') ? -value : value;
}

std::optional<qint64> integerIn(const QString &text, qint64 low, qint64 high)
{
    const auto value = strictInteger(text.trimmed());
    if (!value || *value < low || *value > high)
        return std::nullopt;
    return value;
}

std::optional<qint64> portNumber(QStringView text)
{
    const auto value = strictInteger(text);
    if (!value || *value < 1 || *value > 65535)
        return std::nullopt;
    return value;
}

bool isPlainName(const QString &text)
{
    static const QRegularExpression forbidden(u"[\\s:/@]"_s);
    return !text.isEmpty() && !forbidden.match(text).hasMatch();
}

bool isIPv6Literal(const QString &text)
{
    return QHostAddress(text).protocol() == QAbstractSocket::IPv6Protocol;
}

std::optional<QString> nonEmpty(const QString &text)
{
    if (text.isEmpty())
        return std::nullopt;
    return text;
}

} // namespace tw::FormText
