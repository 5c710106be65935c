#include "kit/monitor/AlertEvaluator.h"

#include "kit/model/JsonRead.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tw::AnySourceConfig)

namespace {

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);

TCPPortConfig source(qint64 threshold)
{
    TCPPortConfig config(QUuid::createUuid(), u"NAS"_s, u"nas"_s, 22);
    config.alertThreshold = threshold;
    return config;
}

WidgetData service(const QString &id, ServiceStatus status)
{
    return ServiceRow{id, u"svc-"_s + id, status, {}, {}};
}

SourceSnapshot snapshot(const QUuid &id, QList<WidgetData> widgets)
{
    return {id, t0, std::move(widgets)};
}

} // namespace

class AlertEvaluatorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneAlertPerOutage_data()
    {
        QTest::addColumn<int>("threshold");
        QTest::addColumn<int>("failures");
        QTest::addColumn<int>("firesAt"); // 0: never
        QTest::newRow("threshold 3, long outage") << 3 << 100 << 3;
        QTest::newRow("threshold 3, short outage") << 3 << 2 << 0;
        QTest::newRow("threshold 1") << 1 << 5 << 1;
        QTest::newRow("threshold 0 acts as 1") << 0 << 1 << 1;
        QTest::newRow("negative threshold acts as 1") << -4 << 2 << 1;
    }
    void oneAlertPerOutage()
    {
        QFETCH(int, failures);
        QFETCH(int, firesAt);
        const TCPPortConfig config = source(TW_DATA(int, threshold));
        AlertEvaluator evaluator;
        QList<int> firedOn;
        for (int i = 1; i <= failures; ++i) {
            const QList<AlertEvent> events = evaluator.recordFailure(config, t0.addSecs(i * 60));
            if (!events.isEmpty()) {
                firedOn.append(i);
                QCOMPARE(events,
                         (QList<AlertEvent>{{config.id,
                                             AlertEvent::Kind::Down,
                                             u"NAS is unreachable"_s,
                                             t0.addSecs(i * 60),
                                             JsonRead::uuidText(config.id),
                                             {}}}));
            }
        }
        QCOMPARE(firedOn, firesAt ? QList<int>{firesAt} : QList<int>{});
        const QList<AlertEvent> after = evaluator.recordSuccess(config, snapshot(config.id, {}), t0.addSecs(999'999));
        if (firesAt)
            QCOMPARE(after,
                     (QList<AlertEvent>{{config.id,
                                         AlertEvent::Kind::Recovered,
                                         u"NAS recovered"_s,
                                         t0.addSecs(firesAt * 60),
                                         JsonRead::uuidText(config.id),
                                         {}}}));
        else
            QVERIFY(after.isEmpty());
        // The count starts again after a success.
        for (int i = 1; i < std::max(firesAt, 1); ++i)
            QVERIFY(evaluator.recordFailure(config, t0).isEmpty());
    }

    // A host's limits are an outage of their own: counted apart from the host being down, only while
    // it is up, and told with their readings.
    void hostLimits_data()
    {
        QTest::addColumn<QStringList>("readings"); // per poll: up, over (up past a limit), down, unknown
        QTest::addColumn<QStringList>("alerts"); // per poll, the alerts' titles and bodies
        QTest::newRow("past for the threshold, then back")
            << QStringList{u"over"_s, u"over"_s, u"over"_s, u"up"_s}
            << QStringList{{}, u"nas is past its limits: disk 94 %"_s, {}, u"nas is back within its limits"_s};
        QTest::newRow("one reading past is no alert")
            << QStringList{u"over"_s, u"up"_s, u"over"_s, u"up"_s} << QStringList{{}, {}, {}, {}};
        QTest::newRow("down or unknown between readings past neither counts nor ends")
            << QStringList{u"over"_s, u"down"_s, u"unknown"_s, u"over"_s, u"up"_s}
            << QStringList{{}, {}, {}, u"nas is past its limits: disk 94 %"_s, u"nas is back within its limits"_s};
        // Coming back from an outage past a limit is still a recovery; the limits then count afresh.
        QTest::newRow("down, then up past a limit")
            << QStringList{u"down"_s, u"down"_s, u"over"_s, u"over"_s}
            << QStringList{{}, u"nas is down"_s, u"nas recovered"_s, u"nas is past its limits: disk 94 %"_s};
        QTest::newRow("past a limit, then down: two outages")
            << QStringList{u"over"_s, u"over"_s, u"down"_s, u"down"_s, u"up"_s}
            << QStringList{{},
                           u"nas is past its limits: disk 94 %"_s,
                           {},
                           u"nas is down"_s,
                           u"nas recovered | nas is back within its limits"_s};
    }
    void hostLimits()
    {
        const TCPPortConfig config = source(2);
        AlertEvaluator evaluator;
        QStringList alerts;
        for (const QString &reading : TW_DATA(QStringList, readings)) {
            HostStats host{u"h"_s, u"nas"_s, ServiceStatus::Up, 10, 20, 94.2, {}, {}};
            if (reading == u"over"_s)
                host.overLimits = {u"disk 94 %"_s};
            else if (reading == u"down"_s)
                host.status = ServiceStatus::Down;
            else if (reading == u"unknown"_s)
                host.status = ServiceStatus::Unknown;
            QStringList texts;
            for (const AlertEvent &event : evaluator.recordSuccess(config, snapshot(config.id, {host}), t0)) {
                texts.append(event.title + (event.detail ? u": "_s + *event.detail : QString()));
                const QString hostKey = WidgetData(host).widgetKey(config.id);
                QCOMPARE(event.key, event.title.contains(u"limits"_s) ? hostKey + u"#limits"_s : hostKey);
            }
            alerts.append(texts.join(u" | "_s));
        }
        QCOMPARE(alerts, TW_DATA(QStringList, alerts));
    }

    // A server of monitors out of reach says nothing of its monitors; a port out of reach is down.
    void unreachableWords_data()
    {
        QTest::addColumn<AnySourceConfig>("source");
        QTest::addColumn<QString>("title");
        const QUuid id = QUuid::createUuid();
        QTest::newRow("kuma") << AnySourceConfig(KumaConfig(id, u"Homelab Kuma"_s, u"http://k"_s))
                              << u"Homelab Kuma can't be reached"_s;
        QTest::newRow("beszel") << AnySourceConfig(BeszelConfig(id, u"Hub"_s, u"http://b"_s, u"t"_s))
                                << u"Hub can't be reached"_s;
        QTest::newRow("json") << AnySourceConfig(JSONWidgetConfig(id, u"API"_s, u"http://j"_s, {}))
                              << u"API can't be reached"_s;
        QTest::newRow("tcp") << AnySourceConfig(TCPPortConfig(id, u"SSH"_s, u"nas"_s, 22)) << u"SSH is unreachable"_s;
        QTest::newRow("http") << AnySourceConfig(HTTPPingConfig(id, u"Web"_s, u"http://w"_s))
                              << u"Web is unreachable"_s;
    }
    void unreachableWords()
    {
        QFETCH(AnySourceConfig, source);
        source.common().alertThreshold = 1;
        AlertEvaluator evaluator;
        QCOMPARE(evaluator.recordFailure(source, t0).value(0).title, TW_DATA(QString, title));
    }

    void warnNeitherAdvancesNorResets()
    {
        const TCPPortConfig config = source(3);
        AlertEvaluator evaluator;
        const auto poll = [&](ServiceStatus status) {
            return evaluator.recordSuccess(config, snapshot(config.id, {service(u"a"_s, status)}), t0);
        };
        QVERIFY(poll(ServiceStatus::Down).isEmpty());
        QVERIFY(poll(ServiceStatus::Warn).isEmpty());
        QVERIFY(poll(ServiceStatus::Down).isEmpty());
        QVERIFY(poll(ServiceStatus::Unknown).isEmpty());
        QVERIFY(poll(ServiceStatus::Maintenance).isEmpty());
        QVERIFY(poll(ServiceStatus::Paused).isEmpty());
        const QList<AlertEvent> third = poll(ServiceStatus::Down);
        QCOMPARE(third.size(), 1);
        QCOMPARE(third.first().title, u"svc-a is down"_s);
        QVERIFY(poll(ServiceStatus::Warn).isEmpty()); // a warning is no recovery
        QVERIFY(poll(ServiceStatus::Maintenance).isEmpty()); // nor is maintenance
        QCOMPARE(poll(ServiceStatus::Up).value(0).title, u"svc-a recovered"_s);
    }

    void equalKeysCountTwiceInOnePoll()
    {
        const TCPPortConfig config = source(2);
        AlertEvaluator evaluator;
        const QList<AlertEvent> events = evaluator.recordSuccess(
            config,
            snapshot(config.id, {service(u"a"_s, ServiceStatus::Down), service(u"a"_s, ServiceStatus::Down)}),
            t0);
        QCOMPARE(events.size(), 1);
        QCOMPARE(events.first().kind, AlertEvent::Kind::Down);
    }

    void sourceRecoveryComesBeforeWidgetEvents()
    {
        const TCPPortConfig config = source(1);
        AlertEvaluator evaluator;
        QCOMPARE(evaluator.recordFailure(config, t0).size(), 1);
        const WidgetData offline = GameServerStatus{u"g"_s, u"Valheim"_s, false, {}, {}, {}, {}, {}};
        const QList<AlertEvent> events =
            evaluator.recordSuccess(config,
                                    snapshot(config.id, {service(u"a"_s, ServiceStatus::Up), offline}),
                                    t0.addSecs(120));
        QCOMPARE(events.size(), 2);
        QCOMPARE(events[0].kind, AlertEvent::Kind::Recovered);
        QCOMPARE(events[0].downSince, t0);
        QCOMPARE(events[1],
                 (AlertEvent{config.id,
                             AlertEvent::Kind::Down,
                             u"Valheim is down"_s,
                             t0.addSecs(120),
                             offline.widgetKey(config.id),
                             {}}));
    }

    void failedPollsLeaveWidgetCountsAlone()
    {
        const TCPPortConfig config = source(2);
        AlertEvaluator evaluator;
        QVERIFY(
            evaluator.recordSuccess(config, snapshot(config.id, {service(u"a"_s, ServiceStatus::Down)}), t0).isEmpty());
        evaluator.recordFailure(config, t0);
        const QList<AlertEvent> events =
            evaluator.recordSuccess(config, snapshot(config.id, {service(u"a"_s, ServiceStatus::Down)}), t0);
        QCOMPARE(events.size(), 1); // the widget's second failing reading
        QCOMPARE(events.first().title, u"svc-a is down"_s);
    }
};

QTEST_GUILESS_MAIN(AlertEvaluatorTest)
#include "AlertEvaluatorTest.moc"
