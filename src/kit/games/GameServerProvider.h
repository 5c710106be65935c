#pragma once

#include "kit/games/GameDefinition.h"
#include "kit/games/QueryPortCache.h"
#include "kit/model/GameServerConfig.h"
#include "kit/model/GameServerStatus.h"
#include "kit/providers/ProviderTransports.h"
#include "kit/providers/SourceProvider.h"
#include "kit/transport/SRVResolver.h"
#include "kit/transport/UDPSession.h"

#include <functional>

namespace tw {

// Polls one game server through the engine its game's catalogue row names, times the whole run,
// and reports one game row. A server that does not answer is a normal, offline result; only what
// the user has to repair (an unknown game, a bad port, a missing password) fails the poll.
class GameServerProvider : public SourceProvider
{
public:
    // One Steam query of one port: the facts, or a failure that probe() judges.
    using QueryServer =
        std::function<QCoro::Task<GameFacts>(QString host, quint16 port, GameDefinition definition, StopToken stop)>;

    struct Dependencies
    {
        ProviderTransports transports;
        std::shared_ptr<SRVResolver> resolver;
        std::shared_ptr<UDPTransport> udp;
        QueryPortCache *portCache = nullptr; // must outlive every fetch
        std::chrono::milliseconds minecraftLimit = std::chrono::seconds(10);
        QueryServer queryServer; // empty: the Steam query over `udp`

        static Dependencies production();
    };

    GameServerProvider(const AnySourceConfig &config,
                       std::shared_ptr<CredentialStore> credentials,
                       Dependencies dependencies);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

    // The row: at most 64 names of at most 64 characters, a detail of at most 200 characters
    // (characters as a reader sees them, not bytes).
    static GameServerStatus makeStatus(const GameServerConfig &config,
                                       const std::optional<GameFacts> &facts,
                                       std::optional<double> latencyMs,
                                       const QString &message);
    // Where the Steam query is tried: the user's port alone, else the cached port, the offsets
    // from the game port and the fixed port, each once.
    static QList<quint16> candidateQueryPorts(quint16 gamePort,
                                              const GameDefinition &definition,
                                              std::optional<quint16> userPort,
                                              std::optional<quint16> cached);
    using Attempt = std::function<QCoro::Task<GameFacts>(quint16 port)>;
    struct Probed
    {
        GameFacts facts;
        quint16 port = 0;
    };
    // Tries the candidates in order and the first once more at the end; stops early on an answer
    // that is wrong rather than missing.
    static QCoro::Task<Probed> probe(QList<quint16> candidates, Attempt attempt);

private:
    static QCoro::Task<GameFacts> fetchA2S(GameServerConfig config,
                                           GameDefinition definition,
                                           quint16 gamePort,
                                           Dependencies dependencies,
                                           StopToken stop);
    static QCoro::Task<GameFacts> runEngine(GameServerConfig config,
                                            GameDefinition definition,
                                            quint16 port,
                                            Dependencies dependencies,
                                            std::shared_ptr<CredentialStore> credentials,
                                            StopToken stop);
    // The secret the source names, if it names one and the store holds it.
    static QCoro::Task<std::optional<QString>> readSecret(GameServerConfig config,
                                                          std::shared_ptr<CredentialStore> credentials);

    GameServerConfig m_config;
    std::shared_ptr<CredentialStore> m_credentials;
    Dependencies m_dependencies;
};

} // namespace tw
