#include "RestGameParsers.h"

#include "kit/base/ProviderError.h"
#include "kit/games/LooseJson.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace tw::RestGames {

namespace {

ProviderError malformed()
{
    return ProviderError::upstream(u"malformed reply"_s);
}

// A list all of whose entries are objects. A list mixing in other values is taken as no list at all,
// so a count is never made from entries that cannot be players.
std::optional<QJsonArray> objectList(const QJsonValue &value)
{
    if (!value.isArray())
        return std::nullopt;
    const QJsonArray list = value.toArray();
    if (!std::all_of(list.begin(), list.end(), [](const QJsonValue &entry) { return entry.isObject(); }))
        return std::nullopt;
    return list;
}

template<typename T>
std::optional<T> firstOf(std::optional<T> first, std::optional<T> second)
{
    return first ? first : second;
}

std::optional<QJsonDocument> document(const std::optional<QByteArray> &body)
{
    if (!body)
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument parsed = QJsonDocument::fromJson(*body, &error);
    if (error.error != QJsonParseError::NoError)
        return std::nullopt;
    return parsed;
}

} // namespace

std::optional<QJsonObject> objectReply(const std::optional<QByteArray> &body)
{
    const std::optional<QJsonDocument> parsed = document(body);
    if (!parsed || !parsed->isObject())
        return std::nullopt;
    return parsed->object();
}

std::optional<QJsonArray> objectListReply(const std::optional<QByteArray> &body)
{
    const std::optional<QJsonDocument> parsed = document(body);
    if (!parsed || !parsed->isArray())
        return std::nullopt;
    return objectList(parsed->array());
}

GameFacts parsePalworld(const std::optional<QJsonObject> &info,
                        const std::optional<QJsonObject> &players,
                        const std::optional<QJsonObject> &metrics)
{
    if (!info && !players && !metrics)
        throw malformed();
    GameFacts facts;
    const std::optional<QJsonArray> list = players ? objectList(players->value(u"players"_s)) : std::nullopt;
    facts.playerNames = LooseJson::playerNames(list ? QJsonValue(*list) : QJsonValue());
    // Names are the best count; the metric covers a list the server left out; a list of nameless
    // entries still says how many are on.
    if (!facts.playerNames.isEmpty())
        facts.playersCurrent = facts.playerNames.size();
    else if (const auto metric = metrics ? LooseJson::intValue(metrics->value(u"currentplayernum"_s)) : std::nullopt)
        facts.playersCurrent = metric;
    else if (list)
        facts.playersCurrent = list->size();
    if (metrics)
        facts.playersMax = LooseJson::intValue(metrics->value(u"maxplayernum"_s));
    if (info)
        facts.detail = LooseJson::stringValue(info->value(u"version"_s)).value_or(QString());
    return facts;
}

GameFacts parseFiveM(const std::optional<QJsonObject> &info, const std::optional<QJsonArray> &players)
{
    if (!info && !players)
        throw malformed();
    GameFacts facts;
    if (info) {
        const QJsonObject vars = info->value(u"vars"_s).toObject();
        facts.detail = firstOf(LooseJson::stringValue(vars.value(u"sv_projectName"_s)),
                               LooseJson::stringValue(vars.value(u"hostname"_s)))
                           .value_or(QString());
        // Servers spell the setting either way, as the config file had it.
        facts.playersMax = firstOf(LooseJson::intValue(vars.value(u"sv_maxClients"_s)),
                                   LooseJson::intValue(vars.value(u"sv_maxclients"_s)));
    }
    if (players) {
        // Without the players token FXServer lists each player as {"id":0,"name":"Player"}: the
        // count is right, the names are not. A real player always has a server id.
        for (const QJsonValue &entry : *players) {
            const QJsonObject player = entry.toObject();
            const std::optional<QString> name = LooseJson::stringValue(player.value(u"name"_s));
            const bool placeholder = LooseJson::intValue(player.value(u"id"_s)) == 0 && name == u"Player"_s;
            if (name && !placeholder)
                facts.playerNames.append(*name);
        }
        facts.playersCurrent = players->size();
    }
    return facts;
}

GameFacts parseTShock(const std::optional<QJsonObject> &status)
{
    if (!status)
        throw malformed();
    // TShock 4 answers every request with HTTP 200 and puts its own status in the body.
    const QJsonValue code = status->value(u"status"_s);
    const std::optional<qint64> statusCode = LooseJson::intValue(code);
    if (!code.isUndefined() && !code.isNull() && statusCode != 200) {
        const QString text = firstOf(LooseJson::stringValue(status->value(u"error"_s)),
                                     LooseJson::stringValue(status->value(u"response"_s)))
                                 .value_or(u"TShock answered status %1"_s.arg(
                                     code.isString() ? code.toString() : QString::number(code.toDouble())));
        // A token refused is the user's to repair, like the 401 and 403 of later versions.
        if (statusCode == 401 || statusCode == 403)
            throw ProviderError::misconfigured(text);
        throw ProviderError::upstream(text);
    }
    GameFacts facts;
    const std::optional<QJsonArray> list = objectList(status->value(u"players"_s));
    if (list) {
        for (const QJsonValue &entry : *list) {
            const QJsonObject player = entry.toObject();
            if (const auto name = firstOf(LooseJson::stringValue(player.value(u"nickname"_s)),
                                          LooseJson::stringValue(player.value(u"username"_s))))
                facts.playerNames.append(*name);
        }
    }
    // The server's own count wins over the list: it may list fewer than are on.
    facts.playersCurrent = LooseJson::intValue(status->value(u"playercount"_s));
    if (!facts.playersCurrent && list)
        facts.playersCurrent = list->size();
    facts.playersMax = LooseJson::intValue(status->value(u"maxplayers"_s));
    facts.detail = LooseJson::stringValue(status->value(u"name"_s)).value_or(QString());
    return facts;
}

} // namespace tw::RestGames
