#include "kit/model/WidgetData.h"

#include "kit/model/DecodeError.h"
#include "support/ModelCases.h"

#include <QJsonDocument>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

class WidgetDataTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTripsEveryCase_data()
    {
        QTest::addColumn<WidgetData>("widget");
        QTest::newRow("service with latency and detail")
            << WidgetData(ServiceRow{u"7"_s, u"db"_s, ServiceStatus::Warn, 12.5, u"slow"_s});
        QTest::newRow("service without optionals")
            << WidgetData(ServiceRow{u"7"_s, u"db"_s, ServiceStatus::Up, {}, {}});
        QTest::newRow("host with temps") << WidgetData(
            HostStats{u"h1"_s,
                      u"nas"_s,
                      ServiceStatus::Down,
                      5.5,
                      40,
                      {},
                      {DriveTemp{u"sda"_s, 38}, DriveTemp{u"nvme0"_s, 51.25}}});
        QTest::newRow("game") << WidgetData(
            GameServerStatus{u"mc"_s, u"Survival"_s, true, 3, 20, {u"alex"_s, u"steve"_s}, 4.25, u"1.21.4"_s});
        QTest::newRow("game offline, no counts")
            << WidgetData(GameServerStatus{u"mc"_s, u"Survival"_s, false, {}, {}, {}, {}, u"connection refused"_s});
        QTest::newRow("check") << WidgetData(CheckResult{u"tcp"_s, u"ssh"_s, ServiceStatus::Unknown, {}, u"x"_s});
        QTest::newRow("key values") << WidgetData(KeyValues{u"Weather"_s, {{u"Temp"_s, u"21"_s}, {u"Sky"_s, u"—"_s}}});
        QTest::newRow("key values, no fields") << WidgetData(KeyValues{u"Empty"_s, {}});
    }
    void roundTripsEveryCase()
    {
        QFETCH(WidgetData, widget);
        const QByteArray bytes = QJsonDocument(widget.toJson()).toJson();
        QCOMPARE(WidgetData::fromJson(QJsonDocument::fromJson(bytes).object()), widget);
    }

    // Unknown keys are read past; a missing or mistyped one is refused and named.
    void decodesOrRefuses_data() { addCaseRows(u"model/widget-decoding.json"_s); }
    void decodesOrRefuses()
    {
        QFETCH(QJsonObject, given);
        const QJsonObject json = given[u"json"].toObject();
        const QString error = given[u"error"].toString(); // empty: decodes
        try {
            const WidgetData widget = WidgetData::fromJson(json);
            QVERIFY2(error.isEmpty(), "decoded a value that must fail");
            if (given[u"writtenBackTheSame"].toBool())
                QCOMPARE(widget.toJson(), json);
        } catch (const DecodeError &e) {
            QVERIFY2(!error.isEmpty() && e.text().contains(error), qPrintable(e.text()));
        }
    }

    void derivedReadingsAndKeys_data()
    {
        QTest::addColumn<WidgetData>("widget");
        QTest::addColumn<QString>("key");
        QTest::addColumn<ServiceStatus>("status");
        QTest::addColumn<double>("latency"); // -1: none
        const QString uuid = u"0F8E1C9A-3B7D-4E2A-9C6B-5D4A3B2C1D0E"_s;
        QTest::newRow("offline game is down whatever its detail")
            << WidgetData(GameServerStatus{u"mc"_s, u"x"_s, false, 1, 2, {}, 9.0, u"up and running"_s})
            << uuid + u"/game:mc"_s << ServiceStatus::Down << 9.0;
        QTest::newRow("online game is up") << WidgetData(GameServerStatus{u"mc"_s, u"x"_s, true, {}, {}, {}, {}, {}})
                                           << uuid + u"/game:mc"_s << ServiceStatus::Up << -1.0;
        QTest::newRow("host never has a latency")
            << WidgetData(HostStats{u"h"_s, u"x"_s, ServiceStatus::Warn, 1, 2, 3, {}}) << uuid + u"/host:h"_s
            << ServiceStatus::Warn << -1.0;
        QTest::newRow("key values are always up, keyed by title")
            << WidgetData(KeyValues{u"Solar"_s, {}}) << uuid + u"/kv:Solar"_s << ServiceStatus::Up << -1.0;
        QTest::newRow("service keeps its own reading")
            << WidgetData(ServiceRow{u"42"_s, u"x"_s, ServiceStatus::Down, 3.5, {}}) << uuid + u"/service:42"_s
            << ServiceStatus::Down << 3.5;
        QTest::newRow("check") << WidgetData(CheckResult{u"tcp"_s, u"x"_s, ServiceStatus::Up, 0.25, {}})
                               << uuid + u"/check:tcp"_s << ServiceStatus::Up << 0.25;
    }
    void derivedReadingsAndKeys()
    {
        QFETCH(WidgetData, widget);
        QFETCH(QString, key);
        QFETCH(ServiceStatus, status);
        QFETCH(double, latency);
        const QUuid id = QUuid::fromString(u"0f8e1c9a-3b7d-4e2a-9c6b-5d4a3b2c1d0e"_s);
        QCOMPARE(widget.widgetKey(id), key);
        QCOMPARE(widget.status(), status);
        QCOMPARE(widget.latencyMs(), latency < 0 ? std::optional<double>() : std::optional<double>(latency));
    }

    void nanLatencyMakesASnapshotChange()
    {
        const WidgetData a(CheckResult{u"c"_s, u"c"_s, ServiceStatus::Up, std::nan(""), {}});
        QVERIFY(!(a == a));
    }
};

QTEST_GUILESS_MAIN(WidgetDataTest)
#include "WidgetDataTest.moc"
