#pragma once

#include "kit/desktop/InMemoryCredentialStore.h"
#include "kit/monitor/AppState.h"
#include "support/FakeProviders.h"
#include "support/ManualSleeper.h"

#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace tw::test {

struct HubOptions
{
    bool testHost = true;
    bool deferPolling = false;
    bool followSourcesFile = false;
    ProviderMaker makeProvider; // the scripted providers when empty
};

// A hub as the program runs it, over a temporary folder, with scripted providers, hand-cranked poll
// clocks, secrets in memory and notifications recorded instead of shown.
struct Hub
{
    QTemporaryDir dir;
    FakeProviders providers;
    ManualSleeper sleeper;
    ManualSleeper historySleeper;
    std::shared_ptr<InMemoryCredentialStore> credentials = std::make_shared<InMemoryCredentialStore>();
    std::shared_ptr<PreferenceStore> settings;
    QList<std::pair<AlertEvent, bool>> posted; // each with whether it could sound
    std::optional<QDateTime> clock; // the hub's time: real time until a test sets it
    std::unique_ptr<AppState> state;

    explicit Hub(const QList<AnySourceConfig> &sources = {}, HubOptions options = {});
    Hub(const Hub &) = delete;
    Hub &operator=(const Hub &) = delete;
    virtual ~Hub();

    // A second run of the program over the same folder, preferences and secrets.
    void restart();
    // What the hub runs with, for a test that starts a program of its own over the same fakes.
    AppState::Environment environment();
    QStringList postedTitles() const;
    bool hasSecret(const QString &name);

private:
    void start();
    HubOptions m_options;
};

} // namespace tw::test
