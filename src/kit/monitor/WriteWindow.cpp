#include "WriteWindow.h"

#include "kit/base/Logging.h"

#include <QPointer>

namespace tw {

WriteWindow::WriteWindow(double seconds, SleepFunction sleep, std::function<void()> save, QObject *parent)
    : QObject(parent)
    , m_seconds(seconds)
    , m_sleep(std::move(sleep))
    , m_save(std::move(save))
{ }

WriteWindow::~WriteWindow()
{
    if (m_pending)
        m_pending->requestStop();
}

void WriteWindow::markChanged()
{
    m_dirty = true;
    if (m_pending)
        return; // rides on the window already open
    m_pending = makeStopToken();
    [](QPointer<WriteWindow> self, SleepFunction sleep, double seconds, StopToken stop) -> QCoro::Task<> {
        co_await sleep(seconds, stop);
        if (stop->isStopped() || !self)
            co_return;
        self->m_pending.reset();
        self->write();
    }(this, m_sleep, m_seconds, m_pending);
}

void WriteWindow::flush()
{
    if (m_pending) {
        m_pending->requestStop();
        m_pending.reset();
    }
    write();
}

void WriteWindow::write()
{
    if (!m_dirty)
        return;
    QString error;
    try {
        m_save();
        m_dirty = false;
    } catch (const std::exception &failure) {
        error = QString::fromUtf8(failure.what());
        qCWarning(logging::storage, "%s", failure.what());
    }
    if (error != m_writeError) {
        m_writeError = error;
        Q_EMIT writeErrorChanged();
    }
    if (error.isEmpty())
        Q_EMIT written();
}

} // namespace tw
