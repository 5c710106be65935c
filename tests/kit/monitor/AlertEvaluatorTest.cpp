#include "kit/monitor/AlertEvaluator.h"

#include "kit/model/JsonRead.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

namespace {

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);

// "name:state". The host "nas" may also read "over" (up, past its limits), the game server
// "valheim" reads "online" or "offline"; anything else is a service row.
WidgetData widget(const QString &token)
{
    const QString name = token.section(u':', 0, 0);
    const QString state = token.section(u':', 1);
    const QHash<QString, ServiceStatus> statuses{{u"up"_s, ServiceStatus::Up},
                                                 {u"over"_s, ServiceStatus::Up},
                                                 {u"down"_s, ServiceStatus::Down},
                                                 {u"warn"_s, ServiceStatus::Warn},
                                                 {u"maintenance"_s, ServiceStatus::Maintenance},
                                                 {u"paused"_s, ServiceStatus::Paused}};
    const ServiceStatus status = statuses.value(state, ServiceStatus::Unknown);
    if (name == u"nas"_s) {
        HostStats host{u"h"_s, name, status, 10, 20, 94.2, {}, {}};
        if (state == u"over"_s)
            host.overLimits = {u"disk 94 %"_s};
        return host;
    }
    if (name == u"valheim"_s)
        return GameServerStatus{u"g"_s, name, state == u"online"_s, {}, {}, {}, {}, {}};
    if (name == u"values"_s)
        return KeyValues{name, {}};
    return ServiceRow{name, name, status, {}, {}};
}

} // namespace

class AlertEvaluatorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Polls a minute apart; each alert's key names the source, the widget or the host's limits, and a
    // recovery carries the time its outage was told.
    void outagesAndRecoveries_data()
    {
        QTest::addColumn<int>("threshold");
        QTest::addColumn<QStringList>("polls"); // "-" a failed poll, else its widgets
        QTest::addColumn<QStringList>("alerts"); // per poll, the titles and details
        const QString down = u"NAS is unreachable"_s;
        const QString back = u"NAS recovered"_s;
        const QString past = u"nas is past its limits: disk 94 %"_s;
        const QString within = u"nas is back within its limits"_s;
        QTest::newRow("threshold 3, a long outage, and the count starts again")
            << 3 << QStringList{u"-"_s, u"-"_s, u"-"_s, u"-"_s, {}, u"-"_s, u"-"_s, u"-"_s}
            << QStringList{{}, {}, down, {}, back, {}, {}, down};
        QTest::newRow("threshold 0 acts as 1") << 0 << QStringList{u"-"_s, u"-"_s, {}} << QStringList{down, {}, back};
        QTest::newRow("warn, unknown, maintenance and paused neither advance nor reset")
            << 3
            << QStringList{u"a:down"_s,
                           u"a:warn"_s,
                           u"a:down"_s,
                           u"a:unknown"_s,
                           u"a:maintenance"_s,
                           u"a:paused values"_s,
                           u"a:down"_s,
                           u"a:warn"_s,
                           u"a:maintenance"_s,
                           u"a:up"_s}
            << QStringList{{}, {}, {}, {}, {}, {}, u"a is down"_s, {}, {}, u"a recovered"_s};
        QTest::newRow("equal keys count twice in one poll")
            << 2 << QStringList{u"a:down a:down"_s} << QStringList{u"a is down"_s};
        QTest::newRow("a failed poll leaves the widgets' counts alone")
            << 2 << QStringList{u"a:down"_s, u"-"_s, u"a:down"_s} << QStringList{{}, {}, u"a is down"_s};
        QTest::newRow("the source's recovery comes before its widgets' news")
            << 1 << QStringList{u"-"_s, u"a:up valheim:offline"_s, u"valheim:online"_s}
            << QStringList{down, back + u" | valheim is down"_s, u"valheim recovered"_s};
        // A host's limits are an outage of their own: counted apart from the host being down, only
        // while it is up, and told with their readings.
        QTest::newRow("past its limits for the threshold, then back")
            << 2 << QStringList{u"nas:over"_s, u"nas:over"_s, u"nas:over"_s, u"nas:up"_s}
            << QStringList{{}, past, {}, within};
        QTest::newRow("one reading past its limits is no alert")
            << 2 << QStringList{u"nas:over"_s, u"nas:up"_s, u"nas:over"_s, u"nas:up"_s} << QStringList{{}, {}, {}, {}};
        QTest::newRow("down or unknown between readings past neither counts nor ends")
            << 2 << QStringList{u"nas:over"_s, u"nas:down"_s, u"nas:unknown"_s, u"nas:over"_s, u"nas:up"_s}
            << QStringList{{}, {}, {}, past, within};
        // Coming back from an outage past a limit is still a recovery; the limits then count afresh.
        QTest::newRow("down, then up past its limits")
            << 2 << QStringList{u"nas:down"_s, u"nas:down"_s, u"nas:over"_s, u"nas:over"_s}
            << QStringList{{}, u"nas is down"_s, u"nas recovered"_s, past};
        QTest::newRow("past its limits, then down: two outages")
            << 2 << QStringList{u"nas:over"_s, u"nas:over"_s, u"nas:down"_s, u"nas:down"_s, u"nas:up"_s}
            << QStringList{{}, past, {}, u"nas is down"_s, u"nas recovered | "_s + within};
    }
    void outagesAndRecoveries()
    {
        TCPPortConfig config(QUuid::createUuid(), u"NAS"_s, u"nas"_s, 22);
        config.alertThreshold = TW_DATA(int, threshold);
        AlertEvaluator evaluator;
        QHash<QString, QDateTime> toldAt;
        QStringList alerts;
        QDateTime now = t0;
        for (const QString &poll : TW_DATA(QStringList, polls)) {
            now = now.addSecs(60);
            QList<WidgetData> widgets;
            for (const QString &token : poll.split(u' ', Qt::SkipEmptyParts))
                widgets.append(widget(token));
            const QList<AlertEvent> events = poll == u"-"_s
                ? evaluator.recordFailure(config, now)
                : evaluator.recordSuccess(config, {config.id, now, widgets}, now);
            QStringList texts;
            for (const AlertEvent &event : events) {
                texts.append(event.title + (event.detail ? u": "_s + *event.detail : QString()));
                QCOMPARE(event.sourceID, config.id);
                const QString name = event.title.section(u' ', 0, 0);
                QString key = JsonRead::uuidText(config.id);
                if (name != config.displayName)
                    key = widget(name + u":up"_s).widgetKey(config.id)
                        + (event.title.contains(u"limits"_s) ? u"#limits"_s : QString());
                QCOMPARE(event.key, key);
                if (event.kind == AlertEvent::Kind::Down) {
                    QCOMPARE(event.downSince, now);
                    toldAt.insert(key, now);
                } else {
                    QCOMPARE(event.downSince, toldAt.take(key));
                }
            }
            alerts.append(texts.join(u" | "_s));
        }
        QCOMPARE(alerts, TW_DATA(QStringList, alerts));
    }

    // A server of monitors out of reach says nothing of its monitors, unlike a port out of reach.
    void unreachableServerOfMonitors()
    {
        KumaConfig kuma(QUuid::createUuid(), u"Homelab Kuma"_s, u"http://k"_s);
        kuma.alertThreshold = 1;
        AlertEvaluator evaluator;
        QCOMPARE(evaluator.recordFailure(kuma, t0).value(0).title, u"Homelab Kuma can't be reached"_s);
    }
};

QTEST_GUILESS_MAIN(AlertEvaluatorTest)
#include "AlertEvaluatorTest.moc"
