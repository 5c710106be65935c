#include "kit/forms/FormText.h"
#include "kit/forms/SourceFormState.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// A game server of any game in the catalogue, over the game's own query protocol.
class GameServerForm final : public SourceKindForm
{
public:
    GameServerForm()
        : SourceKindForm(GameServerConfig::info)
    { }

    QString purpose() const override { return QString::number(GameRegistry::all().size()) + u" games"_s; }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        const auto &c = *source.as<GameServerConfig>();
        form.gameID = c.gameID;
        form.host = c.host;
        form.port = QString::number(c.port);
        form.gameQueryPort = c.queryPort ? QString::number(*c.queryPort) : QString();
        form.useTLS = c.useTLS;
        form.hasStoredSecret = c.credentialRef && !c.credentialRef->isEmpty();
    }

    std::optional<QString> problem(const SourceFormState &form) const override
    {
        if (!form.gameQueryPort.trimmed().isEmpty() && !form.parsedQueryPort())
            return u"Enter a query port between 1 and 65535, or leave it blank."_s;
        return std::nullopt;
    }

    bool filled(const SourceFormState &form) const override
    {
        return form.hostAndPort()
            && (form.credentialUse() != GameDefinition::CredentialUse::Required || form.hasSecret());
    }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        GameServerConfig c;
        static_cast<SourceConfig &>(c) = common;
        c.gameID = form.gameID;
        std::tie(c.host, c.port) = *form.hostAndPort();
        c.queryPort = form.parsedQueryPort();
        c.credentialRef = form.credentialRef(common.id);
        c.useTLS = form.useTLS;
        return c;
    }

    // Only the engines that send a secret get a name for one; a typed secret for any other game is
    // never stored.
    bool storesSecret(const SourceFormState &form) const override
    {
        const auto game = form.game();
        return game
            && (game->engine == GameDefinition::Engine::PalworldREST
                || game->engine == GameDefinition::Engine::FiveMHTTP);
    }

    QString missing(const SourceFormState &form) const override
    {
        if (form.credentialUse() == GameDefinition::CredentialUse::Required && form.secret.isEmpty())
            return u"This game needs its admin password: pass --secret-stdin and write it to standard input."_s;
        return u"Give the server with --host (host or host:port) and --port."_s;
    }

    QString usage() const override
    {
        return u"--game ID --host HOST [--port PORT] [--query-port PORT] [--tls] [--secret-stdin]"_s;
    }

    QList<Option> options() const override
    {
        return {{u"--game"_s,
                 [](SourceFormState &form, const QString &value) -> std::optional<QString> {
                     if (!GameRegistry::definition(value))
                         return u"unknown game '"_s + value
                             + u"'; the games are listed by: tidewatch-cli add gameServer --help"_s;
                     form.chooseGame(value);
                     return std::nullopt;
                 }},
                textOption(u"--host"_s, &SourceFormState::host),
                portOption(),
                textOption(u"--query-port"_s, &SourceFormState::gameQueryPort),
                {u"--tls"_s,
                 [](SourceFormState &form, const QString &) -> std::optional<QString> {
                     form.useTLS = true;
                     return std::nullopt;
                 },
                 false}};
    }
};

} // namespace

TW_DEFINE_KIND_FORM(GameServer)

} // namespace tw
