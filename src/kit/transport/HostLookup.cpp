#include "HostLookup.h"

#include "kit/monitor/ProviderError.h"
#include "kit/transport/Cancelled.h"
#include "kit/transport/Wakeup.h"

#include <QHostInfo>

#include <optional>

using namespace Qt::StringLiterals;

namespace tw::HostLookup {

QCoro::Task<QHostAddress> resolve(QString host, std::chrono::milliseconds timeout, StopToken stop)
{
    if (stop && stop->isStopped())
        throw Cancelled();
    const QHostAddress literal(host);
    if (!literal.isNull())
        co_return literal;
    enum { Done = 1, Stopped };
    Wakeup wakeup(timeout);
    if (stop)
        wakeup.on(stop.get(), &StopSource::stopped, Stopped);
    std::optional<QHostInfo> info;
    // Declared after the wakeup and the result, so it dies first and an answer that arrives while
    // the frame unwinds is dropped with it.
    QObject receiver;
    const int id = QHostInfo::lookupHost(host, &receiver, [&info, &wakeup](const QHostInfo &answer) {
        info = answer;
        wakeup.wake(Done);
    });
    const int why = co_await wakeup;
    if (why != Done)
        QHostInfo::abortHostLookup(id);
    if (why == Stopped)
        throw Cancelled();
    if (why != Done)
        throw ProviderError::upstream(u"timed out"_s);
    if (info->error() != QHostInfo::NoError || info->addresses().isEmpty())
        throw ProviderError::upstream(u"host not found"_s);
    co_return info->addresses().first();
}

} // namespace tw::HostLookup
