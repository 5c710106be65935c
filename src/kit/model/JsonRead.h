#pragma once

#include "kit/model/DecodeError.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QUuid>

#include <optional>

// Strict readers for the record JSON forms: a required key that is missing, or any key of the
// wrong type, throws DecodeError. Optional readers treat a missing key and null alike.
namespace tw::JsonRead {

QJsonObject object(const QJsonValue &value, QStringView what);
QJsonArray array(const QJsonObject &object, QStringView key);
QString string(const QJsonObject &object, QStringView key);
double number(const QJsonObject &object, QStringView key);
qint64 integer(const QJsonObject &object, QStringView key);
bool boolean(const QJsonObject &object, QStringView key);
QUuid uuid(const QJsonObject &object, QStringView key);

std::optional<QString> optionalString(const QJsonObject &object, QStringView key);
std::optional<double> optionalNumber(const QJsonObject &object, QStringView key);
std::optional<qint64> optionalInteger(const QJsonObject &object, QStringView key);
std::optional<bool> optionalBoolean(const QJsonObject &object, QStringView key);
std::optional<QUuid> optionalUuid(const QJsonObject &object, QStringView key);

// The one-key wrapping of tagged unions ({"case":{…}}): of the keys in `cases`, exactly one must be
// present; unknown keys are ignored. Returns the index into `cases`.
qsizetype singleCase(const QJsonObject &object, std::initializer_list<QStringView> cases);

// The "_0" payload of a wrapped case.
QJsonObject payload(const QJsonObject &wrapper, QStringView caseName);

// Canonical upper-case text of a UUID, as every file and key uses it.
QString uuidText(const QUuid &id);

} // namespace tw::JsonRead

namespace tw::JsonRead {
// Parses a whole document with Qt's default settings; throws DecodeError with the parser's message.
QJsonDocument document(const QByteArray &bytes);
} // namespace tw::JsonRead
