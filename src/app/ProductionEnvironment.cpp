#include "ProductionEnvironment.h"

#include "kit/desktop/AlertCenter.h"
#include "kit/desktop/KeychainCredentialStore.h"
#include "kit/model/SourcesStore.h"
#include "kit/monitor/ProviderRegistry.h"

namespace tw::ProductionEnvironment {

AppState::Environment make(std::shared_ptr<AlertCenter> alerts)
{
    AppState::Environment environment;
    environment.credentials = std::make_shared<KeychainCredentialStore>();
    environment.sourcesDirectory = SourcesStore::defaultDirectory();
    environment.defaults = PreferenceStore::openDefault();
    environment.makeProvider = ProviderRegistry::maker();
    environment.postAlert = [alerts](const AlertEvent &event, bool sound) {
        alerts->post(event, sound);
    };
    environment.testHost = AppState::environmentIsTestHost();
    environment.followSourcesFile = true;
    return environment;
}

} // namespace tw::ProductionEnvironment
