#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// A deliberately tiny path language into a JSON reply: keys and array indices joined by dots
// ("servers.0.name"), no wildcards, filters or quoting.
namespace tw::JSONPathEvaluator {

// The text of the value at `path`: strings as they are, true/false, numbers in plain form; nothing
// for objects, arrays, null, a missing step, or a body that is not a JSON object or array.
std::optional<QString> evaluate(const QString &path, const QByteArray &data);

} // namespace tw::JSONPathEvaluator
