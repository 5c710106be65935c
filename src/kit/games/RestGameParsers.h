#pragma once

#include "kit/games/GameDefinition.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>

#include <optional>

// What the three HTTP-speaking game families (Palworld, FiveM and RedM, TShock) report, read from
// their JSON replies. A reply that is absent, not JSON or not of the expected shape is simply one
// reply fewer: only when nothing usable is left does a parser fail.
namespace tw::RestGames {

// The body as a JSON object; nothing for no body, invalid JSON or any other shape.
std::optional<QJsonObject> objectReply(const std::optional<QByteArray> &body);
// The body as a JSON list whose entries are all objects; nothing otherwise.
std::optional<QJsonArray> objectListReply(const std::optional<QByteArray> &body);

// The replies of /v1/api/info, /v1/api/players and /v1/api/metrics. Fails with
// ProviderError::upstream("malformed reply") when all three are missing.
GameFacts parsePalworld(const std::optional<QJsonObject> &info,
                        const std::optional<QJsonObject> &players,
                        const std::optional<QJsonObject> &metrics);
// The replies of /info.json and /players.json; fails as above when both are missing. The
// placeholder entries served without the players token count, but give no names.
GameFacts parseFiveM(const std::optional<QJsonObject> &info, const std::optional<QJsonArray> &players);
// The reply of /v2/server/status?players=true; fails as above when it is missing, and with the
// server's own error text when the body's "status" is not 200 (misconfigured for 401 and 403).
GameFacts parseTShock(const std::optional<QJsonObject> &status);

} // namespace tw::RestGames
