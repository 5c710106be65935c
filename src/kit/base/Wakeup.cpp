#include "Wakeup.h"

namespace tw {

Wakeup::Wakeup(std::chrono::milliseconds timeout)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_timer, &QTimer::timeout, &m_context, [this] { wake(Timeout); });
    m_timer.start(timeout);
}

void Wakeup::wake(int reason)
{
    if (m_fired)
        return;
    m_fired = true;
    m_reason = reason;
    m_timer.stop();
    if (m_handle)
        QMetaObject::invokeMethod(
            &m_context,
            [h = m_handle] { h.resume(); },
            Qt::QueuedConnection);
}

} // namespace tw
