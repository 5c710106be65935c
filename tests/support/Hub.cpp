#include "Hub.h"

#include "kit/model/SourcesStore.h"

#include <QCoroTask>

using namespace Qt::StringLiterals;

namespace tw::test {

Hub::Hub(const QList<AnySourceConfig> &sources, HubOptions options)
    : settings(std::make_shared<PreferenceStore>(dir.filePath(u"prefs.json"_s)))
    , m_options(options)
{
    SourcesStore::save(sources, dir.path());
    start();
}

Hub::~Hub() = default;

void Hub::restart()
{
    state.reset();
    start();
}

void Hub::start()
{
    state = std::make_unique<AppState>(environment());
}

AppState::Environment Hub::environment()
{
    AppState::Environment environment;
    environment.credentials = credentials;
    environment.sourcesDirectory = dir.path();
    environment.defaults = settings;
    environment.makeProvider = m_options.makeProvider ? m_options.makeProvider : providers.maker();
    environment.sleep = sleeper.function();
    environment.historySleep = historySleeper.function();
    environment.postAlert = [this](const AlertEvent &event, bool sound) {
        posted.append({event, sound});
    };
    environment.testHost = m_options.testHost;
    environment.deferPolling = m_options.deferPolling;
    environment.followSourcesFile = m_options.followSourcesFile;
    environment.now = [this] {
        return clock.value_or(QDateTime::currentDateTimeUtc());
    };
    return environment;
}

QStringList Hub::postedTitles() const
{
    QStringList titles;
    for (const auto &[event, sound] : posted)
        titles << event.title;
    return titles;
}

bool Hub::hasSecret(const QString &name)
{
    return QCoro::waitFor(credentials->read(name)).has_value();
}

} // namespace tw::test
