#include "LooseJson.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cmath>

namespace tw::LooseJson {

std::optional<qint64> intText(QStringView text)
{
    const QStringView digits = text.startsWith(u'+') || text.startsWith(u'-') ? text.sliced(1) : text;
    if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), [](QChar c) { return c >= u'0' && c <= u'9'; }))
        return std::nullopt;
    bool ok = false;
    const qint64 number = text.toLongLong(&ok, 10);
    return ok ? std::optional(number) : std::nullopt;
}

std::optional<qint64> intValue(const QJsonValue &value)
{
    if (value.isDouble()) {
        const double number = std::trunc(value.toDouble());
        if (!std::isfinite(number) || number >= 9.2233720368547758e18 || number < -9.2233720368547758e18)
            return std::nullopt;
        return qint64(number);
    }
    if (value.isString())
        return intText(value.toString());
    return std::nullopt;
}

std::optional<QString> stringValue(const QJsonValue &value)
{
    if (value.isString() && !value.toString().isEmpty())
        return value.toString();
    return std::nullopt;
}

QStringList playerNames(const QJsonValue &list)
{
    QStringList names;
    for (const QJsonValue &entry : list.toArray()) {
        if (const auto name = stringValue(entry.toObject().value(QStringLiteral("name"))))
            names.append(*name);
    }
    return names;
}

} // namespace tw::LooseJson
