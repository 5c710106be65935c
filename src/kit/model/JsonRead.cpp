#include "JsonRead.h"

#include <cmath>

namespace tw::JsonRead {

namespace {

QJsonValue required(const QJsonObject &object, QStringView key)
{
    const auto it = object.constFind(key);
    if (it == object.constEnd())
        throw DecodeError(QStringLiteral("No value associated with key \"%1\".").arg(key));
    return *it;
}

[[noreturn]] void mismatch(QStringView key, QStringView expected)
{
    throw DecodeError(QStringLiteral("Expected %1 for key \"%2\".").arg(expected, key));
}

QJsonValue present(const QJsonObject &object, QStringView key)
{
    const auto it = object.constFind(key);
    return it == object.constEnd() ? QJsonValue(QJsonValue::Null) : *it;
}

qint64 toInteger(const QJsonValue &value, QStringView key)
{
    if (!value.isDouble())
        mismatch(key, u"an integer");
    const double d = value.toDouble();
    // 2^63 itself is not representable as qint64; the bound is exclusive.
    if (!std::isfinite(d) || d != std::trunc(d) || d < -9223372036854775808.0 || d >= 9223372036854775808.0)
        mismatch(key, u"an integer");
    return static_cast<qint64>(d);
}

} // namespace

QJsonObject object(const QJsonValue &value, QStringView what)
{
    if (!value.isObject())
        throw DecodeError(QStringLiteral("Expected an object for %1.").arg(what));
    return value.toObject();
}

QJsonArray array(const QJsonObject &object, QStringView key)
{
    const QJsonValue v = required(object, key);
    if (!v.isArray())
        mismatch(key, u"an array");
    return v.toArray();
}

QString string(const QJsonObject &object, QStringView key)
{
    const QJsonValue v = required(object, key);
    if (!v.isString())
        mismatch(key, u"a string");
    return v.toString();
}

double number(const QJsonObject &object, QStringView key)
{
    const QJsonValue v = required(object, key);
    if (!v.isDouble())
        mismatch(key, u"a number");
    return v.toDouble();
}

qint64 integer(const QJsonObject &object, QStringView key)
{
    return toInteger(required(object, key), key);
}

bool boolean(const QJsonObject &object, QStringView key)
{
    const QJsonValue v = required(object, key);
    if (!v.isBool())
        mismatch(key, u"a boolean");
    return v.toBool();
}

QUuid uuid(const QJsonObject &object, QStringView key)
{
    const QUuid id = QUuid::fromString(string(object, key));
    if (id.isNull())
        mismatch(key, u"a UUID string");
    return id;
}

std::optional<QString> optionalString(const QJsonObject &object, QStringView key)
{
    const QJsonValue v = present(object, key);
    if (v.isNull())
        return std::nullopt;
    if (!v.isString())
        mismatch(key, u"a string");
    return v.toString();
}

std::optional<QUuid> optionalUuid(const QJsonObject &object, QStringView key)
{
    const std::optional<QString> text = optionalString(object, key);
    if (!text)
        return std::nullopt;
    const QUuid id = QUuid::fromString(*text);
    if (id.isNull())
        mismatch(key, u"a UUID string");
    return id;
}

std::optional<double> optionalNumber(const QJsonObject &object, QStringView key)
{
    const QJsonValue v = present(object, key);
    if (v.isNull())
        return std::nullopt;
    if (!v.isDouble())
        mismatch(key, u"a number");
    return v.toDouble();
}

std::optional<qint64> optionalInteger(const QJsonObject &object, QStringView key)
{
    const QJsonValue v = present(object, key);
    if (v.isNull())
        return std::nullopt;
    return toInteger(v, key);
}

std::optional<bool> optionalBoolean(const QJsonObject &object, QStringView key)
{
    const QJsonValue v = present(object, key);
    if (v.isNull())
        return std::nullopt;
    if (!v.isBool())
        mismatch(key, u"a boolean");
    return v.toBool();
}

qsizetype singleCase(const QJsonObject &object, std::initializer_list<QStringView> cases)
{
    qsizetype found = -1;
    int count = 0;
    qsizetype index = 0;
    for (QStringView name : cases) {
        if (object.contains(name)) {
            found = index;
            ++count;
        }
        ++index;
    }
    if (count != 1)
        throw DecodeError(QStringLiteral("Invalid number of keys found, expected one."));
    return found;
}

QJsonObject payload(const QJsonObject &wrapper, QStringView caseName)
{
    const QJsonObject inner = object(wrapper.value(caseName), caseName);
    return object(required(inner, u"_0"), u"_0");
}

QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace tw::JsonRead

namespace tw::JsonRead {

QJsonDocument document(const QByteArray &bytes)
{
    QJsonParseError error;
    QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        throw DecodeError(QStringLiteral("The given data was not valid JSON: %1 at offset %2.")
                              .arg(error.errorString())
                              .arg(error.offset));
    return doc;
}

} // namespace tw::JsonRead
