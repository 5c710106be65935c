#include "kit/model/PreferenceStore.h"

#include "kit/model/QuietHours.h"
#include "kit/model/Snooze.h"
#include "support/Files.h"
#include "support/TestData.h"
#include "support/WriteBlocker.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

class PreferenceStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The application and the command line's watch each hold a store on the same file; each value
    // reads back as it was set, after a restart too.
    void twoStoresKeepEachOthersChanges()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"preferences.json"_s);
        PreferenceStore application(path);
        PreferenceStore watch(path);
        application.setValue(u"globalQuiet"_s, true);
        application.setValue(u"widgetLayout"_s, QByteArray(R"({"order":[]})"));
        watch.setValue(u"snoozes"_s, u"[]"_s);
        application.setValue(u"soundAlerts"_s, false);
        watch.remove(u"globalQuiet"_s);

        const PreferenceStore fresh(path);
        QVERIFY(!fresh.contains(u"globalQuiet"_s));
        QCOMPARE(fresh.value(u"snoozes"_s), QVariant(u"[]"_s));
        QCOMPARE(fresh.value(u"soundAlerts"_s), QVariant(false));
        QCOMPARE(fresh.value(u"widgetLayout"_s).toByteArray(), QByteArray(R"({"order":[]})"));
        application.reload();
        QVERIFY(!application.contains(u"globalQuiet"_s));
        QCOMPARE(application.value(u"snoozes"_s), QVariant(u"[]"_s));
    }

    void failedSaveKeepsTheFileAndTheChange()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"preferences.json"_s);
        PreferenceStore store(path);
        store.setValue(u"compactMode"_s, true);
        const QByteArray saved = contents(path);
        QSignalSpy errors(&store, &PreferenceStore::saveErrorChanged);
        {
            WriteBlocker blocker(WriteBlocker::Kind::ReadOnlyFolder, dir.path());
            store.setValue(u"accent"_s, u"#e01b24"_s);
            QCOMPARE(store.saveError(), u"Could not save preferences.json: %1"_s.arg(blocker.reason()));
            QCOMPARE(errors.size(), 1);
            QCOMPARE(contents(path), saved);
            // Still in use while it runs, also across a re-read of the file.
            store.reload();
            QCOMPARE(store.value(u"accent"_s), QVariant(u"#e01b24"_s));
        }
        // The next change saves the one that failed too.
        store.setValue(u"statusShapes"_s, true);
        QVERIFY(store.saveError().isEmpty());
        QCOMPARE(errors.size(), 2);
        const PreferenceStore reopened(path);
        QCOMPARE(reopened.value(u"accent"_s), QVariant(u"#e01b24"_s));
        QCOMPARE(reopened.value(u"compactMode"_s), QVariant(true));
    }

    void aBrokenFileReadsAsEmptyAndIsKeptUntilAChange()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"preferences.json"_s);
        for (const QByteArray &bytes : {QByteArray("{\"globalQuiet\": tr"), QByteArray("[1, 2]")}) {
            put(path, bytes);
            PreferenceStore store(path);
            QVERIFY(!store.contains(u"globalQuiet"_s));
            QCOMPARE(contents(path), bytes);
            store.setValue(u"globalQuiet"_s, true);
            QCOMPARE(PreferenceStore(path).value(u"globalQuiet"_s), QVariant(true));
        }
    }

    void earlierSettingsAreTakenOverOnce()
    {
        QTemporaryDir dir;
        qputenv("XDG_CONFIG_HOME", dir.path().toUtf8());
        QStandardPaths::setTestModeEnabled(false);
        const QString legacyPath = dir.filePath(u"Tidewatch/Tidewatch.conf"_s);
        {
            QSettings legacy(legacyPath, QSettings::IniFormat);
            legacy.setValue(u"globalQuiet"_s, true);
            legacy.setValue(u"snoozes"_s, u"[{\"until\":null}]"_s);
        }
        QCOMPARE(PreferenceStore::defaultPath(), dir.filePath(u"Tidewatch/preferences.json"_s));
        {
            const auto store = PreferenceStore::openDefault();
            QCOMPARE(store->value(u"globalQuiet"_s).toString(), u"true"_s);
            QCOMPARE(store->value(u"snoozes"_s), QVariant(u"[{\"until\":null}]"_s));
            store->setValue(u"globalQuiet"_s, false);
        }
        // Once there is a preferences.json, the old file no longer speaks.
        QCOMPARE(PreferenceStore::openDefault()->value(u"globalQuiet"_s), QVariant(false));
        QVERIFY(QFile::exists(legacyPath));
    }

    // Snoozes and quiet hours as they are stored beside the other preferences.
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
        QTest::newRow("short hour") << u"2:05"_s << u"02:05"_s;
        QTest::newRow("spaces") << u" 23:59 "_s << u"23:59"_s;
        QTest::newRow("hour 24") << u"24:00"_s << QString();
        QTest::newRow("no colon") << u"0200"_s << QString();
    }
    void quietHoursTimesRead()
    {
        const auto time = QuietHours::parseTime(TW_DATA(QString, text));
        QCOMPARE(time ? time->toString(u"HH:mm"_s) : QString(), TW_DATA(QString, read));
        // As stored: text that does not read keeps the default, and an earlier version's "true" is on.
        QTemporaryDir dir;
        PreferenceStore settings(dir.filePath(u"prefs.json"_s));
        settings.setValue(QLatin1String(QuietHours::enabledKey), u"true"_s);
        settings.setValue(QLatin1String(QuietHours::endKey), TW_DATA(QString, text));
        QCOMPARE(QuietHours::load(settings), (QuietHours{true, QTime(2, 0), time.value_or(QTime(4, 0))}));
    }
};

QTEST_GUILESS_MAIN(PreferenceStoreTest)
#include "PreferenceStoreTest.moc"
