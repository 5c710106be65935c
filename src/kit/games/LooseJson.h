#pragma once

#include <QJsonValue>
#include <QStringList>

#include <optional>

// Readers of the loose JSON and text that game servers send: a number may come as text, a name may
// be missing.
namespace tw::LooseJson {

// A text of base-10 digits with an optional sign and nothing else (no blanks, no "0x"); nothing on
// overflow.
std::optional<qint64> intText(QStringView text);

// A number (fraction cut off) or a text of base-10 digits with an optional sign; nothing else.
std::optional<qint64> intValue(const QJsonValue &value);
// A non-empty text.
std::optional<QString> stringValue(const QJsonValue &value);
// The non-empty "name" of each object of a list; an absent list gives none.
QStringList playerNames(const QJsonValue &list);

} // namespace tw::LooseJson
