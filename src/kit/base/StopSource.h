#pragma once

#include <QObject>

#include <memory>

namespace tw {

// A one-way cancellation flag shared between the owner of a task and every wait inside it. QCoro
// has no cancellation of its own: each wait races the `stopped` signal, and each resumption checks
// isStopped() before touching anything the owner may have freed.
class StopSource : public QObject
{
    Q_OBJECT
public:
    bool isStopped() const { return m_stopped; }
    void requestStop();

Q_SIGNALS:
    void stopped();

private:
    bool m_stopped = false;
};

using StopToken = std::shared_ptr<StopSource>;

inline StopToken makeStopToken()
{
    return std::make_shared<StopSource>();
}

} // namespace tw
