#include "kit/model/PreferenceStore.h"

#include "support/Files.h"
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
        QCOMPARE(fresh.value(u"missing"_s, 7), QVariant(7));
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
};

QTEST_GUILESS_MAIN(PreferenceStoreTest)
#include "PreferenceStoreTest.moc"
