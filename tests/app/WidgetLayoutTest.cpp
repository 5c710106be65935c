#include "app/WidgetLayout.h"

#include "kit/model/JsonRead.h"
#include "kit/model/PreferenceStore.h"

#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

namespace {

AnySourceConfig source(const char *name)
{
    return TCPPortConfig(QUuid::createUuid(), QString::fromLatin1(name), u"h"_s, 1);
}

QString text(const AnySourceConfig &s)
{
    return JsonRead::uuidText(s.id());
}

KeyedWidget row(const QString &key)
{
    return {key, CheckResult{key, key, ServiceStatus::Up, {}, {}}};
}

QStringList keys(const QList<KeyedWidget> &rows)
{
    QStringList out;
    for (const KeyedWidget &r : rows)
        out.append(r.key);
    return out;
}

} // namespace

class WidgetLayoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ordersSourcesIgnoringStaleAndMalformedEntries()
    {
        const auto a = source("a"), b = source("b"), c = source("c"), d = source("d");
        WidgetLayout layout;
        layout.sourceOrder = {text(c), u"not a uuid"_s, QUuid::createUuid().toString(), text(a), text(c)};
        QCOMPARE(layout.orderedSourceIDs({a, b, c, d}), (QList<QUuid>{c.id(), a.id(), b.id(), d.id()}));
    }

    void ordersWidgetsKnownFirstThenAsReported_data()
    {
        QTest::addColumn<QStringList>("order");
        QTest::addColumn<QStringList>("reported");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("no order keeps the source's order")
            << QStringList{} << QStringList{u"x"_s, u"y"_s} << QStringList{u"x"_s, u"y"_s};
        QTest::newRow("arranged first, new ones after")
            << QStringList{u"z"_s, u"other/src"_s, u"x"_s} << QStringList{u"x"_s, u"new"_s, u"z"_s}
            << QStringList{u"z"_s, u"x"_s, u"new"_s};
        QTest::newRow("a key twice in order appears twice")
            << QStringList{u"x"_s, u"x"_s} << QStringList{u"x"_s, u"y"_s} << QStringList{u"x"_s, u"x"_s, u"y"_s};
    }
    void ordersWidgetsKnownFirstThenAsReported()
    {
        QFETCH(QStringList, order);
        QFETCH(QStringList, reported);
        QFETCH(QStringList, expected);
        WidgetLayout layout;
        layout.order = order;
        QList<KeyedWidget> rows;
        for (const QString &k : reported)
            rows.append(row(k));
        QCOMPARE(keys(layout.ordered(rows)), expected);
        layout.hidden.insert(expected.last());
        QVERIFY(!keys(layout.visible(rows)).contains(expected.last()));
    }

    void movesAreDragsInAList_data()
    {
        QTest::addColumn<QList<int>>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("first to the end") << QList<int>{0} << 4 << QStringList{u"b"_s, u"c"_s, u"d"_s, u"a"_s};
        QTest::newRow("last to the front") << QList<int>{3} << 0 << QStringList{u"d"_s, u"a"_s, u"b"_s, u"c"_s};
        QTest::newRow("down by one") << QList<int>{1} << 3 << QStringList{u"a"_s, u"c"_s, u"b"_s, u"d"_s};
        QTest::newRow("onto itself") << QList<int>{1} << 1 << QStringList{u"a"_s, u"b"_s, u"c"_s, u"d"_s};
        QTest::newRow("two at once keep their order")
            << QList<int>{0, 2} << 4 << QStringList{u"b"_s, u"d"_s, u"a"_s, u"c"_s};
    }
    void movesAreDragsInAList()
    {
        QFETCH(QList<int>, from);
        QFETCH(int, to);
        QFETCH(QStringList, expected);
        QCOMPARE(ListMove::apply({u"a"_s, u"b"_s, u"c"_s, u"d"_s}, from, to), expected);
    }

    void movingSourcesDropsStaleEntries()
    {
        const auto a = source("a"), b = source("b");
        WidgetLayout layout;
        layout.sourceOrder = {u"stale"_s, text(b)};
        layout.moveSource({a, b}, {1}, 0);
        QCOMPARE(layout.sourceOrder, (QStringList{text(a), text(b)}));
    }

    void movingWidgetsKeepsOtherSourcesAhead()
    {
        WidgetLayout layout;
        layout.order = {u"A/1"_s, u"B/1"_s, u"A/2"_s, u"B/2"_s};
        layout.hidden = {u"A/2"_s};
        layout.moveWidget({row(u"A/1"_s), row(u"A/2"_s), row(u"A/3"_s)}, {2}, 0);
        QCOMPARE(layout.order, (QStringList{u"B/1"_s, u"B/2"_s, u"A/3"_s, u"A/1"_s, u"A/2"_s}));
    }

    void storedBlobRoundTripsAndFallsBackToEmpty_data()
    {
        QTest::addColumn<QByteArray>("blob");
        QTest::addColumn<bool>("empty");
        QTest::newRow("all four keys, one extra")
            << QByteArray(R"({"order":["k"],"hidden":["k"],"sourceOrder":[],"collapsed":["S"],"x":1})") << false;
        QTest::newRow("collapsed missing loses everything")
            << QByteArray(R"({"order":["k"],"hidden":["k"],"sourceOrder":[]})") << true;
        QTest::newRow("not JSON") << QByteArray("garbage") << true;
        QTest::newRow("wrong element type")
            << QByteArray(R"({"order":[1],"hidden":[],"sourceOrder":[],"collapsed":[]})") << true;
    }
    void storedBlobRoundTripsAndFallsBackToEmpty()
    {
        QFETCH(QByteArray, blob);
        QFETCH(bool, empty);
        QTemporaryDir dir;
        PreferenceStore settings(dir.filePath(u"t.json"_s));
        settings.setValue(u"widgetLayout"_s, blob);
        const WidgetLayout loaded = WidgetLayout::load(settings);
        QCOMPARE(loaded == WidgetLayout{}, empty);
        if (!empty) {
            QCOMPARE(loaded.collapsed, QSet<QString>{u"S"_s});
            loaded.save(settings);
            const PreferenceStore reopened(dir.filePath(u"t.json"_s));
            QCOMPARE(WidgetLayout::load(reopened), loaded);
        }
    }
};

QTEST_GUILESS_MAIN(WidgetLayoutTest)
#include "WidgetLayoutTest.moc"
