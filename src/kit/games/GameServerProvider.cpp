#include "GameServerProvider.h"

#include "kit/base/Cancelled.h"
#include "kit/base/CredentialStore.h"
#include "kit/base/ProviderError.h"
#include "kit/games/A2SQuery.h"
#include "kit/games/A2SReplyError.h"
#include "kit/games/BedrockPing.h"
#include "kit/games/GameRegistry.h"
#include "kit/games/MinecraftSLP.h"
#include "kit/games/RestGameEngines.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/providers/CheckedPort.h"

#include <QElapsedTimer>
#include <QTextBoundaryFinder>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// The first `count` characters as a reader sees them: a flag or an accented letter is never split.
QString firstGraphemes(const QString &text, int count)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int seen = 0;
    while (finder.toNextBoundary() >= 0) {
        if (++seen == count)
            return text.left(finder.position());
    }
    return text;
}

} // namespace

GameServerProvider::Dependencies GameServerProvider::Dependencies::production()
{
    static const auto resolver = std::make_shared<DnsSRVResolver>();
    static const auto udp = std::make_shared<SocketUDPTransport>();
    return {ProviderTransports::production(), resolver, udp, &QueryPortCache::shared(), std::chrono::seconds(10), {}};
}

GameServerProvider::GameServerProvider(const AnySourceConfig &config,
                                       std::shared_ptr<CredentialStore> credentials,
                                       Dependencies dependencies)
    : m_config([&] {
        const auto *game = config.as<GameServerConfig>();
        if (!game)
            throw ProviderError::misconfigured(u"expected gameServer config"_s);
        return *game;
    }())
    , m_credentials(std::move(credentials))
    , m_dependencies(std::move(dependencies))
{ }

GameServerStatus GameServerProvider::makeStatus(const GameServerConfig &config,
                                                const std::optional<GameFacts> &facts,
                                                std::optional<double> latencyMs,
                                                const QString &message)
{
    GameServerStatus status{config.displayName, config.displayName, facts.has_value(), {}, {}, {}, {}, {}};
    if (facts) {
        status.playersCurrent = facts->playersCurrent;
        status.playersMax = facts->playersMax;
        for (const QString &name : facts->playerNames.first(std::min<qsizetype>(64, facts->playerNames.size())))
            status.playerNames.append(firstGraphemes(name, 64));
        status.latencyMs = latencyMs;
    }
    status.detail = firstGraphemes(facts ? facts->detail : message, 200);
    return status;
}

QList<quint16> GameServerProvider::candidateQueryPorts(quint16 gamePort,
                                                       const GameDefinition &definition,
                                                       std::optional<quint16> userPort,
                                                       std::optional<quint16> cached)
{
    if (userPort)
        return {*userPort};
    QList<quint16> list;
    const auto add = [&list](qint64 port) {
        if (port >= 1 && port <= 65535 && !list.contains(quint16(port)))
            list.append(quint16(port));
    };
    if (cached)
        add(*cached);
    for (const qint64 offset : definition.queryPortOffsets)
        add(qint64(gamePort) + offset);
    if (definition.fixedQueryPort)
        add(*definition.fixedQueryPort);
    return list;
}

QCoro::Task<GameServerProvider::Probed> GameServerProvider::probe(QList<quint16> candidates, Attempt attempt)
{
    if (candidates.isEmpty())
        throw ProviderError::misconfigured(u"no query port to try"_s);
    // The first candidate once more at the end: it is the likeliest, and a lost datagram is common.
    QList<quint16> order = candidates;
    order.append(candidates.first());
    for (const quint16 port : std::as_const(order)) {
        try {
            // Awaited into a named value: g++ 12 mishandles a co_await inside a braced initialiser.
            GameFacts facts = co_await attempt(port);
            co_return Probed{std::move(facts), port};
        } catch (const ProviderError &error) {
            const bool wrongRatherThanMissing = error.kind() != ProviderError::Kind::Upstream
                || error.failure() == FailureKind::HostNotFound || error.failure() == FailureKind::HostUnreachable;
            if (wrongRatherThanMissing)
                throw;
        } catch (const Cancelled &) {
            throw;
        } catch (const A2SReplyError &) {
            throw; // something answers there, and wrongly: another port will not make it right
        } catch (const std::exception &) {
            // Anything else is worth the next port.
        }
    }
    QStringList tried;
    for (const quint16 port : std::as_const(candidates))
        tried.append(u":"_s + QString::number(port));
    throw ProviderError::upstream(u"no query port answered (tried "_s + tried.join(u", "_s) + u')');
}

QCoro::Task<GameFacts> GameServerProvider::fetchA2S(GameServerConfig config,
                                                    GameDefinition definition,
                                                    quint16 gamePort,
                                                    Dependencies dependencies,
                                                    StopToken stop)
{
    std::optional<quint16> userPort;
    if (config.queryPort)
        userPort = checkedPort(*config.queryPort, u"query port"_s);
    const std::optional<quint16> cached =
        dependencies.portCache ? dependencies.portCache->port(config.id) : std::nullopt;
    const QList<quint16> candidates = candidateQueryPorts(gamePort, definition, userPort, cached);
    const std::shared_ptr<UDPTransport> udp = dependencies.udp;
    const QueryServer query = dependencies.queryServer
        ? dependencies.queryServer
        : QueryServer([udp](QString host, quint16 port, GameDefinition game, StopToken until) {
              return A2SQuery::queryServer(host, port, game, udp, until);
          });
    // Named, not a temporary inside the co_await: g++ 12 destroys such temporaries twice.
    const Attempt attempt = [config, definition, query, stop](quint16 port) {
        return query(config.host, port, definition, stop);
    };
    const Probed probed = co_await probe(candidates, attempt);
    // Also a port the user gave: should they clear it later, the one that worked is tried first.
    if (dependencies.portCache)
        dependencies.portCache->store(probed.port, config.id);
    co_return probed.facts;
}

QCoro::Task<std::optional<QString>> GameServerProvider::readSecret(GameServerConfig config,
                                                                   std::shared_ptr<CredentialStore> credentials)
{
    if (!config.credentialRef || config.credentialRef->isEmpty())
        co_return std::nullopt;
    co_return co_await credentials->read(*config.credentialRef);
}

QCoro::Task<GameFacts> GameServerProvider::runEngine(GameServerConfig config,
                                                     GameDefinition definition,
                                                     quint16 port,
                                                     Dependencies dependencies,
                                                     std::shared_ptr<CredentialStore> credentials,
                                                     StopToken stop)
{
    switch (definition.engine) {
    case GameDefinition::Engine::MinecraftSLP: {
        const MinecraftSLP::Target target =
            co_await MinecraftSLP::resolveTarget(config.host, port, dependencies.resolver, stop);
        std::unique_ptr<ByteChannel> channel =
            co_await dependencies.transports.channels->connect(target.host, target.port, stop);
        // The whole exchange is bounded: a server that trickles its reply is cut off.
        auto timedOut = std::make_shared<bool>(false);
        ByteChannel *raw = channel.get();
        QTimer limit;
        limit.setSingleShot(true);
        QObject::connect(&limit, &QTimer::timeout, &limit, [timedOut, raw] {
            *timedOut = true;
            raw->close();
        });
        limit.start(dependencies.minecraftLimit);
        try {
            const GameFacts facts = co_await MinecraftSLP::exchange(*channel, target.host, target.port);
            channel->close();
            co_return facts;
        } catch (const ProviderError &) {
            if (*timedOut)
                throw ProviderError::failure(FailureKind::TimedOut);
            throw;
        }
    }
    case GameDefinition::Engine::BedrockPing:
        co_return co_await BedrockPing::ping(config.host, port, dependencies.udp, stop);
    case GameDefinition::Engine::A2S:
        co_return co_await fetchA2S(config, definition, port, dependencies, stop);
    case GameDefinition::Engine::PalworldREST: {
        const std::optional<QString> password = co_await readSecret(config, credentials);
        // Without its password the source cannot work at all: the poll fails rather than show offline.
        if (!password)
            throw ProviderError::missingCredential(config.gameID);
        co_return co_await RestGames::fetchPalworld(config.host,
                                                    port,
                                                    *password,
                                                    config.useTLS,
                                                    dependencies.transports.http,
                                                    stop);
    }
    case GameDefinition::Engine::FiveMHTTP: {
        const std::optional<QString> token = co_await readSecret(config, credentials);
        co_return co_await RestGames::fetchFiveM(config.host,
                                                 port,
                                                 token,
                                                 config.useTLS,
                                                 dependencies.transports.http,
                                                 stop);
    }
    case GameDefinition::Engine::TShockREST:
        co_return co_await RestGames::fetchTShock(config.host, port, config.useTLS, dependencies.transports.http, stop);
    }
    throw ProviderError::misconfigured(definition.displayName + u" has no query engine"_s);
}

QCoro::Task<SourceSnapshot> GameServerProvider::fetch(StopToken stop)
{
    const GameServerConfig config = m_config;
    const Dependencies dependencies = m_dependencies;
    const std::shared_ptr<CredentialStore> credentials = m_credentials;
    const std::optional<GameDefinition> definition = GameRegistry::definition(config.gameID);
    if (!definition)
        throw ProviderError::misconfigured(u"unknown game \""_s + config.gameID + u'"');
    const quint16 port = checkedPort(config.port, u"port"_s);

    std::optional<GameFacts> facts;
    std::optional<double> latency;
    QString message;
    QElapsedTimer clock;
    clock.start();
    try {
        facts = co_await runEngine(config, *definition, port, dependencies, credentials, stop);
        latency = double(clock.nsecsElapsed()) / 1e6;
    } catch (const ProviderError &error) {
        if (error.kind() != ProviderError::Kind::Upstream)
            throw; // the user has to repair this: the poll fails
        message = error.description();
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &error) {
        // An A2SReplyError among them: its text is its reason.
        message = QString::fromUtf8(error.what());
    }
    co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {makeStatus(config, facts, latency, message)}};
}

std::unique_ptr<SourceProvider> makeProvider(const GameServerConfig &, const ProviderContext &context)
{
    GameServerProvider::Dependencies dependencies = GameServerProvider::Dependencies::production();
    dependencies.transports = context.transports;
    return std::make_unique<GameServerProvider>(context.source, context.credentials, dependencies);
}

} // namespace tw
