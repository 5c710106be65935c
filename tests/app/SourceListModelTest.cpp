#include "app/SourceListModel.h"

#include "app/Sparklines.h"
#include "support/Hub.h"
#include "support/TestData.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// One row per letter; the name tells which poll it came from.
QList<QVariantMap> rows(const QString &ids, const QString &poll = u"1"_s)
{
    QList<QVariantMap> list;
    for (const QChar id : ids)
        list.append(QVariantMap{{u"id"_s, QString(id)}, {u"name"_s, QString(QString(id) + poll)}});
    return list;
}

QString order(const SourceListModel &model)
{
    QString ids;
    for (int i = 0; i < model.rowCount(); ++i)
        ids += model.data(model.index(i), Qt::UserRole + 1).toString();
    return ids;
}

} // namespace

// The models the views draw from: the settings list, which changes row by row (a row that stays
// keeps its identity, so a view's delegate, and with it a drag in progress, survives), and the
// sparklines, which follow the sources and their history.
class SourceListModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The polls a hub stopped at its end resume on the next turn of the loop and return.
    void cleanup() { QTest::qWait(50); }

    void changesApplyRowByRow_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<int>("changedRows"); // dataChanged signals for rows that stayed
        QTest::newRow("a poll changes every row") << u"abc"_s << u"abc"_s << 3;
        QTest::newRow("moved, removed and added at once") << u"abcde"_s << u"ecxa"_s << 3;
        QTest::newRow("from nothing") << QString() << u"ab"_s << 0;
        QTest::newRow("to nothing") << u"ab"_s << QString() << 0;
    }
    void changesApplyRowByRow()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        SourceListModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setRows(rows(before));
        QList<QPersistentModelIndex> kept;
        for (int i = 0; i < model.rowCount(); ++i)
            kept.append(QPersistentModelIndex(model.index(i)));

        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy counted(&model, &SourceListModel::countChanged);
        model.setRows(rows(after, u"2"_s));
        QCOMPARE(order(model), after);
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
        QList<QVariantMap> list = rows(u"ab"_s);
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
    void followTheSourcesAndTheirHistory()
    {
        const TCPPortConfig a(QUuid::createUuid(), u"a"_s, u"127.0.0.1"_s, 22);
        Hub rig({a});
        const QString key = FakeProviders::widgetFor(a, 1).widgetKey(a.id);
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
};

QTEST_GUILESS_MAIN(SourceListModelTest)
#include "SourceListModelTest.moc"
