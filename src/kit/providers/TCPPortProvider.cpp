#include "TCPPortProvider.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/JsonRead.h"
#include "kit/providers/CheckedPort.h"

#include <QElapsedTimer>

using namespace Qt::StringLiterals;

namespace tw {

TCPPortProvider::TCPPortProvider(const AnySourceConfig &config, ProviderTransports transports)
    : m_config([&] {
        const auto *tcp = config.as<TCPPortConfig>();
        if (!tcp)
            throw ProviderError::misconfigured(u"expected tcpPort config"_s);
        return *tcp;
    }())
    , m_channels(std::move(transports.channels))
{ }

QCoro::Task<SourceSnapshot> TCPPortProvider::fetch(StopToken stop)
{
    const TCPPortConfig config = m_config;
    const std::shared_ptr<ByteChannelFactory> channels = m_channels;
    const quint16 port = checkedPort(config.port, u"port"_s);
    CheckResult row{JsonRead::uuidText(config.id), config.displayName, ServiceStatus::Down, {}, u"closed"_s, {}};
    QElapsedTimer clock;
    clock.start();
    try {
        std::unique_ptr<ByteChannel> channel = co_await channels->connect(config.host, port, stop);
        channel->close();
        row.latencyMs = double(clock.nsecsElapsed()) / 1e6;
        row.status = ServiceStatus::Up;
        row.detail.reset();
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
        // Refused, unreachable, unresolved or silent: all read "closed".
    }
    co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {row}};
}

std::unique_ptr<SourceProvider> makeProvider(const TCPPortConfig &, const ProviderContext &context)
{
    return std::make_unique<TCPPortProvider>(context.source, context.transports);
}

} // namespace tw
