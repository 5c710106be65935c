#include "JSONPathEvaluator.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <cmath>

namespace tw::JSONPathEvaluator {

std::optional<QString> evaluate(const QString &path, const QByteArray &data)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || document.isNull())
        return std::nullopt;
    QJsonValue current = document.isObject() ? QJsonValue(document.object()) : QJsonValue(document.array());
    for (const QString &piece : path.split(u'.', Qt::SkipEmptyParts)) {
        if (current.isObject() && current.toObject().contains(piece)) {
            current = current.toObject().value(piece);
        } else if (current.isArray()) {
            bool ok = false;
            const qlonglong index = piece.toLongLong(&ok, 10);
            const QJsonArray array = current.toArray();
            if (!ok || piece.trimmed() != piece || index < 0 || index >= array.size())
                return std::nullopt;
            current = array.at(qsizetype(index));
        } else {
            return std::nullopt;
        }
    }
    switch (current.type()) {
    case QJsonValue::String:
        return current.toString();
    case QJsonValue::Bool:
        return current.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Double: {
        const double value = current.toDouble();
        // Whole numbers print without a fraction or an exponent: 42, not 42.0 or 4.2e+01.
        if (value == std::floor(value) && std::abs(value) < 1e15)
            return QString::number(qint64(value));
        return QString::number(value, 'g', QLocale::FloatingPointShortest);
    }
    default:
        return std::nullopt;
    }
}

} // namespace tw::JSONPathEvaluator
