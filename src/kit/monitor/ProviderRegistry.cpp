#include "ProviderRegistry.h"

#include "kit/base/ProviderError.h"
#include "kit/games/GameServerProvider.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/providers/BeszelProvider.h"
#include "kit/providers/DNSRecordProvider.h"
#include "kit/providers/HTTPPingProvider.h"
#include "kit/providers/ICMPPingProvider.h"
#include "kit/providers/JSONWidgetProvider.h"
#include "kit/providers/KumaProvider.h"
#include "kit/providers/TCPPortProvider.h"
#include "kit/providers/TLSCertificateProvider.h"

using namespace Qt::StringLiterals;

namespace tw::ProviderRegistry {

std::unique_ptr<SourceProvider>
make(const AnySourceConfig &config, std::shared_ptr<CredentialStore> credentials, const ProviderTransports &transports)
{
    switch (config.kind()) {
    case AnySourceConfig::Kind::HTTPPing:
        return std::make_unique<HTTPPingProvider>(config, transports);
    case AnySourceConfig::Kind::TCPPort:
        return std::make_unique<TCPPortProvider>(config, transports);
    case AnySourceConfig::Kind::Kuma:
        return std::make_unique<KumaProvider>(config, std::move(credentials), transports);
    case AnySourceConfig::Kind::Beszel:
        return std::make_unique<BeszelProvider>(config, std::move(credentials), transports);
    case AnySourceConfig::Kind::JSONWidget:
        return std::make_unique<JSONWidgetProvider>(config, std::move(credentials), transports);
    case AnySourceConfig::Kind::ICMPPing:
        return std::make_unique<ICMPPingProvider>(config);
    case AnySourceConfig::Kind::DNSRecord:
        return std::make_unique<DNSRecordProvider>(config);
    case AnySourceConfig::Kind::TLSCertificate:
        return std::make_unique<TLSCertificateProvider>(config);
    case AnySourceConfig::Kind::GameServer: {
        GameServerProvider::Dependencies dependencies = GameServerProvider::Dependencies::production();
        dependencies.transports = transports;
        return std::make_unique<GameServerProvider>(config, std::move(credentials), dependencies);
    }
    }
    throw ProviderError::misconfigured(toText(config.kind()) + u" sources are not supported by this build"_s);
}

ProviderMaker maker(ProviderTransports transports)
{
    return [transports](const AnySourceConfig &config, std::shared_ptr<CredentialStore> credentials) {
        return make(config, std::move(credentials), transports);
    };
}

} // namespace tw::ProviderRegistry
