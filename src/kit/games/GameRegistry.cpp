#include "GameRegistry.h"

using namespace Qt::StringLiterals;

namespace tw::GameRegistry {

const QList<GameDefinition> &all()
{
    using Engine = GameDefinition::Engine;
    // Some rows look like mistakes and are not: Rust alone reads its counts from the keywords,
    // V Rising has two offsets, Avorion's query port is 20 above the game port, and the rows that
    // do not ask for players are the servers that never answer that request usefully.
    static const QList<GameDefinition> table{
        {u"minecraft-java"_s,
         u"Minecraft (Java)"_s,
         Engine::MinecraftSLP,
         25565,
         {0},
         std::nullopt,
         true,
         false,
         u"Player names come from an optional sample. Many servers do not send it."_s},
        {u"minecraft-bedrock"_s,
         u"Minecraft (Bedrock)"_s,
         Engine::BedrockPing,
         19132,
         {0},
         std::nullopt,
         false,
         false,
         u"A Bedrock server does not report player names."_s},
        {u"palworld"_s,
         u"Palworld"_s,
         Engine::PalworldREST,
         8212,
         {},
         std::nullopt,
         true,
         false,
         u"Set RESTAPIEnabled=True in PalWorldSettings.ini. The password is the server admin password."_s},
        {u"fivem"_s,
         u"FiveM (GTA V)"_s,
         Engine::FiveMHTTP,
         30120,
         {},
         std::nullopt,
         true,
         false,
         u"A current server hides the player names. The player count stays correct."_s},
        {u"redm"_s,
         u"RedM (RDR 2)"_s,
         Engine::FiveMHTTP,
         30120,
         {},
         std::nullopt,
         true,
         false,
         u"A current server hides the player names. The player count stays correct."_s},
        {u"terraria-tshock"_s,
         u"Terraria (TShock)"_s,
         Engine::TShockREST,
         7878,
         {},
         std::nullopt,
         true,
         false,
         u"Needs the TShock mod with the REST interface on. The port is the REST port, not the game port."_s},
        {u"valheim"_s,
         u"Valheim"_s,
         Engine::A2S,
         2456,
         {1},
         std::nullopt,
         false,
         false,
         u"Start the server with -public 1. A crossplay server always reports zero players."_s},
        {u"rust"_s, u"Rust"_s, Engine::A2S, 28015, {0}, std::nullopt, true, true, std::nullopt},
        {u"ark-survival-evolved"_s,
         u"ARK: Survival Evolved"_s,
         Engine::A2S,
         7777,
         {},
         27015,
         true,
         false,
         std::nullopt},
        {u"7-days-to-die"_s,
         u"7 Days to Die"_s,
         Engine::A2S,
         26900,
         {1},
         std::nullopt,
         false,
         false,
         u"Player names need the telnet interface. Tidewatch does not use it."_s},
        {u"project-zomboid"_s, u"Project Zomboid"_s, Engine::A2S, 16261, {0}, std::nullopt, true, false, std::nullopt},
        {u"cs2"_s,
         u"Counter-Strike 2"_s,
         Engine::A2S,
         27015,
         {0},
         std::nullopt,
         true,
         false,
         u"Counter-Strike 2 hides player names. A server plugin must expose them."_s},
        {u"csgo-legacy"_s,
         u"CS:GO (legacy branch)"_s,
         Engine::A2S,
         27015,
         {0},
         std::nullopt,
         true,
         false,
         u"Set host_players_show 2 to read player names."_s},
        {u"tf2"_s, u"Team Fortress 2"_s, Engine::A2S, 27015, {0}, std::nullopt, true, false, std::nullopt},
        {u"garrys-mod"_s, u"Garry's Mod"_s, Engine::A2S, 27015, {0}, std::nullopt, true, false, std::nullopt},
        {u"left-4-dead-2"_s, u"Left 4 Dead 2"_s, Engine::A2S, 27015, {0}, std::nullopt, true, false, std::nullopt},
        {u"counter-strike-source"_s,
         u"Counter-Strike: Source"_s,
         Engine::A2S,
         27015,
         {0},
         std::nullopt,
         true,
         false,
         std::nullopt},
        {u"unturned"_s, u"Unturned"_s, Engine::A2S, 27015, {1}, std::nullopt, true, false, std::nullopt},
        {u"conan-exiles"_s,
         u"Conan Exiles"_s,
         Engine::A2S,
         7777,
         {},
         27015,
         false,
         false,
         u"Conan Exiles does not answer the player list request."_s},
        {u"v-rising"_s, u"V Rising"_s, Engine::A2S, 9876, {1, 15}, std::nullopt, true, false, std::nullopt},
        {u"enshrouded"_s, u"Enshrouded"_s, Engine::A2S, 15636, {}, 15637, true, false, std::nullopt},
        {u"barotrauma"_s, u"Barotrauma"_s, Engine::A2S, 27015, {1}, std::nullopt, true, false, std::nullopt},
        {u"core-keeper"_s, u"Core Keeper"_s, Engine::A2S, 1234, {1}, std::nullopt, true, false, std::nullopt},
        {u"dayz"_s,
         u"DayZ"_s,
         Engine::A2S,
         2302,
         {},
         27016,
         false,
         false,
         u"DayZ always sends an empty player list."_s},
        {u"squad-44"_s,
         u"Squad 44 (Post Scriptum)"_s,
         Engine::A2S,
         10037,
         {0},
         std::nullopt,
         true,
         false,
         std::nullopt},
        {u"hell-let-loose"_s,
         u"Hell Let Loose"_s,
         Engine::A2S,
         27015,
         {0},
         std::nullopt,
         true,
         false,
         u"The host assigns the ports. Enter the port that your host gives you."_s},
        {u"mordhau"_s, u"Mordhau"_s, Engine::A2S, 7777, {}, 27015, true, false, std::nullopt},
        {u"insurgency-sandstorm"_s,
         u"Insurgency: Sandstorm"_s,
         Engine::A2S,
         27102,
         {},
         27131,
         true,
         false,
         std::nullopt},
        {u"arma-3"_s, u"Arma 3"_s, Engine::A2S, 2302, {1}, std::nullopt, true, false, std::nullopt},
        {u"arma-reforger"_s,
         u"Arma Reforger"_s,
         Engine::A2S,
         2001,
         {},
         17777,
         false,
         false,
         u"Turn on the a2s block in the server config. Arma Reforger sends no player data."_s},
        {u"space-engineers"_s, u"Space Engineers"_s, Engine::A2S, 27016, {0}, std::nullopt, true, false, std::nullopt},
        {u"killing-floor-2"_s, u"Killing Floor 2"_s, Engine::A2S, 7777, {}, 27015, true, false, std::nullopt},
        {u"sons-of-the-forest"_s, u"Sons of the Forest"_s, Engine::A2S, 8766, {}, 27016, true, false, std::nullopt},
        {u"the-forest"_s, u"The Forest"_s, Engine::A2S, 27015, {1}, std::nullopt, true, false, std::nullopt},
        {u"soulmask"_s,
         u"Soulmask"_s,
         Engine::A2S,
         8777,
         {},
         27015,
         true,
         false,
         u"Soulmask reports a fixed version in its status reply."_s},
        {u"myth-of-empires"_s, u"Myth of Empires"_s, Engine::A2S, 12888, {0}, std::nullopt, true, false, std::nullopt},
        {u"abiotic-factor"_s, u"Abiotic Factor"_s, Engine::A2S, 27015, {0}, std::nullopt, true, false, std::nullopt},
        {u"dont-starve-together"_s,
         u"Don't Starve Together"_s,
         Engine::A2S,
         10999,
         {},
         27016,
         true,
         false,
         std::nullopt},
        {u"starbound"_s, u"Starbound"_s, Engine::A2S, 21025, {0}, std::nullopt, true, false, std::nullopt},
        {u"avorion"_s, u"Avorion"_s, Engine::A2S, 27000, {20}, std::nullopt, true, false, std::nullopt},
        {u"icarus"_s, u"Icarus"_s, Engine::A2S, 27015, {0}, std::nullopt, true, false, std::nullopt},
        {u"a2s-custom"_s, u"Other (Steam query)"_s, Engine::A2S, 27015, {0}, std::nullopt, true, false, std::nullopt},
    };
    return table;
}

std::optional<GameDefinition> definition(const QString &id)
{
    for (const GameDefinition &game : all()) {
        if (game.id == id)
            return game;
    }
    return std::nullopt;
}

QList<GameSection> gameSections(const QString &query, const QString &selectedID)
{
    // Blanks and tabs around the term go; line breaks are not part of a search.
    QString term = query;
    while (!term.isEmpty() && (term.front() == u' ' || term.front() == u'\t'))
        term.remove(0, 1);
    while (!term.isEmpty() && (term.back() == u' ' || term.back() == u'\t'))
        term.chop(1);
    QList<GameSection> sections;
    for (const GameDefinition &game : all()) {
        const bool kept = term.isEmpty() || game.displayName.contains(term, Qt::CaseInsensitive)
            || game.id.contains(term, Qt::CaseInsensitive) || game.id == selectedID;
        if (!kept)
            continue;
        const QString title = game.sectionTitle();
        auto section =
            std::find_if(sections.begin(), sections.end(), [&](const GameSection &s) { return s.title == title; });
        if (section == sections.end())
            sections.append({title, {game}});
        else
            section->games.append(game);
    }
    return sections;
}

} // namespace tw::GameRegistry
