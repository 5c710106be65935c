#pragma once

#include "kit/model/AnySourceConfig.h"

#include <QDBusConnection>

namespace tw {

// Tidewatch as another program on the same session sees it: whether it runs, which sources file it
// keeps, and a way to hand it a change of its sources. Every call waits a bounded time.
class RunningApplication
{
public:
    enum class Status {
        NotRunning, // no session bus, or nobody owns the application's name
        Running,
        Unreachable, // the name is owned, but its owner does not answer (hung, or too old to ask)
    };

    struct Reply
    {
        bool accepted = false;
        QString text; // what the application answered, or why it could not be asked
        bool operator==(const Reply &) const = default;
    };

    static constexpr int callTimeoutMs = 10'000;

    // Asks the bus; blocks for at most the call time-out.
    static RunningApplication find(QDBusConnection bus = QDBusConnection::sessionBus());

    Status status() const { return m_status; }
    QString sourcesFile() const { return m_sourcesFile; }
    // Why an Unreachable application could not be asked.
    QString problem() const { return m_problem; }

    Reply addSource(const AnySourceConfig &config) const;
    Reply replaceSources(const QList<AnySourceConfig> &sources) const;

private:
    explicit RunningApplication(QDBusConnection bus);
    Reply call(const QString &method, const QString &argument) const;

    QDBusConnection m_bus;
    Status m_status = Status::NotRunning;
    QString m_sourcesFile;
    QString m_problem;
};

QString toText(RunningApplication::Status status);

} // namespace tw
