#include "kit/monitor/EventLogStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

const QUuid nas = QUuid::fromString(u"{6f1c2a1e-0000-4000-8000-000000000001}"_s);

// Written out of order, as a file edited by hand may be: the command sorts.
QList<RecentEvent> eventsBefore(const QDateTime &now)
{
    using K = RecentEvent::Kind;
    return {
        {now.addSecs(-20 * 60), K::Down, u"NAS is unreachable"_s, {}, nas},
        {now.addSecs(-10 * 60), K::Recovered, u"NAS recovered"_s, u"Back after 10 minutes"_s, nas},
        {now.addSecs(-3 * 3600), K::Snoozed, u"All notifications snoozed for 1 hour"_s, {}, {}},
        {now.addDays(-2), K::Down, u"Plex is down"_s, {}, {}},
        {now.addDays(-8), K::Down, u"Old news is down"_s, {}, {}},
    };
}

QStringList titlesIn(const QByteArray &out)
{
    QStringList titles;
    for (const QString &line : QString::fromUtf8(out).split(u'\n', Qt::SkipEmptyParts)) {
        // "2026-11-25 10:00:00  down       NAS is unreachable — detail"
        const QString rest = line.mid(21).section(u' ', 1).trimmed();
        titles.append(rest.section(u" — "_s, 0, 0));
    }
    return titles;
}

} // namespace

class EventsCommandTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsNewestFirstSinceAnAge_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("expected"); // the titles listed, or the usage error
        const QStringList week{u"NAS recovered"_s,
                               u"NAS is unreachable"_s,
                               u"All notifications snoozed for 1 hour"_s,
                               u"Plex is down"_s};
        const QStringList age{u"--since takes an age like 30m, 24h or 7d"_s};
        QTest::newRow("the week by default") << QStringList{} << 0 << week;
        QTest::newRow("15m, as one argument") << QStringList{u"--since=15m"_s} << 0 << week.mid(0, 1);
        QTest::newRow("24h") << QStringList{u"--since"_s, u"24h"_s} << 0 << week.mid(0, 3);
        QTest::newRow("longer than a week keeps to the week") << QStringList{u"--since"_s, u"2w"_s} << 0 << week;
        QTest::newRow("90s: nothing") << QStringList{u"--since"_s, u"90s"_s} << 0 << QStringList{};
        QTest::newRow("zero") << QStringList{u"--since"_s, u"0h"_s} << 64 << age;
        QTest::newRow("words") << QStringList{u"--since"_s, u"yesterday"_s} << 64 << age;
        QTest::newRow("absurdly long") << QStringList{u"--since"_s, u"999999999d"_s} << 64 << age;
        QTest::newRow("unknown option") << QStringList{u"--all"_s} << 64 << QStringList{u"Unknown option 'all'"_s};
        QTest::newRow("stray argument") << QStringList{u"NAS"_s} << 64 << QStringList{u"unexpected argument 'NAS'"_s};
    }
    void listsNewestFirstSinceAnAge()
    {
        QTemporaryDir dir;
        EventLogStore::save(eventsBefore(QDateTime::currentDateTimeUtc()), dir.path());
        QProcessEnvironment utc = QProcessEnvironment::systemEnvironment();
        utc.insert(u"TZ"_s, u"UTC"_s);
        const CliRun run = runCli(QStringList{u"events"_s, u"--sources"_s, dir.filePath(u"sources.json"_s)}
                                      + TW_DATA(QStringList, arguments),
                                  {},
                                  utc);
        QCOMPARE(run.exitCode, TW_DATA(int, exitCode));
        const QStringList expected = TW_DATA(QStringList, expected);
        if (run.exitCode != 0) {
            QCOMPARE(run.out, QByteArray());
            QVERIFY2(run.err.startsWith("tidewatch-cli events: "), run.err.constData());
            QVERIFY2(QString::fromUtf8(run.err).contains(expected.first()), run.err.constData());
            return;
        }
        QCOMPARE(run.err, QByteArray());
        if (expected.isEmpty()) {
            QVERIFY2(run.out.startsWith("No events since "), run.out.constData());
            return;
        }
        QCOMPARE(titlesIn(run.out), expected);
        if (expected.first() == u"NAS recovered"_s)
            QVERIFY2(run.out.contains("  recovered  NAS recovered — Back after 10 minutes\n"), run.out.constData());
    }

    void jsonForScripts()
    {
        QTemporaryDir dir;
        const QDateTime now = QDateTime::currentDateTimeUtc();
        EventLogStore::save(eventsBefore(now), dir.path());
        const CliRun run =
            runCli({u"events"_s, u"--sources"_s, dir.filePath(u"sources.json"_s), u"--since"_s, u"24h"_s, u"--json"_s});
        QCOMPARE(run.exitCode, 0);
        const QJsonObject report = QJsonDocument::fromJson(run.out).object();
        const QJsonArray events = report.value(u"events"_s).toArray();
        QCOMPARE(events.size(), 3);
        // Fields a script may not count on are null, not left out or empty.
        const auto line = [&events](int i) {
            QStringList fields;
            for (const char *key : {"kind", "title", "detail", "sourceID"}) {
                const QJsonValue value = events.at(i)[QLatin1String(key)];
                fields.append(value.isNull() ? u"null"_s : value.toString(u"<absent>"_s));
            }
            return fields.join(u'|');
        };
        QCOMPARE(line(0), u"recovered|NAS recovered|Back after 10 minutes|6F1C2A1E-0000-4000-8000-000000000001"_s);
        QCOMPARE(line(2), u"snoozed|All notifications snoozed for 1 hour|null|null"_s);
        const QDateTime time = QDateTime::fromString(events.at(0)[u"time"_s].toString(), Qt::ISODate);
        QVERIFY(qAbs(time.secsTo(now.addSecs(-600))) <= 1);
        const QDateTime since = QDateTime::fromString(report.value(u"since"_s).toString(), Qt::ISODate);
        QVERIFY(qAbs(since.secsTo(now.addDays(-1))) <= 5);
    }

    // No file yet is no events; a file that does not read is reported and left where it is.
    void aFileThatDoesNotReadIsReportedAndLeftAlone()
    {
        QTemporaryDir dir;
        const QStringList arguments{u"events"_s, u"--sources"_s, dir.filePath(u"sources.json"_s)};
        const CliRun none = runCli(arguments);
        QCOMPARE(none.exitCode, 0);
        QVERIFY(none.out.startsWith("No events since "));

        const QString path = EventLogStore::eventsPath(dir.path());
        put(path, "{\"events\":[");
        const CliRun run = runCli(arguments);
        QCOMPARE(run.exitCode, 3);
        QVERIFY2(run.err.contains(" is not a valid events file: "), run.err.constData());
        QCOMPARE(contents(path), QByteArray("{\"events\":["));
        QVERIFY(!QFile::exists(EventLogStore::corruptPath(dir.path())));
    }
};

QTEST_GUILESS_MAIN(EventsCommandTest)
#include "EventsCommandTest.moc"
