#pragma once

#include "kit/base/Sleep.h"
#include "kit/base/StopSource.h"

#include <QObject>

#include <functional>
#include <memory>

namespace tw {

// Writes a file once per window after its first change, so that a burst of changes costs one write,
// never one each. A failed write keeps the change unwritten: the next change, or flush() at quitting,
// tries again.
class WriteWindow : public QObject
{
    Q_OBJECT
public:
    // `save` writes the file; it throws on failure, with the user's text as what().
    WriteWindow(double seconds, SleepFunction sleep, std::function<void()> save, QObject *parent = nullptr);
    ~WriteWindow() override;

    // Something changed: a write is due by the end of the window, which this opens if none is open.
    void markChanged();
    // Writes now if anything is unwritten. Never fails.
    void flush();
    // The text of the last write's failure; empty once a write succeeds.
    const QString &writeError() const { return m_writeError; }

Q_SIGNALS:
    void written();
    void writeErrorChanged();

private:
    void write();

    double m_seconds;
    SleepFunction m_sleep;
    std::function<void()> m_save;
    bool m_dirty = false;
    QString m_writeError;
    std::shared_ptr<StopSource> m_pending;
};

} // namespace tw
