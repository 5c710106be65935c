#pragma once

#include "kit/providers/SourceProvider.h"

#include <QHash>
#include <QObject>
#include <QSet>

namespace tw::test {

// A scripted stand-in for the provider registry. Every source succeeds with one check widget unless
// told to fail; a held source's fetch ignores its stop token and answers only when released, like a
// slow network exchange that finishes after its poll was cancelled.
class FakeProviders : public QObject
{
    Q_OBJECT
public:
    ProviderMaker maker();

    void failWith(const QUuid &id, const QString &text) { m_failures.insert(id, text); }
    void succeed(const QUuid &id) { m_failures.remove(id); }
    // What every later successful fetch of `id` yields, instead of the one numbered check widget.
    void setWidgets(const QUuid &id, QList<WidgetData> widgets) { m_widgets.insert(id, std::move(widgets)); }
    void failToMake(const QUuid &id, const QString &text) { m_makeFailures.insert(id, text); }
    // The time later fetches of `id` say they read their values at, as a provider's clock behind ours would.
    void setFetchedAt(const QUuid &id, const QDateTime &time) { m_fetchedAt.insert(id, time); }
    void hold(const QUuid &id) { m_held.insert(id); }
    void releaseHeld() { Q_EMIT heldReleased(); }

    int fetchCount(const QUuid &id) const { return m_fetches.value(id); }
    int totalFetches() const { return m_total; }

    // The widget every successful fetch of a source yields.
    static WidgetData widgetFor(const AnySourceConfig &config, int fetchNumber);

Q_SIGNALS:
    void heldReleased();

private:
    QCoro::Task<SourceSnapshot> fetch(AnySourceConfig config, int fetchNumber);

    QHash<QUuid, QString> m_failures;
    QHash<QUuid, QDateTime> m_fetchedAt;
    QHash<QUuid, QList<WidgetData>> m_widgets;
    QHash<QUuid, QString> m_makeFailures;
    QSet<QUuid> m_held;
    QHash<QUuid, int> m_fetches;
    int m_total = 0;
};

} // namespace tw::test
