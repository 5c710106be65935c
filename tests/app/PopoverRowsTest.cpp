#include "app/PopoverRows.h"

#include "app/SourceListModel.h"
#include "app/Sparklines.h"
#include "kit/model/JsonRead.h"
#include "kit/model/PreferenceStore.h"
#include "support/Hub.h"
#include "support/TestData.h"

#include <QAbstractItemModelTester>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::PopoverRows;
using namespace Qt::StringLiterals;
using Status = ServiceStatus;

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
};

KeyedWidget keyed(const QString &key)
{
    return {key, CheckResult{key, key, ServiceStatus::Up, {}, {}}};
}

// The order a layout gives the widgets reported, each key one letter.
QString arranged(const QString &order, const QString &reported)
{
    WidgetLayout layout;
    layout.order = order.split(QString(), Qt::SkipEmptyParts);
    QList<KeyedWidget> rows;
    for (const QString &key : reported.split(QString(), Qt::SkipEmptyParts))
        rows.append(keyed(key));
    QString shown;
    for (const KeyedWidget &row : layout.ordered(rows))
        shown += row.key;
    return shown;
}

// The rows as one line each, with what the popover shows of them.
QString shape(const QList<Row> &rows)
{
    QStringList lines;
    for (const Row &row : rows) {
        QString line = nameOf(row);
        if (const auto *header = row.as<Row::Header>()) {
            line += u" (%1): %2, %3"_s.arg(header->count).arg(header->aggregate, toText(header->status));
            if (header->avgLatencyMs)
                line += u", %1 ms"_s.arg(*header->avgLatencyMs);
            if (header->collapsed)
                line += u", collapsed"_s;
        } else if (const auto *error = row.as<Row::Error>()) {
            line += error->message.isEmpty() ? u" failed"_s : u" failed: "_s + error->message;
            if (!error->behind.isEmpty())
                line += u", behind "_s + error->behind;
        } else if (const auto *single = row.as<Row::Single>()) {
            line += u" ["_s + single->key.section(u':', -1) + u']' + (single->staleSince ? u" stale"_s : QString());
        } else if (const auto *child = row.as<Row::Child>()) {
            line = u"- "_s + line + (child->staleSince ? u" stale"_s : QString());
        } else {
            line += u" empty"_s;
        }
        lines.append(line);
    }
    return lines.join(u" | "_s);
}

// One row per letter; the name tells which poll it came from.
QList<QVariantMap> listRows(const QString &ids, const QString &poll = u"1"_s)
{
    QList<QVariantMap> list;
    for (const QChar id : ids)
        list.append(QVariantMap{{u"id"_s, QString(id)}, {u"name"_s, QString(QString(id) + poll)}});
    return list;
}

} // namespace

// The rows of the popover and the arrangement the user gives them; the settings list, which changes
// row by row; and the sparklines, which follow the sources and their history.
class PopoverRowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // One source reporting a (up, 10 ms), b (warn, 30 ms) and c (down), or the first few of them; it
    // may be failing ("timed out"), behind a down source ("Router"), or collapsed.
    void rowsOfOneSource_data()
    {
        QTest::addColumn<int>("reported"); // -1: no reading yet
        QTest::addColumn<QString>("hidden");
        QTest::addColumn<QString>("state"); // what else holds: failing, behind, collapsed, every/silent N s
        QTest::addColumn<QString>("rows");
        const QString all = u"Kuma (3): 1 down \u00B7 1 warn \u00B7 1 up, down, 20 ms"_s;
        const QString stale = u" | - a stale | - b stale | - c stale"_s;
        const QString shown = all + u" | - a | - b | - c"_s;
        QTest::newRow("all shown") << 3 << QString() << QString() << shown;
        // An old outage is no outage now: the header of stale rows is neither red nor timed.
        const QString aged = u"Kuma (3): 1 down \u00B7 1 warn \u00B7 1 up, unknown"_s + stale;
        QTest::newRow("silent for three intervals") << 3 << QString() << u"every 60 s, silent 180 s"_s << shown;
        QTest::newRow("silent past three intervals") << 3 << QString() << u"every 60 s, silent 181 s"_s << aged;
        QTest::newRow("interval below the floor counts as 5 s")
            << 3 << QString() << u"every 1 s, silent 14 s"_s << shown;
        QTest::newRow("interval below the floor, stale") << 3 << QString() << u"every 1 s, silent 16 s"_s << aged;
        // Hiding a widget must not hide an outage.
        QTest::newRow("hidden ones colour the header, uncounted")
            << 3 << u"c"_s << QString() << u"Kuma (2): 1 warn \u00B7 1 up, down, 20 ms | - a | - b"_s;
        QTest::newRow("collapsed") << 3 << QString() << u"collapsed"_s << all + u", collapsed"_s;
        QTest::newRow("one shown stands for the source") << 3 << u"ac"_s << QString() << u"Kuma [b]"_s;
        QTest::newRow("all hidden") << 3 << u"abc"_s << QString() << QString();
        QTest::newRow("no reading yet") << -1 << QString() << QString() << QString();
        QTest::newRow("nothing reported") << 0 << QString() << QString() << u"Kuma empty"_s;
        // What a failing source last saw stays on view, under its error and without colour.
        QTest::newRow("failing keeps its rows, stale")
            << 3 << QString() << u"failing"_s << u"Kuma (3): Can't be reached \u00B7 timed out, down"_s + stale;
        QTest::newRow("failing with one shown") << 3 << u"ac"_s << u"failing"_s << u"Kuma failed: timed out"_s;
        QTest::newRow("failing before any reading") << -1 << QString() << u"failing"_s << u"Kuma failed: timed out"_s;
        QTest::newRow("failing with nothing reported") << 0 << QString() << u"failing"_s << u"Kuma failed: timed out"_s;
        // Behind a source that is down, a failure is put down to it: no red of its own.
        QTest::newRow("failing behind a down source")
            << 3 << QString() << u"failing behind"_s << u"Kuma (3): Behind Router, unknown"_s + stale;
        // A closed port behind it answers "down" without failing its poll: that too is the router's.
        QTest::newRow("down behind a down source") << 3 << u"ab"_s << u"behind"_s << u"Kuma failed, behind Router"_s;
    }
    void rowsOfOneSource()
    {
        Estate e;
        const QList<WidgetData> widgets{service("a", Status::Up, 10),
                                        service("b", Status::Warn, 30),
                                        service("c", Status::Down)};
        const int reported = TW_DATA(int, reported);
        const auto s = e.add("Kuma", widgets.first(std::max(reported, 0)));
        if (reported < 0)
            e.state.snapshots.clear();
        for (const WidgetData &widget : widgets) {
            if (TW_DATA(QString, hidden).contains(widget.name()))
                e.state.layout.hidden.insert(widget.widgetKey(s.id()));
        }
        const QString state = TW_DATA(QString, state);
        if (state.contains(u"failing"_s))
            e.state.errors.insert(s.id(), u"timed out"_s);
        if (state.contains(u"behind"_s))
            e.state.behind.insert(s.id(), u"Router"_s);
        if (state.contains(u"collapsed"_s))
            e.state.layout.collapsed = {JsonRead::uuidText(s.id())};
        static const QRegularExpression every(uR"(every (\d+) s)"_s), silent(uR"(silent (\d+) s)"_s);
        if (const auto match = every.match(state); match.hasMatch())
            e.state.sources.first().common().pollInterval = match.captured(1).toDouble();
        if (const auto match = silent.match(state); match.hasMatch())
            e.state.now = e.state.snapshots[s.id()].fetchedAt.addSecs(match.captured(1).toInt());
        QCOMPARE(shape(popoverRows(e.state)), TW_DATA(QString, rows));
    }

    // What a header makes of its widgets (counts worst first, the worst status, the mean latency), the
    // summary lines over all sources (what is affected or online, what a pause stops), how the user's
    // arrangement orders what a source reports, how a drag changes a list, and what a stored one loads.
    void texts_data()
    {
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("expected");
        const auto header = [](const char *name, const QList<WidgetData> &widgets, const QString &expected) {
            QString shown = aggregateText(widgets) + u", "_s + toText(worstStatus(widgets));
            if (const auto average = averageLatency(widgets))
                shown += u", %1 ms"_s.arg(*average);
            QTest::newRow(name) << shown << expected;
        };
        const auto summary =
            [](const char *name, const QList<WidgetData> &widgets, bool failing, const QString &expected) {
                Estate e;
                const auto s = e.add("S", widgets);
                if (failing)
                    e.state.errors.insert(s.id(), u"timed out"_s);
                const QString shown = affectedSummary(e.state.snapshots, e.state.errors).value_or(u"-"_s) + u"; "_s
                    + inactiveSummary(e.state.snapshots).value_or(u"-"_s);
                QTest::newRow(name) << shown << expected;
            };
        const WidgetData up = service("u", Status::Up), unknown = service("n", Status::Unknown);
        header("worst first, unknown before up",
               {service("a", Status::Up, 1), unknown, service("c", Status::Down), service("d", Status::Up, 3)},
               u"1 down \u00B7 1 unknown \u00B7 2 up, down, 2 ms"_s);
        header("warn beats unknown and a later up",
               {unknown, service("w", Status::Warn), up},
               u"1 warn \u00B7 1 unknown \u00B7 1 up, warn"_s);
        header("key values count as up, hosts give no latency",
               {KeyValues{u"t"_s, {}}, HostStats{u"h"_s, u"h"_s, Status::Up, 1, 2, 3, {}}},
               u"2 up, up"_s);
        header("offline game is down",
               {GameServerStatus{u"g"_s, u"g"_s, false, {}, {}, {}, 5.0, {}}},
               u"1 down, down, 5 ms"_s);
        header("no widgets", {}, u", unknown"_s);
        summary("only unknown", {unknown}, false, u"-; 1 service inactive"_s);
        summary("one warn", {service("w", Status::Warn), up}, false, u"1 service affected; 2 services inactive"_s);
        summary("all up", {up, up}, false, u"2 services online; 2 services inactive"_s);
        // A failing source counts once, as down, whatever it last saw.
        summary("failing", {up, service("d", Status::Down)}, true, u"1 service affected; 2 services inactive"_s);
        summary("nothing", {}, false, u"-; -"_s);

        const auto moved = [](const QList<int> &from, int to) {
            return ListMove::apply({u"a"_s, u"b"_s, u"c"_s, u"d"_s}, from, to).join(QString());
        };
        QTest::newRow("arranged first, new ones after") << arranged(u"zox"_s, u"xnz"_s) << u"zxn"_s;
        QTest::newRow("a key twice in order shows twice") << arranged(u"xx"_s, u"xy"_s) << u"xxy"_s;
        QTest::newRow("first to the end") << moved({0}, 4) << u"bcda"_s;
        QTest::newRow("down by one") << moved({1}, 3) << u"acbd"_s;
        QTest::newRow("two at once keep their order") << moved({0, 2}, 4) << u"bdac"_s;
        WidgetLayout layout;
        layout.order = {u"A/1"_s, u"B/1"_s, u"A/2"_s, u"B/2"_s};
        layout.hidden = {u"A/2"_s};
        layout.moveWidget({keyed(u"A/1"_s), keyed(u"A/2"_s), keyed(u"A/3"_s)}, {2}, 0);
        QTest::newRow("a widget's move keeps other sources ahead")
            << layout.order.join(u' ') << u"B/1 B/2 A/3 A/1 A/2"_s;

        // A stored arrangement that cannot be read whole is dropped whole.
        const auto stored = [](const char *name, const QByteArray &blob, const QString &expected) {
            QTemporaryDir dir;
            PreferenceStore settings(dir.filePath(u"t.json"_s));
            settings.setValue(u"widgetLayout"_s, blob);
            const WidgetLayout loaded = WidgetLayout::load(settings);
            QTest::newRow(name) << (loaded.order + loaded.hidden.values() + loaded.collapsed.values()).join(u' ')
                                << expected;
        };
        stored("all four keys, one extra",
               R"({"order":["k"],"hidden":["h"],"sourceOrder":[],"collapsed":["S"],"x":1})",
               u"k h S"_s);
        stored("collapsed missing loses everything", R"({"order":["k"],"hidden":["h"],"sourceOrder":[]})", QString());
        stored("wrong element type",
               R"({"order":[1,"k"],"hidden":["h"],"sourceOrder":[],"collapsed":["S"]})",
               QString());
    }
    void texts() { QCOMPARE(TW_DATA(QString, shown), TW_DATA(QString, expected)); }

    // The user's order of the sources, entries that name none or one twice aside, lays out the groups:
    // a header with its children, a single row on its own. A move keeps only the live entries.
    void sourceOrderLaysOutTheGroups()
    {
        Estate e;
        const auto a = e.add("a", {service("x", Status::Up)});
        const auto b = e.add("b", {service("x", Status::Up), service("y", Status::Up)});
        const auto c = e.add("c", {service("x", Status::Up)});
        const auto d = e.add("d", {});
        const auto text = [](const AnySourceConfig &s) {
            return JsonRead::uuidText(s.id());
        };
        e.state.layout.sourceOrder = {text(b), u"not a uuid"_s, QUuid::createUuid().toString(), text(c), text(b)};
        const QList<RowGroup> groups = groupRows(popoverRows(e.state));
        QStringList shown;
        for (const RowGroup &group : groups) {
            const QString children = group.isGroup ? u" of %1"_s.arg(group.children.size()) : QString();
            shown.append(group.id().section(u':', 0, 0) + u' ' + nameOf(group.row) + children);
        }
        QCOMPARE(shown.join(u", "_s), u"header b of 2, single c, single a, empty d"_s);
        QCOMPARE(groups.at(0).id(), u"header:"_s + text(b));
        QCOMPARE(groups.at(2).id(), u"single:"_s + service("x", Status::Up).widgetKey(a.id()));
        e.state.layout.moveSource(e.state.sources, {2}, 0);
        QCOMPARE(e.state.layout.sourceOrder, (QStringList{text(a), text(b), text(c), text(d)}));
    }

    // A row that stays keeps its identity, so a view's delegate, and with it a drag in progress, survives.
    void changesApplyRowByRow_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<int>("changedRows"); // dataChanged signals for rows that stayed
        QTest::newRow("a poll changes every row") << u"abc"_s << u"abc"_s << 3;
        QTest::newRow("moved, removed and added at once") << u"abcde"_s << u"ecxa"_s << 3;
        QTest::newRow("from nothing") << QString() << u"ab"_s << 0;
    }
    void changesApplyRowByRow()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        SourceListModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setRows(listRows(before));
        QList<QPersistentModelIndex> kept;
        for (int i = 0; i < model.rowCount(); ++i)
            kept.append(QPersistentModelIndex(model.index(i)));

        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy counted(&model, &SourceListModel::countChanged);
        model.setRows(listRows(after, u"2"_s));
        QString ids;
        for (int i = 0; i < model.rowCount(); ++i)
            ids += model.data(model.index(i), Qt::UserRole + 1).toString();
        QCOMPARE(ids, after);
        QCOMPARE(resets.count(), 0);
        QCOMPARE(changed.count(), TW_DATA(int, changedRows));
        QCOMPARE(counted.count(), before.size() == after.size() ? 0 : 1);
        // A row that stayed is the same row, moved rather than removed and added again.
        for (const QPersistentModelIndex &index : kept) {
            const QString id = before.at(kept.indexOf(index));
            QCOMPARE(index.isValid(), after.contains(id));
            if (index.isValid())
                QCOMPARE(index.data(Qt::UserRole + 1).toString(), id);
        }
    }

    // A poll that changes only the time of the last answer says so for that role alone, and a poll
    // that changes nothing says nothing.
    void onlyWhatChangedIsSignalled()
    {
        SourceListModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QList<QVariantMap> list = listRows(u"ab"_s);
        model.setRows(list);
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        model.setRows(list);
        QCOMPARE(changed.count(), 0);
        list[1][u"fetchedAt"_s] = QDateTime::currentDateTimeUtc();
        model.setRows(list);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed[0][0].toModelIndex().row(), 1);
        const int fetchedAtRole = Qt::UserRole + 1 + int(SourceListModel::keys().indexOf("fetchedAt"));
        QCOMPARE(changed[0][2].value<QList<int>>(), QList<int>{fetchedAtRole});
    }

    // Thirty values per widget, the oldest going first; a restart draws them again from the history at
    // once, and a source that goes takes its line with it.
    void sparklinesFollowTheSourcesAndTheirHistory()
    {
        {
            const TCPPortConfig a(QUuid::createUuid(), u"a"_s, u"127.0.0.1"_s, 22);
            test::Hub rig({a});
            const QString key = test::FakeProviders::widgetFor(a, 1).widgetKey(a.id);
            QList<double> seen;
            {
                Sparklines lines(*rig.state);
                rig.state->startSync();
                QVERIFY(rig.sleeper.runUntilDelays(32));
                QTRY_COMPARE(lines.values().value(key).size(), Sparklines::length);
                // Each fetch reports its own number as latency.
                QTRY_VERIFY(lines.values().value(key).first() > 2);
                seen = lines.values().value(key);
                rig.state->flushHistory();
            }
            rig.restart();
            Sparklines lines(*rig.state);
            QCOMPARE(lines.values().value(key), seen);
            const TCPPortConfig added(QUuid::createUuid(), u"new"_s, u"127.0.0.1"_s, 22);
            rig.state->replaceSources({a, added});
            QCOMPARE(lines.values().keys(), QList<QString>{key});
            QSignalSpy changed(&lines, &Sparklines::changed);
            rig.state->replaceSources({added});
            QVERIFY(lines.values().isEmpty());
            QCOMPARE(changed.size(), 1);
        }
        // The polls the hub stopped at its end resume on the next turn of the loop and return.
        QTest::qWait(50);
    }
};

QTEST_GUILESS_MAIN(PopoverRowsTest)
#include "PopoverRowsTest.moc"
