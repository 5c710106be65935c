#include "GameChoices.h"

using namespace Qt::StringLiterals;

namespace tw::GameChoices {

CredentialUse Game::credentialUse() const
{
    if (engine == u"palworldREST")
        return CredentialUse::Required;
    // FiveM and RedM hide player names unless given the players token.
    if (engine == u"fivemHTTP")
        return CredentialUse::Optional;
    // TShock is asked without a token on purpose: nothing is stored or sent for it.
    return CredentialUse::None;
}

bool Game::usesQueryPort() const
{
    return engine == u"a2s";
}

bool Game::usesWebAPI() const
{
    return engine == u"palworldREST" || engine == u"fivemHTTP" || engine == u"tshockREST";
}

QString Game::sectionTitle() const
{
    if (engine == u"minecraftSLP" || engine == u"bedrockPing")
        return u"Minecraft"_s;
    if (engine == u"a2s")
        return u"Steam Query"_s;
    return u"Web API"_s;
}

const QList<Game> &all()
{
    static const QList<Game> games{
        {u"minecraft-java"_s,
         u"Minecraft (Java)"_s,
         u"minecraftSLP"_s,
         25565,
         u"Player names come from an optional sample. Many servers do not send it."_s},
        {u"minecraft-bedrock"_s,
         u"Minecraft (Bedrock)"_s,
         u"bedrockPing"_s,
         19132,
         u"A Bedrock server does not report player names."_s},
        {u"palworld"_s,
         u"Palworld"_s,
         u"palworldREST"_s,
         8212,
         u"Set RESTAPIEnabled=True in PalWorldSettings.ini. The password is the server admin password."_s},
        {u"fivem"_s,
         u"FiveM (GTA V)"_s,
         u"fivemHTTP"_s,
         30120,
         u"A current server hides the player names. The player count stays correct."_s},
        {u"redm"_s,
         u"RedM (RDR 2)"_s,
         u"fivemHTTP"_s,
         30120,
         u"A current server hides the player names. The player count stays correct."_s},
        {u"terraria-tshock"_s,
         u"Terraria (TShock)"_s,
         u"tshockREST"_s,
         7878,
         u"Needs the TShock mod with the REST interface on. The port is the REST port, not the game port."_s},
        {u"valheim"_s,
         u"Valheim"_s,
         u"a2s"_s,
         2456,
         u"Start the server with -public 1. A crossplay server always reports zero players."_s},
        {u"rust"_s, u"Rust"_s, u"a2s"_s, 28015, std::nullopt},
        {u"ark-survival-evolved"_s, u"ARK: Survival Evolved"_s, u"a2s"_s, 7777, std::nullopt},
        {u"7-days-to-die"_s,
         u"7 Days to Die"_s,
         u"a2s"_s,
         26900,
         u"Player names need the telnet interface. Tidewatch does not use it."_s},
        {u"project-zomboid"_s, u"Project Zomboid"_s, u"a2s"_s, 16261, std::nullopt},
        {u"cs2"_s,
         u"Counter-Strike 2"_s,
         u"a2s"_s,
         27015,
         u"Counter-Strike 2 hides player names. A server plugin must expose them."_s},
        {u"csgo-legacy"_s,
         u"CS:GO (legacy branch)"_s,
         u"a2s"_s,
         27015,
         u"Set host_players_show 2 to read player names."_s},
        {u"tf2"_s, u"Team Fortress 2"_s, u"a2s"_s, 27015, std::nullopt},
        {u"garrys-mod"_s, u"Garry's Mod"_s, u"a2s"_s, 27015, std::nullopt},
        {u"left-4-dead-2"_s, u"Left 4 Dead 2"_s, u"a2s"_s, 27015, std::nullopt},
        {u"counter-strike-source"_s, u"Counter-Strike: Source"_s, u"a2s"_s, 27015, std::nullopt},
        {u"unturned"_s, u"Unturned"_s, u"a2s"_s, 27015, std::nullopt},
        {u"conan-exiles"_s,
         u"Conan Exiles"_s,
         u"a2s"_s,
         7777,
         u"Conan Exiles does not answer the player list request."_s},
        {u"v-rising"_s, u"V Rising"_s, u"a2s"_s, 9876, std::nullopt},
        {u"enshrouded"_s, u"Enshrouded"_s, u"a2s"_s, 15636, std::nullopt},
        {u"barotrauma"_s, u"Barotrauma"_s, u"a2s"_s, 27015, std::nullopt},
        {u"core-keeper"_s, u"Core Keeper"_s, u"a2s"_s, 1234, std::nullopt},
        {u"dayz"_s, u"DayZ"_s, u"a2s"_s, 2302, u"DayZ always sends an empty player list."_s},
        {u"squad-44"_s, u"Squad 44 (Post Scriptum)"_s, u"a2s"_s, 10037, std::nullopt},
        {u"hell-let-loose"_s,
         u"Hell Let Loose"_s,
         u"a2s"_s,
         27015,
         u"The host assigns the ports. Enter the port that your host gives you."_s},
        {u"mordhau"_s, u"Mordhau"_s, u"a2s"_s, 7777, std::nullopt},
        {u"insurgency-sandstorm"_s, u"Insurgency: Sandstorm"_s, u"a2s"_s, 27102, std::nullopt},
        {u"arma-3"_s, u"Arma 3"_s, u"a2s"_s, 2302, std::nullopt},
        {u"arma-reforger"_s,
         u"Arma Reforger"_s,
         u"a2s"_s,
         2001,
         u"Turn on the a2s block in the server config. Arma Reforger sends no player data."_s},
        {u"space-engineers"_s, u"Space Engineers"_s, u"a2s"_s, 27016, std::nullopt},
        {u"killing-floor-2"_s, u"Killing Floor 2"_s, u"a2s"_s, 7777, std::nullopt},
        {u"sons-of-the-forest"_s, u"Sons of the Forest"_s, u"a2s"_s, 8766, std::nullopt},
        {u"the-forest"_s, u"The Forest"_s, u"a2s"_s, 27015, std::nullopt},
        {u"soulmask"_s, u"Soulmask"_s, u"a2s"_s, 8777, u"Soulmask reports a fixed version in its status reply."_s},
        {u"myth-of-empires"_s, u"Myth of Empires"_s, u"a2s"_s, 12888, std::nullopt},
        {u"abiotic-factor"_s, u"Abiotic Factor"_s, u"a2s"_s, 27015, std::nullopt},
        {u"dont-starve-together"_s, u"Don't Starve Together"_s, u"a2s"_s, 10999, std::nullopt},
        {u"starbound"_s, u"Starbound"_s, u"a2s"_s, 21025, std::nullopt},
        {u"avorion"_s, u"Avorion"_s, u"a2s"_s, 27000, std::nullopt},
        {u"icarus"_s, u"Icarus"_s, u"a2s"_s, 27015, std::nullopt},
        {u"a2s-custom"_s, u"Other (Steam query)"_s, u"a2s"_s, 27015, std::nullopt},
    };
    return games;
}

std::optional<Game> find(const QString &id)
{
    for (const auto &game : all()) {
        if (game.id == id)
            return game;
    }
    return std::nullopt;
}

namespace {

QString trimmedOfBlanks(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    const auto blank = [](QChar c) {
        return c.isSpace() && c != u'\n' && c != u'\r';
    };
    while (begin < end && blank(text.at(begin)))
        ++begin;
    while (end > begin && blank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

} // namespace

QList<Section> sections(const QString &query, const QString &selectedID)
{
    const QString term = trimmedOfBlanks(query);
    QList<Section> result;
    for (const auto &game : all()) {
        const bool kept = term.isEmpty() || game.displayName.contains(term, Qt::CaseInsensitive)
            || game.id.contains(term, Qt::CaseInsensitive) || game.id == selectedID;
        if (!kept)
            continue;
        const QString title = game.sectionTitle();
        auto section = std::find_if(result.begin(), result.end(), [&](const Section &s) { return s.title == title; });
        if (section == result.end())
            result.append({title, {game}});
        else
            section->games.append(game);
    }
    return result;
}

} // namespace tw::GameChoices
