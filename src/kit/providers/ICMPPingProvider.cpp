#include "ICMPPingProvider.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/JsonRead.h"
#include "kit/transport/HostLookup.h"
#include "kit/transport/ICMPEcho.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tw {

QString ICMPPingProvider::lossText(int lost, int sent)
{
    return u"%1 of %2 echoes lost"_s.arg(lost).arg(sent);
}

ICMPPingProvider::ICMPPingProvider(const AnySourceConfig &config)
    : m_config([&] {
        const auto *ping = config.as<ICMPPingConfig>();
        if (!ping)
            throw ProviderError::misconfigured(u"expected icmpPing config"_s);
        return *ping;
    }())
{ }

QCoro::Task<SourceSnapshot> ICMPPingProvider::fetch(StopToken stop)
{
    const ICMPPingConfig config = m_config;
    if (config.host.trimmed().isEmpty())
        throw ProviderError::misconfigured(u"no host to ping"_s);
    const int count = int(std::clamp(config.count, ICMPPingConfig::minCount, ICMPPingConfig::maxCount));
    CheckResult row{JsonRead::uuidText(config.id), config.displayName, ServiceStatus::Down, {}, {}, {}};
    try {
        const QHostAddress address = co_await HostLookup::resolve(config.host.trimmed(), lookupTimeout, stop);
        const EchoOutcome outcome = co_await ICMPEcho::ping(address, count, replyTimeout, stop);
        row.latencyMs = outcome.averageMs;
        if (outcome.answered == 0) {
            row.detail = QString::fromLatin1(noReplyText);
        } else if (outcome.answered < outcome.sent) {
            row.status = ServiceStatus::Warn;
            row.detail = lossText(outcome.sent - outcome.answered, outcome.sent);
        } else {
            row.status = ServiceStatus::Up;
        }
    } catch (const Cancelled &) {
        throw;
    } catch (const ProviderError &error) {
        row.detail = error.description();
    }
    co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {row}};
}

std::unique_ptr<SourceProvider> makeProvider(const ICMPPingConfig &, const ProviderContext &context)
{
    return std::make_unique<ICMPPingProvider>(context.source);
}

} // namespace tw
