#include "kit/desktop/AlertCenter.h"

#include "support/Await.h"
#include "support/Files.h"
#include "support/TestData.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// What the notification daemon of the test session (dunst) has shown, newest first.
QList<std::pair<QString, QString>> shown()
{
    QProcess::execute(u"dunstctl"_s, {u"close-all"_s});
    QProcess dunstctl;
    dunstctl.start(u"dunstctl"_s, {u"history"_s});
    dunstctl.waitForFinished(5000);
    QList<std::pair<QString, QString>> notes;
    const QJsonArray entries =
        QJsonDocument::fromJson(dunstctl.readAllStandardOutput()).object().value(u"data"_s).toArray().first().toArray();
    for (const QJsonValue &entry : entries) {
        const QJsonObject note = entry.toObject();
        notes.append({note.value(u"summary"_s).toObject().value(u"data"_s).toString(),
                      note.value(u"body"_s).toObject().value(u"data"_s).toString()});
    }
    return notes;
}

// A notification server that takes actions, on a private bus: it records what it is asked and
// can say that the user chose an action.
class ActionsServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Shown
    {
        QString summary;
        QStringList actions;
    };
    QHash<uint, Shown> shown;
    QList<uint> closed;

public Q_SLOTS:
    QStringList GetCapabilities() { return {u"actions"_s, u"body"_s}; }
    uint Notify(const QString &,
                uint,
                const QString &,
                const QString &summary,
                const QString &,
                const QStringList &actions,
                const QVariantMap &,
                int)
    {
        const uint id = uint(shown.size()) + 1;
        shown.insert(id, {summary, actions});
        return id;
    }
    void CloseNotification(uint id) { closed.append(id); }
};

} // namespace

class AlertCenterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void alertBody_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<qint64>("secondsAgo"); // -1: no time
        QTest::addColumn<QString>("body");
        const int down = int(AlertEvent::Kind::Down);
        const int back = int(AlertEvent::Kind::Recovered);
        QTest::newRow("down, no time") << down << qint64(-1) << u"Unreachable"_s;
        QTest::newRow("back, no time") << back << qint64(-1) << u"Recovered"_s;
        QTest::newRow("back after 59 s") << back << qint64(59) << u"Back in under a minute"_s;
        QTest::newRow("back after 60 s") << back << qint64(60) << u"Back after 1 minute"_s;
        QTest::newRow("down for 2 minutes") << down << qint64(120) << u"Unreachable for 2 minutes"_s;
        QTest::newRow("future") << back << qint64(-600) << u"Back in under a minute"_s;
    }
    void alertBody()
    {
        QFETCH(qint64, secondsAgo);
        const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
        AlertEvent event{QUuid::createUuid(), AlertEvent::Kind(TW_DATA(int, kind)), u"x"_s, std::nullopt};
        if (secondsAgo != -1)
            event.downSince = now.addSecs(-secondsAgo);
        QCOMPARE(AlertCenter::alertBody(event, now), TW_DATA(QString, body));
    }

    // A server that takes actions gets them; choosing one reaches the program with the source it is
    // about, and an outage's notification is withdrawn once its recovery is told.
    void actionsReachTheProgram()
    {
        QTemporaryDir home;
        QProcess daemon;
        daemon.start(u"dbus-daemon"_s,
                     {u"--config-file="_s + writeBusConfig(home.path()), u"--print-address=1"_s, u"--nofork"_s});
        QVERIFY(daemon.waitForStarted());
        QTRY_VERIFY(daemon.canReadLine());
        const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
        auto serverBus = QDBusConnection::connectToBus(address, u"server"_s);
        auto clientBus = QDBusConnection::connectToBus(address, u"client"_s);
        ActionsServer server;
        QVERIFY(
            serverBus.registerObject(u"/org/freedesktop/Notifications"_s, &server, QDBusConnection::ExportAllSlots));
        QVERIFY(serverBus.registerService(u"org.freedesktop.Notifications"_s));

        AlertCenter center(clientBus);
        QList<std::tuple<AlertCenter::Action, QUuid, QString>> chosen;
        connect(&center,
                &AlertCenter::actionInvoked,
                this,
                [&](AlertCenter::Action action, const QUuid &id, const QString &key) {
                    chosen.append({action, id, key});
                });
        const QUuid nas = QUuid::createUuid();
        const QString key = nas.toString(QUuid::WithoutBraces).toUpper();
        const auto post = [&](AlertEvent::Kind kind) {
            return await(center.postAndWait({nas, kind, u"NAS"_s, QDateTime::currentDateTimeUtc(), key, {}}, false));
        };
        const uint down = post(AlertEvent::Kind::Down);
        QVERIFY(down != 0);
        QCOMPARE(server.shown.value(down).actions,
                 (QStringList{u"open"_s, u"Open"_s, u"snooze-1h"_s, u"Snooze 1 Hour"_s}));

        const auto invoke = [&](uint id, const QString &action) {
            QDBusMessage signal = QDBusMessage::createSignal(u"/org/freedesktop/Notifications"_s,
                                                             u"org.freedesktop.Notifications"_s,
                                                             u"ActionInvoked"_s);
            signal << id << action;
            QVERIFY(serverBus.send(signal));
        };
        invoke(down, u"snooze-1h"_s);
        QTRY_COMPARE(chosen.size(), 1);
        QCOMPARE(chosen.last(), std::make_tuple(AlertCenter::Action::Snooze, nas, key));
        invoke(down, u"open"_s);
        QTRY_COMPARE(chosen.size(), 2);
        QCOMPARE(std::get<0>(chosen.last()), AlertCenter::Action::Open);
        invoke(4242, u"open"_s); // another program's notification
        QTest::qWait(100);
        QCOMPARE(chosen.size(), 2);

        const uint back = post(AlertEvent::Kind::Recovered);
        QTRY_COMPARE(server.closed, QList<uint>{down});
        QCOMPARE(server.shown.value(back).actions, (QStringList{u"open"_s, u"Open"_s}));

        // Without "Open" (the command line), a down alert offers the snooze alone.
        center.setOffersOpen(false);
        const uint again = post(AlertEvent::Kind::Down);
        QCOMPARE(server.shown.value(again).actions, (QStringList{u"snooze-1h"_s, u"Snooze 1 Hour"_s}));

        serverBus.unregisterService(u"org.freedesktop.Notifications"_s);
        QDBusConnection::disconnectFromBus(u"server"_s);
        QDBusConnection::disconnectFromBus(u"client"_s);
        daemon.terminate();
        daemon.waitForFinished();
    }

    // The session's daemon shows an outage and its recovery as two notifications, never the one
    // replacing the other. It announces actions, so the outage arrives with them (dunst marks them
    // "(A)"): a picture of it is kept for a look by eye.
    void theSessionDaemonShowsDownAndRecovery()
    {
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        QVERIFY2(bus && bus->isServiceRegistered(u"org.freedesktop.Notifications"_s),
                 "needs the notification daemon of scripts/with-session");
        QProcess::execute(u"dunstctl"_s, {u"close-all"_s});
        AlertCenter center;
        QCOMPARE(await(center.authorizationStatus()), AlertCenter::Authorization::Authorized);
        const QUuid id = QUuid::createUuid();
        AlertEvent event{id, AlertEvent::Kind::Down, u"nas01 is past its limits"_s, QDateTime::currentDateTimeUtc()};
        event.detail = u"disk 93 %"_s;
        const uint first = await(center.postAndWait(event, true));
        QVERIFY(first != 0);
        QTest::qWait(700); // dunst draws on its next frame
        const QString out = qEnvironmentVariable("TW_SCREENSHOT_DIR", QDir::tempPath());
        QDir().mkpath(out);
        const QString path = out + u"/notification-actions.png"_s;
        // Cut to what was drawn: the screen is otherwise bare.
        QCOMPARE(QProcess::execute(u"import"_s, {u"-window"_s, u"root"_s, u"-trim"_s, u"+repage"_s, path}), 0);
        // Something was drawn: the box and its anti-aliased text.
        QProcess identify;
        identify.start(u"identify"_s, {u"-format"_s, u"%k"_s, path});
        QVERIFY(identify.waitForFinished(10'000));
        const int colours = identify.readAllStandardOutput().trimmed().toInt();
        QVERIFY2(colours > 16, qPrintable(u"%1 colours on the screen"_s.arg(colours)));

        const QDateTime since = QDateTime::currentDateTimeUtc().addSecs(-185);
        const uint second =
            await(center.postAndWait({id, AlertEvent::Kind::Recovered, u"nas01 recovered"_s, since}, false));
        QVERIFY(second != 0 && second != first);
        QList<std::pair<QString, QString>> notes;
        QTRY_VERIFY((notes = shown()).size() >= 2);
        QCOMPARE(notes.at(0), std::make_pair(u"nas01 recovered"_s, u"Back after 3 minutes"_s));
        QCOMPARE(notes.at(1), std::make_pair(u"nas01 is past its limits"_s, u"disk 93 %"_s));
    }

    void withoutAServerTheFallbackShowsIt()
    {
        AlertCenter center(QDBusConnection(u"not connected"_s));
        QString fallbackTitle;
        center.setFallback([&](const QString &title, const QString &) { fallbackTitle = title; });
        QCOMPARE(await(center.authorizationStatus()), AlertCenter::Authorization::Denied);
        QCOMPARE(await(center.postAndWait({QUuid::createUuid(), AlertEvent::Kind::Down, u"Plex is down"_s, {}}, true)),
                 0u);
        QCOMPARE(fallbackTitle, u"Plex is down"_s);
    }
};

QTEST_GUILESS_MAIN(AlertCenterTest)
#include "AlertCenterTest.moc"
