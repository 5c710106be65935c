#pragma once

#include "kit/model/SourceSnapshot.h"

#include <QHash>
#include <QList>
#include <QObject>

namespace tw {

class AppState;

// The last latencies of each widget, for the popover's sparklines: seeded from the week's history,
// grown by every successful poll, and kept only for the sources that are still configured.
class Sparklines : public QObject
{
    Q_OBJECT

public:
    // At most this many latencies per widget.
    static constexpr qsizetype length = 30;

    explicit Sparklines(AppState &state, QObject *parent = nullptr);

    // By widget key ("<source id>/<widget>").
    const QHash<QString, QList<double>> &values() const { return m_values; }

Q_SIGNALS:
    void changed();

private:
    void append(const SourceSnapshot &snapshot);
    // Drops the lines of removed sources and seeds the ones of sources this run has not polled yet.
    void followSources();

    AppState &m_state;
    QHash<QString, QList<double>> m_values;
};

} // namespace tw
