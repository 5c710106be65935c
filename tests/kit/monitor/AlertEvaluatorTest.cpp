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
        QTest::addColumn<QString>("polls"); // "-" a failed poll, "+" one with no widgets, else its widgets
        QTest::addColumn<QString>("alerts"); // the polls that told something, by number
        QTest::newRow("threshold 3, a long outage, and the count starts again")
            << 3 << u"-, -, -, -, +, -, -, -"_s << u"3: NAS is unreachable; 5: NAS recovered; 8: NAS is unreachable"_s;
        QTest::newRow("threshold 0 acts as 1") << 0 << u"-, -, +"_s << u"1: NAS is unreachable; 3: NAS recovered"_s;
        QTest::newRow("warn, unknown, maintenance and paused neither advance nor reset")
            << 3
            << u"a:down, a:warn, a:down, a:unknown, a:maintenance, a:paused values, "
               "a:down, a:warn, a:maintenance, a:up"_s
            << u"7: a is down; 10: a recovered"_s;
        QTest::newRow("equal keys count twice in one poll") << 2 << u"a:down a:down"_s << u"1: a is down"_s;
        QTest::newRow("a failed poll leaves the widgets' counts alone")
            << 2 << u"a:down, -, a:down"_s << u"3: a is down"_s;
        QTest::newRow("the source's recovery comes before its widgets' news")
            << 1 << u"-, a:up valheim:offline, valheim:online"_s
            << u"1: NAS is unreachable; 2: NAS recovered | valheim is down; 3: valheim recovered"_s;
        // A host's limits are an outage of their own: counted apart from the host being down, only
        // while it is up, and told with their readings.
        QTest::newRow("past its limits for the threshold, then back")
            << 2 << u"nas:over, nas:over, nas:over, nas:up"_s
            << u"2: nas is past its limits: disk 94 %; 4: nas is back within its limits"_s;
        QTest::newRow("one reading past its limits is no alert")
            << 2 << u"nas:over, nas:up, nas:over, nas:up"_s << QString();
        QTest::newRow("down or unknown between readings past neither counts nor ends")
            << 2 << u"nas:over, nas:down, nas:unknown, nas:over, nas:up"_s
            << u"4: nas is past its limits: disk 94 %; 5: nas is back within its limits"_s;
        // Coming back from an outage past a limit is still a recovery; the limits then count afresh.
        QTest::newRow("down, then up past its limits")
            << 2 << u"nas:down, nas:down, nas:over, nas:over"_s
            << u"2: nas is down; 3: nas recovered; 4: nas is past its limits: disk 94 %"_s;
        QTest::newRow("past its limits, then down: two outages")
            << 2 << u"nas:over, nas:over, nas:down, nas:down, nas:up"_s
            << u"2: nas is past its limits: disk 94 %; 4: nas is down; "
               "5: nas recovered | nas is back within its limits"_s;
    }
    void outagesAndRecoveries()
    {
        TCPPortConfig config(QUuid::createUuid(), u"NAS"_s, u"nas"_s, 22);
        config.alertThreshold = TW_DATA(int, threshold);
        AlertEvaluator evaluator;
        QHash<QString, QDateTime> toldAt;
        QStringList alerts;
        const QStringList polls = TW_DATA(QString, polls).split(u", "_s);
        for (qsizetype number = 1; number <= polls.size(); ++number) {
            const QString &poll = polls[number - 1];
            const QDateTime now = t0.addSecs(60 * number);
            QList<WidgetData> widgets;
            for (const QString &token : poll.split(u' ', Qt::SkipEmptyParts)) {
                if (token != u"+"_s)
                    widgets.append(widget(token));
            }
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
            if (!texts.isEmpty())
                alerts.append(u"%1: %2"_s.arg(number).arg(texts.join(u" | "_s)));
        }
        QCOMPARE(alerts.join(u"; "_s), TW_DATA(QString, alerts));
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
