#include "kit/model/Snooze.h"

#include "kit/model/QuietHours.h"
#include "support/TestData.h"

#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

// Snoozes and quiet hours as they are stored beside the other preferences.
class SnoozeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void snoozesSurviveTheStoreAndBadEntriesAreDropped()
    {
        QTemporaryDir dir;
        PreferenceStore settings(dir.filePath(u"prefs.json"_s));
        const QUuid id = QUuid::createUuid();
        const QDateTime end = QDateTime(QDate(2026, 11, 23), QTime(14, 30), Qt::UTC);
        const QList<Snooze> snoozes{{id, end}, {id, std::nullopt}, {std::nullopt, end}};
        Snooze::save(settings, snoozes);
        QCOMPARE(Snooze::load(PreferenceStore(dir.filePath(u"prefs.json"_s))), snoozes);

        // A hand edit or a future version: what does not read is left out, the rest stays.
        settings.setValue(QLatin1String(Snooze::settingsKey),
                          uR"([{"source":"not-an-id"},{},{"until":"yesterday"},{"source":"%1"},7])"_s.arg(
                              id.toString(QUuid::WithoutBraces)));
        QCOMPARE(Snooze::load(settings), (QList<Snooze>{{id, std::nullopt}}));
        settings.setValue(QLatin1String(Snooze::settingsKey), u"{"_s);
        QVERIFY(Snooze::load(settings).isEmpty());
        Snooze::save(settings, {});
        QVERIFY(!settings.contains(QLatin1String(Snooze::settingsKey)));
    }

    void untilReadsInLocalTime()
    {
        const QDateTime now(QDate(2026, 11, 23), QTime(10, 0), Qt::LocalTime);
        QCOMPARE((Snooze{QUuid::createUuid(), std::nullopt}).describe(now), u"Snoozed until it recovers"_s);
        QCOMPARE((Snooze{std::nullopt, now.addSecs(4 * 3600).toUTC()}).describe(now), u"Snoozed until 14:00"_s);
        QCOMPARE((Snooze{std::nullopt, now.addDays(1).toUTC()}).untilText(now), u"Tue 10:00"_s);
    }

    void quietHoursWindow_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("end");
        QTest::addColumn<QString>("time");
        QTest::addColumn<bool>("inside");
        QTest::newRow("start is inside") << u"02:00"_s << u"04:00"_s << u"02:00"_s << true;
        QTest::newRow("end is outside") << u"02:00"_s << u"04:00"_s << u"04:00"_s << false;
        QTest::newRow("before") << u"02:00"_s << u"04:00"_s << u"01:59"_s << false;
        QTest::newRow("midnight window, late") << u"23:00"_s << u"01:00"_s << u"23:30"_s << true;
        QTest::newRow("midnight window, early") << u"23:00"_s << u"01:00"_s << u"00:59"_s << true;
        QTest::newRow("midnight window, day") << u"23:00"_s << u"01:00"_s << u"12:00"_s << false;
        QTest::newRow("empty window") << u"03:00"_s << u"03:00"_s << u"03:00"_s << false;
    }
    void quietHoursWindow()
    {
        const auto time = [](const QString &text) {
            return QTime::fromString(text, u"HH:mm"_s);
        };
        QuietHours hours{true, time(TW_DATA(QString, start)), time(TW_DATA(QString, end))};
        const QDateTime moment(QDate(2026, 11, 23), time(TW_DATA(QString, time)), Qt::LocalTime);
        QCOMPARE(hours.contains(moment.toUTC()), TW_DATA(bool, inside));
        hours.enabled = false;
        QVERIFY(!hours.contains(moment));
    }

    void quietHoursTimesRead_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("read"); // empty: refused
        QTest::newRow("padded") << u"02:00"_s << u"02:00"_s;
        QTest::newRow("short hour") << u"2:05"_s << u"02:05"_s;
        QTest::newRow("spaces") << u" 23:59 "_s << u"23:59"_s;
        QTest::newRow("hour 24") << u"24:00"_s << QString();
        QTest::newRow("minute 60") << u"01:60"_s << QString();
        QTest::newRow("no colon") << u"0200"_s << QString();
        QTest::newRow("seconds") << u"02:00:00"_s << QString();
        QTest::newRow("empty") << QString() << QString();
    }
    void quietHoursTimesRead()
    {
        const auto time = QuietHours::parseTime(TW_DATA(QString, text));
        QCOMPARE(time ? time->toString(u"HH:mm"_s) : QString(), TW_DATA(QString, read));
    }

    void quietHoursKeepTheirDefaultsOverBadText()
    {
        QTemporaryDir dir;
        PreferenceStore settings(dir.filePath(u"prefs.json"_s));
        QCOMPARE(QuietHours::load(settings), QuietHours{});
        settings.setValue(QLatin1String(QuietHours::enabledKey), u"true"_s);
        settings.setValue(QLatin1String(QuietHours::startKey), u"half past one"_s);
        settings.setValue(QLatin1String(QuietHours::endKey), u"6:30"_s);
        QCOMPARE(QuietHours::load(settings), (QuietHours{true, QTime(2, 0), QTime(6, 30)}));
    }
};

QTEST_GUILESS_MAIN(SnoozeTest)
#include "SnoozeTest.moc"
