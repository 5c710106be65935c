#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace tw {

// One game of the catalogue: which query engine speaks to its servers, the port a new source
// starts with, where the query port is looked for, and a note for the person setting it up.
struct GameDefinition
{
    enum class Engine { MinecraftSLP, A2S, BedrockPing, PalworldREST, FiveMHTTP, TShockREST };
    enum class CredentialUse { None, Optional, Required };

    QString id; // what GameServerConfig::gameID holds
    QString displayName;
    Engine engine = Engine::A2S;
    qint64 defaultPort = 0;
    QList<qint64> queryPortOffsets; // added to the game port, tried in order (Steam query only)
    std::optional<qint64> fixedQueryPort; // tried after the offsets (Steam query only)
    bool queriesPlayers = false; // Steam query: ask for the player list after the info
    bool playerCountInKeywords = false; // Steam query: the counts stand in the info's keywords
    std::optional<QString> setupNote;

    CredentialUse credentialUse() const;
    bool usesQueryPort() const { return engine == Engine::A2S; }
    bool usesWebAPI() const;
    // "Minecraft", "Steam Query" or "Web API": the picker's section.
    QString sectionTitle() const;

    bool operator==(const GameDefinition &) const = default;
};

// "minecraftSLP", "a2s", …
QString toText(GameDefinition::Engine engine);
std::optional<GameDefinition::Engine> gameEngineFromString(QStringView text);

// What one engine run learns about a server.
struct GameFacts
{
    std::optional<qint64> playersCurrent;
    std::optional<qint64> playersMax;
    QStringList playerNames;
    QString detail; // a version or a server name
    bool operator==(const GameFacts &) const = default;
};

} // namespace tw
