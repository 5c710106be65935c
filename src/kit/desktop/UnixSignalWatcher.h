#pragma once

#include <QList>
#include <QObject>

class QSocketNotifier;

namespace tw {

// Turns SIGINT/SIGTERM (a logging-out session, Ctrl+C, systemd) into a Qt signal on the event loop,
// so the history can be flushed before the process ends. One watcher per process.
class UnixSignalWatcher : public QObject
{
    Q_OBJECT
public:
    explicit UnixSignalWatcher(const QList<int> &signals, QObject *parent = nullptr);
    ~UnixSignalWatcher() override;

Q_SIGNALS:
    void received(int signal);

private:
    static void handle(int signal);
    void drain();

    QSocketNotifier *m_notifier = nullptr;
    QList<int> m_signals;
};

} // namespace tw
