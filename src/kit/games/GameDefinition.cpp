#include "GameDefinition.h"

using namespace Qt::StringLiterals;

namespace tw {

GameDefinition::CredentialUse GameDefinition::credentialUse() const
{
    switch (engine) {
    case Engine::PalworldREST:
        return CredentialUse::Required;
    case Engine::FiveMHTTP:
        return CredentialUse::Optional;
    default:
        // TShock too: no secret is stored or sent; the engine only names the token when refused.
        return CredentialUse::None;
    }
}

bool GameDefinition::usesWebAPI() const
{
    return engine == Engine::PalworldREST || engine == Engine::FiveMHTTP || engine == Engine::TShockREST;
}

QString GameDefinition::sectionTitle() const
{
    switch (engine) {
    case Engine::MinecraftSLP:
    case Engine::BedrockPing:
        return u"Minecraft"_s;
    case Engine::A2S:
        return u"Steam Query"_s;
    default:
        return u"Web API"_s;
    }
}

QString toText(GameDefinition::Engine engine)
{
    switch (engine) {
    case GameDefinition::Engine::MinecraftSLP:
        return u"minecraftSLP"_s;
    case GameDefinition::Engine::A2S:
        return u"a2s"_s;
    case GameDefinition::Engine::BedrockPing:
        return u"bedrockPing"_s;
    case GameDefinition::Engine::PalworldREST:
        return u"palworldREST"_s;
    case GameDefinition::Engine::FiveMHTTP:
        return u"fivemHTTP"_s;
    case GameDefinition::Engine::TShockREST:
        return u"tshockREST"_s;
    }
    return {};
}

std::optional<GameDefinition::Engine> gameEngineFromString(QStringView text)
{
    for (const auto engine : {GameDefinition::Engine::MinecraftSLP,
                              GameDefinition::Engine::A2S,
                              GameDefinition::Engine::BedrockPing,
                              GameDefinition::Engine::PalworldREST,
                              GameDefinition::Engine::FiveMHTTP,
                              GameDefinition::Engine::TShockREST}) {
        if (toText(engine) == text)
            return engine;
    }
    return std::nullopt;
}

} // namespace tw
