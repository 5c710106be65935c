#include "OnboardingController.h"

#include "app/Preferences.h"
#include "app/SettingsText.h"
#include "kit/monitor/AppState.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace tw {

OnboardingController::OnboardingController(AppState *state,
                                           Preferences *preferences,
                                           Authorization authorization,
                                           QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_preferences(preferences)
    , m_authorization(std::move(authorization))
{
    connect(m_state, &AppState::sourcesChanged, this, &OnboardingController::sourcesChanged);
}

OnboardingController::~OnboardingController()
{
    m_stop->requestStop();
}

QString OnboardingController::sourcesAdded() const
{
    const qsizetype count = m_state->sources().size();
    return count == 0 ? QString() : SettingsText::sourcesAdded(count);
}

QString OnboardingController::notifications() const
{
    if (!m_permission)
        return u"unknown"_s;
    return *m_permission == AlertCenter::Authorization::Authorized ? u"on"_s : u"off"_s;
}

void OnboardingController::next()
{
    if (m_step >= 2)
        return;
    ++m_step;
    Q_EMIT stepChanged();
}

void OnboardingController::back()
{
    if (m_step <= 0)
        return;
    --m_step;
    Q_EMIT stepChanged();
}

void OnboardingController::enableNotifications()
{
    readPermission();
}

void OnboardingController::opened()
{
    if (m_step != 0) {
        m_step = 0;
        Q_EMIT stepChanged();
    }
    readPermission();
}

void OnboardingController::closed()
{
    m_preferences->setOnboardingCompleted(true);
}

QCoro::Task<> OnboardingController::readPermission()
{
    if (!m_authorization)
        co_return;
    QPointer<OnboardingController> self = this;
    const StopToken stop = m_stop;
    auto ask = m_authorization;
    const AlertCenter::Authorization status = co_await ask();
    if (!self || stop->isStopped())
        co_return;
    m_permission = status;
    Q_EMIT notificationsChanged();
}

} // namespace tw
