#include "app/PopoverRows.h"

#include "kit/model/JsonRead.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace tw::PopoverRows;
using namespace Qt::StringLiterals;

namespace {

WidgetData service(const char *id, ServiceStatus status, std::optional<double> latency = {})
{
    return ServiceRow{QString::fromLatin1(id), QString::fromLatin1(id), status, latency, {}};
}

struct Estate
{
    State state;

    AnySourceConfig add(const char *name, QList<WidgetData> widgets)
    {
        AnySourceConfig s = KumaConfig(QUuid::createUuid(), QString::fromLatin1(name), u"http://k"_s);
        state.sources.append(s);
        state.snapshots.insert(s.id(), SourceSnapshot{s.id(), QDateTime::currentDateTimeUtc(), widgets});
        return s;
    }
    QString key(const AnySourceConfig &s, const char *id) const
    {
        return JsonRead::uuidText(s.id()) + u"/service:"_s + QString::fromLatin1(id);
    }
};

} // namespace

class PopoverRowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void singleWidgetStandsForItsSourceUnderTheSourceName()
    {
        Estate e;
        const auto s =
            e.add("Kuma",
                  {service("a", ServiceStatus::Up), service("b", ServiceStatus::Up), service("c", ServiceStatus::Up)});
        e.state.layout.hidden = {e.key(s, "a"), e.key(s, "c")};
        const QList<Row> rows = popoverRows(e.state);
        QCOMPARE(rows.size(), 1);
        const auto *single = rows.first().as<Row::Single>();
        QVERIFY(single);
        QCOMPARE(single->key, e.key(s, "b"));
        QCOMPARE(single->widget.name(), u"Kuma"_s);
        QCOMPARE(rows.first().id(), u"single:"_s + e.key(s, "b"));

        e.state.layout.hidden.insert(e.key(s, "b"));
        QVERIFY(popoverRows(e.state).isEmpty());
    }

    void headerCountsVisibleButTakesStatusFromHiddenToo()
    {
        Estate e;
        const auto s = e.add("Kuma",
                             {service("a", ServiceStatus::Up, 10),
                              service("b", ServiceStatus::Warn, 30),
                              service("c", ServiceStatus::Down)});
        e.state.layout.hidden = {e.key(s, "c")};
        QList<Row> rows = popoverRows(e.state);
        QCOMPARE(rows.size(), 3);
        const auto *header = rows.first().as<Row::Header>();
        QVERIFY(header);
        QCOMPARE(header->count, 2);
        QCOMPARE(header->aggregate, u"1 warn \u00B7 1 up"_s);
        QCOMPARE(header->avgLatencyMs, 20.0);
        QCOMPARE(header->status, ServiceStatus::Down);
        QCOMPARE(rows.at(1).as<Row::Child>()->widget.name(), u"a"_s);

        e.state.layout.collapsed = {JsonRead::uuidText(s.id())};
        rows = popoverRows(e.state);
        QCOMPARE(rows.size(), 1);
        QVERIFY(rows.first().as<Row::Header>()->collapsed);
        QCOMPARE(rows.first().as<Row::Header>()->count, 2);
        const QList<RowGroup> groups = groupRows(rows);
        QCOMPARE(groups.size(), 1);
        QVERIFY(groups.first().isGroup);
        QVERIFY(groups.first().children.isEmpty());
    }

    // A failing source keeps what it last saw on view, under its error and without colour; a source
    // with a single row is its error; either way it counts once, as down.
    void failingSourceKeepsItsRowsStaleAndCountsOnce()
    {
        Estate e;
        const auto s = e.add("Kuma", {service("a", ServiceStatus::Up, 12), service("b", ServiceStatus::Down)});
        const QDateTime seen = e.state.snapshots[s.id()].fetchedAt;
        e.state.errors.insert(s.id(), u"timed out"_s);
        QList<Row> rows = popoverRows(e.state);
        QCOMPARE(rows.size(), 3);
        const auto *header = rows.first().as<Row::Header>();
        QVERIFY(header);
        QCOMPARE(header->aggregate, u"Can't be reached \u00B7 timed out"_s);
        QCOMPARE(header->status, ServiceStatus::Down);
        QCOMPARE(header->avgLatencyMs, std::nullopt);
        for (const Row &row : rows.mid(1))
            QCOMPARE(row.as<Row::Child>()->staleSince, std::optional(seen));
        const auto tally = statusTally(e.state.snapshots, e.state.errors);
        QCOMPARE(tally.value(ServiceStatus::Down), 1);
        QCOMPARE(tally.value(ServiceStatus::Up), 0);
        QCOMPARE(affectedSummary(e.state.snapshots, e.state.errors), u"1 service affected"_s);

        e.state.layout.hidden = {e.key(s, "b")};
        QCOMPARE(popoverRows(e.state), (QList<Row>{Row{Row::Error{s, u"timed out"_s}}}));
        const auto single = e.add("Port", {service("p", ServiceStatus::Up)});
        e.state.errors.insert(single.id(), u"refused"_s);
        QCOMPARE(rowsForSource(single.id(), e.state), (QList<Row>{Row{Row::Error{single, u"refused"_s}}}));
    }

    // Behind a source that is down, a failure is put down to it: no red of its own.
    void failureBehindADownSourceIsItsParents()
    {
        Estate e;
        const auto kuma = e.add("Kuma", {service("a", ServiceStatus::Up), service("b", ServiceStatus::Up)});
        const auto single = e.add("Port", {service("p", ServiceStatus::Up)});
        for (const auto &source : {kuma, single}) {
            e.state.errors.insert(source.id(), u"timed out"_s);
            e.state.behind.insert(source.id(), u"Router"_s);
        }
        const QList<Row> rows = popoverRows(e.state);
        QCOMPARE(rows.size(), 4);
        const auto *header = rows.first().as<Row::Header>();
        QCOMPARE(header->aggregate, u"Behind Router"_s);
        QCOMPARE(header->status, ServiceStatus::Unknown);
        QVERIFY(rows.at(1).as<Row::Child>()->staleSince);
        QCOMPARE(rows.last(), (Row{Row::Error{single, u"timed out"_s, u"Router"_s}}));
        // A closed port behind it answers "down" without failing its poll: that too is the router's.
        const auto port = e.add("SSH", {service("s", ServiceStatus::Down)});
        e.state.behind.insert(port.id(), u"Router"_s);
        QCOMPARE(rowsForSource(port.id(), e.state), (QList<Row>{Row{Row::Error{port, QString(), u"Router"_s}}}));
    }

    void staleByAge_data()
    {
        QTest::addColumn<double>("interval");
        QTest::addColumn<int>("silentSeconds");
        QTest::addColumn<bool>("stale");
        QTest::newRow("fresh") << 60.0 << 5 << false;
        QTest::newRow("two intervals late is a slow poll") << 60.0 << 120 << false;
        QTest::newRow("exactly three intervals") << 60.0 << 180 << false;
        QTest::newRow("past three intervals") << 60.0 << 181 << true;
        QTest::newRow("long interval") << 3600.0 << 3 * 3600 + 1 << true;
        QTest::newRow("interval below the floor counts as 5 s") << 1.0 << 14 << false;
        QTest::newRow("interval below the floor, stale") << 1.0 << 16 << true;
        QTest::newRow("no clock") << 60.0 << -1 << false;
    }
    void staleByAge()
    {
        Estate e;
        const auto s = e.add("Kuma", {service("a", ServiceStatus::Down, 12), service("b", ServiceStatus::Up)});
        const auto single = e.add("One", {service("x", ServiceStatus::Up)});
        const QDateTime seen = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
        for (auto &source : e.state.sources)
            source.common().pollInterval = TW_DATA(double, interval);
        for (auto &snapshot : e.state.snapshots)
            snapshot.fetchedAt = seen;
        const int silent = TW_DATA(int, silentSeconds);
        e.state.now = silent < 0 ? QDateTime() : seen.addSecs(silent);
        const bool stale = TW_DATA(bool, stale);
        const std::optional<QDateTime> since = stale ? std::optional(seen) : std::nullopt;

        const QList<Row> rows = popoverRows(e.state);
        QCOMPARE(rows.size(), 4);
        const auto *header = rows.first().as<Row::Header>();
        // An old outage is no outage now: the header of stale rows is neither red nor timed.
        QCOMPARE(header->status, stale ? ServiceStatus::Unknown : ServiceStatus::Down);
        QCOMPARE(header->avgLatencyMs.has_value(), !stale);
        QCOMPARE(rows.at(1).as<Row::Child>()->staleSince, since);
        QCOMPARE(rows.at(2).as<Row::Child>()->staleSince, since);
        QCOMPARE(rows.at(3).as<Row::Single>()->staleSince, since);
        Q_UNUSED(single);
    }

    void sourcesWithoutDataOrWidgets()
    {
        Estate e;
        const auto empty = e.add("Empty", {});
        AnySourceConfig waiting = TCPPortConfig(QUuid::createUuid(), u"New"_s, u"h"_s, 1);
        e.state.sources.append(waiting);
        QCOMPARE(popoverRows(e.state), (QList<Row>{Row{Row::Empty{empty}}}));
    }

    void groupingFollowsHeadersAndLayoutOrder()
    {
        Estate e;
        const auto a = e.add("A", {service("x", ServiceStatus::Up)});
        const auto b = e.add("B", {service("x", ServiceStatus::Up), service("y", ServiceStatus::Up)});
        const auto c = e.add("C", {service("x", ServiceStatus::Up)});
        e.state.layout.sourceOrder = {JsonRead::uuidText(b.id()), JsonRead::uuidText(c.id())};
        const QList<RowGroup> groups = groupRows(popoverRows(e.state));
        QCOMPARE(groups.size(), 3);
        QCOMPARE(groups.at(0).id(), u"header:"_s + JsonRead::uuidText(b.id()));
        QCOMPARE(groups.at(0).children.size(), 2);
        QVERIFY(!groups.at(1).isGroup);
        QCOMPARE(groups.at(2).id(), u"single:"_s + e.key(a, "x"));

        const QList<RowGroup> orphan = groupRows({Row{Row::Child{u"k"_s, service("x", ServiceStatus::Up)}}});
        QVERIFY(!orphan.first().isGroup);
    }

    void headerComputations_data()
    {
        QTest::addColumn<QList<WidgetData>>("widgets");
        QTest::addColumn<QString>("aggregate");
        QTest::addColumn<ServiceStatus>("worst");
        QTest::addColumn<double>("average"); // -1: none
        QTest::newRow("worst first, unknown before up")
            << QList<WidgetData>{service("a", ServiceStatus::Up, 1),
                                 service("b", ServiceStatus::Unknown),
                                 service("c", ServiceStatus::Down),
                                 service("d", ServiceStatus::Up, 3)}
            << u"1 down \u00B7 1 unknown \u00B7 2 up"_s << ServiceStatus::Down << 2.0;
        QTest::newRow("warn beats unknown")
            << QList<WidgetData>{service("a", ServiceStatus::Unknown), service("b", ServiceStatus::Warn)}
            << u"1 warn \u00B7 1 unknown"_s << ServiceStatus::Warn << -1.0;
        QTest::newRow("up beats unknown")
            << QList<WidgetData>{service("a", ServiceStatus::Unknown), service("b", ServiceStatus::Up)}
            << u"1 unknown \u00B7 1 up"_s << ServiceStatus::Up << -1.0;
        QTest::newRow("key values count as up, hosts give no latency")
            << QList<WidgetData>{WidgetData(KeyValues{u"t"_s, {}}),
                                 WidgetData(HostStats{u"h"_s, u"h"_s, ServiceStatus::Up, 1, 2, 3, {}})}
            << u"2 up"_s << ServiceStatus::Up << -1.0;
        QTest::newRow("offline game is down")
            << QList<WidgetData>{WidgetData(GameServerStatus{u"g"_s, u"g"_s, false, {}, {}, {}, 5.0, {}})}
            << u"1 down"_s << ServiceStatus::Down << 5.0;
        QTest::newRow("nothing") << QList<WidgetData>{} << QString() << ServiceStatus::Unknown << -1.0;
    }
    void headerComputations()
    {
        QFETCH(QList<WidgetData>, widgets);
        QFETCH(QString, aggregate);
        QFETCH(ServiceStatus, worst);
        QFETCH(double, average);
        QCOMPARE(aggregateText(widgets), aggregate);
        QCOMPARE(worstStatus(widgets), worst);
        QCOMPARE(averageLatency(widgets), average < 0 ? std::optional<double>() : std::optional<double>(average));
    }

    void summaries_data()
    {
        QTest::addColumn<QList<WidgetData>>("widgets");
        QTest::addColumn<QString>("affected"); // empty: none
        QTest::addColumn<QString>("inactive");
        QTest::newRow("only unknown") << QList<WidgetData>{service("a", ServiceStatus::Unknown)} << QString()
                                      << u"1 service inactive"_s;
        QTest::newRow("one warn") << QList<WidgetData>{service("a", ServiceStatus::Warn),
                                                       service("b", ServiceStatus::Up)}
                                  << u"1 service affected"_s << u"2 services inactive"_s;
        QTest::newRow("all up") << QList<WidgetData>{service("a", ServiceStatus::Up), service("b", ServiceStatus::Up)}
                                << u"2 services online"_s << u"2 services inactive"_s;
        QTest::newRow("nothing") << QList<WidgetData>{} << QString() << QString();
    }
    void summaries()
    {
        QFETCH(QList<WidgetData>, widgets);
        QFETCH(QString, affected);
        QFETCH(QString, inactive);
        Estate e;
        e.add("S", widgets);
        QCOMPARE(affectedSummary(e.state.snapshots, {}).value_or(QString()), affected);
        QCOMPARE(inactiveSummary(e.state.snapshots).value_or(QString()), inactive);
    }
};

QTEST_GUILESS_MAIN(PopoverRowsTest)
#include "PopoverRowsTest.moc"
