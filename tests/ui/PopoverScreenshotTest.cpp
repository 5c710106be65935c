#include "app/PopoverController.h"
#include "app/PopoverModel.h"
#include "app/PopoverWindow.h"
#include "support/GuiTestMain.h"
#include "support/UiPictures.h"
#include "support/Views.h"

#include <QGuiApplication>
#include <QPalette>
#include <QQuickView>
#include <QQuickWindow>
#include <QTest>

#include <cmath>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// A homelab as users have it: Kuma monitors, a Beszel host past its disk limit, a game server with players, a failing
// HTTP check and a source that cannot be reached.
struct Estate
{
    QList<AnySourceConfig> sources;
    QHash<QUuid, QList<WidgetData>> widgets;
    QUuid failing;

    Estate()
    {
        const KumaConfig kuma(QUuid::createUuid(), u"Uptime Kuma"_s, u"http://kuma.lan:3001"_s);
        sources.append(kuma);
        widgets.insert(kuma.id,
                       {ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, 23.4, {}},
                        ServiceRow{u"2"_s, u"Home Assistant"_s, ServiceStatus::Up, 41.9, {}},
                        ServiceRow{u"3"_s, u"Nextcloud"_s, ServiceStatus::Warn, 812.0, u"slow response"_s},
                        ServiceRow{u"4"_s, u"Pi-hole"_s, ServiceStatus::Up, 4.2, {}}});
        const BeszelConfig beszel(QUuid::createUuid(), u"Beszel"_s, u"http://beszel.lan:8090"_s, u"beszel-x"_s);
        sources.append(beszel);
        widgets.insert(beszel.id,
                       {HostStats{u"nas"_s,
                                  u"nas01"_s,
                                  ServiceStatus::Up,
                                  37.2,
                                  71.5,
                                  93.1,
                                  {DriveTemp{u"sda"_s, 38}, DriveTemp{u"nvme0"_s, 52.6}},
                                  {u"disk 93 %"_s}}});
        const GameServerConfig minecraft(QUuid::createUuid(), u"Minecraft"_s, u"minecraft"_s, u"mc.lan"_s, 25565);
        sources.append(minecraft);
        widgets.insert(minecraft.id,
                       {GameServerStatus{u"mc"_s,
                                         u"Survival"_s,
                                         true,
                                         5,
                                         20,
                                         {u"Alex"_s, u"Steve"_s, u"Noor"_s, u"Kai"_s, u"Mia"_s},
                                         18.0,
                                         u"Paper 1.21.3"_s}});
        const HTTPPingConfig http(QUuid::createUuid(), u"Grafana"_s, u"https://grafana.lan"_s);
        sources.append(http);
        widgets.insert(http.id, {CheckResult{u"g"_s, u"Grafana"_s, ServiceStatus::Down, 12.0, u"HTTP 502"_s}});
        const TCPPortConfig tcp(QUuid::createUuid(), u"Backup NAS (SSH)"_s, u"10.0.0.9"_s, 22);
        sources.append(tcp);
        failing = tcp.id;
    }
};

} // namespace

// Renders the popover as users see it, in both themes and two accents, for the README and for a
// look by eye; each picture is also checked for the accent and the status colours.
class PopoverScreenshotTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void render_data()
    {
        QTest::addColumn<QString>("accent");
        QTest::addColumn<bool>("dark");
        QTest::newRow("default-light") << u"#8BB8E8"_s << false;
        QTest::newRow("default-dark") << u"#8BB8E8"_s << true;
        QTest::newRow("pink-light") << u"#EC4899"_s << false;
        QTest::newRow("pink-dark") << u"#EC4899"_s << true;
    }
    void render()
    {
        QFETCH(QString, accent);
        QFETCH(bool, dark);
        const QPalette original = QGuiApplication::palette();
        if (dark) {
            QPalette palette;
            palette.setColor(QPalette::Window, QColor(0x24, 0x24, 0x28));
            palette.setColor(QPalette::WindowText, QColor(0xf2, 0xf2, 0xf5));
            palette.setColor(QPalette::Base, QColor(0x1c, 0x1c, 0x1e));
            palette.setColor(QPalette::Text, QColor(0xf2, 0xf2, 0xf5));
            palette.setColor(QPalette::Button, QColor(0x3a, 0x3a, 0x3c));
            palette.setColor(QPalette::ButtonText, QColor(0xf2, 0xf2, 0xf5));
            QGuiApplication::setPalette(palette);
        }
        auto restore = qScopeGuard([&] { QGuiApplication::setPalette(original); });

        Estate estate;
        PopoverRig hub(estate.sources);
        FakeProviders &providers = hub.providers;
        for (auto it = estate.widgets.cbegin(); it != estate.widgets.cend(); ++it)
            providers.setWidgets(it.key(), it.value());
        providers.failWith(estate.failing, u"connection refused"_s);
        hub.preferences->setAccentHex(accent);
        AppState &state = *hub.state;
        state.startSync();
        // Several rounds with wandering latencies, so that sparklines have a history to draw.
        for (int round = 1; round <= 8; ++round) {
            for (auto it = estate.widgets.cbegin(); it != estate.widgets.cend(); ++it) {
                QList<WidgetData> varied = it.value();
                for (WidgetData &widget : varied) {
                    const double factor = 1.0 + 0.25 * std::sin(round * 1.7 + widget.name().size());
                    std::visit(
                        [&](auto &payload) {
                            if constexpr (requires { payload.latencyMs; }) {
                                if (payload.latencyMs)
                                    payload.latencyMs = *payload.latencyMs * factor;
                            }
                        },
                        widget.payload);
                }
                providers.setWidgets(it.key(), varied);
            }
            QVERIFY(hub.sleeper.runUntilDelays(round * estate.sources.size()));
        }
        QTRY_COMPARE(state.snapshots().size() + state.errors().size(), estate.sources.size());
        QQuickItem *root = hub.show();
        QVERIFY(root);
        QTest::qWait(200);
        const QImage image = hub.window->view()->grabWindow();
        saveScreenshot(image, u"popover-%1.png"_s.arg(QString::fromLatin1(QTest::currentDataTag())));

        // The picture shows the accent (title, pills), a red incident and the window's own colour.
        QVERIFY(pixelsNear(image, QColor(accent)) > 0);
        QVERIFY(pixelsNear(image, QColor(0xe5, 0x39, 0x35)) > 0);
        QVERIFY(pixelsNear(image, hub.theme->window()) > 0);
        // The host past its disk limit says so in words, not only in amber.
        const QQuickItem *reason = findShown(root, u"overLimits"_s);
        QVERIFY(reason);
        QCOMPARE(reason->property("text").toString(), u"Past limit: disk 93 %"_s);
    }

    // What a user sees of readings that can no longer be trusted: a Kuma server out of reach keeps its
    // monitors under its error, gray and aged, and a check silent for three of its intervals shows
    // its age instead of its colour. Neither turns the tray red.
    void staleRows()
    {
        const KumaConfig kuma(QUuid::createUuid(), u"Homelab Kuma"_s, u"http://kuma.lan:3001"_s);
        HTTPPingConfig grafana(QUuid::createUuid(), u"Grafana"_s, u"https://grafana.lan"_s);
        grafana.pollInterval = 60;
        const KumaConfig office(QUuid::createUuid(), u"Office Kuma"_s, u"http://office.lan:3001"_s);
        PopoverRig hub({kuma, grafana, office});
        // Neither health nor failure: each says so, in its colour and shape.
        hub.providers.setWidgets(
            office.id,
            {ServiceRow{u"7"_s, u"Printer"_s, ServiceStatus::Up, 3.1, {}},
             ServiceRow{u"8"_s, u"Backups"_s, ServiceStatus::Maintenance, {}, u"Nightly window"_s},
             ServiceRow{u"9"_s, u"Old wiki"_s, ServiceStatus::Paused, {}, u"Paused in Kuma (or removed)"_s}});
        hub.providers.setWidgets(kuma.id,
                                 {ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, 23.4, {}},
                                  ServiceRow{u"2"_s, u"Nextcloud"_s, ServiceStatus::Down, {}, u"HTTP 502"_s}});
        hub.providers.setWidgets(grafana.id, {CheckResult{u"g"_s, u"Grafana"_s, ServiceStatus::Down, 12.0, {}}});
        hub.providers.setFetchedAt(grafana.id, QDateTime::currentDateTimeUtc().addSecs(-12 * 60));
        AppState &state = *hub.state;
        state.startSync();
        QTRY_COMPARE(state.snapshots().size(), 3);
        hub.providers.failWith(kuma.id, u"connection refused"_s);
        state.refreshAll();
        QTRY_VERIFY(state.errors().contains(kuma.id));
        // An old outage of a source out of reach, and an old failed check: nothing known is down now.
        QCOMPARE(state.overallStatus(), OverallStatus::Degraded);
        QCOMPARE(hub.controller->summary(), u"1 service affected"_s);

        QQuickItem *root = hub.show();
        QVERIFY(root);
        QTest::qWait(200);
        const QImage image = hub.window->view()->grabWindow();
        saveScreenshot(image, u"popover-stale.png"_s);
        QStringList words;
        for (const QQuickItem *word : findVisible(root, u"stateWord"_s))
            words.append(word->property("text").toString());
        QCOMPARE(words, (QStringList{u"Maintenance"_s, u"Paused"_s}));
        QVERIFY(pixelsNear(image, QColor(0x17, 0x47, 0xf5), 1) > 0); // maintenance's own colour
        QStringList ages;
        for (const QQuickItem *age : findVisible(root, u"staleAge"_s))
            ages.append(age->property("text").toString());
        ages.sort();
        QCOMPARE(ages, (QStringList{u"12 min old"_s, u"under a minute old"_s, u"under a minute old"_s}));
    }

    // The router goes down and everything reached through it with it: one red card, the rest gray
    // and "Behind Router", and one notification that counts them.
    void behindADownRouter()
    {
        TCPPortConfig router(QUuid::createUuid(), u"Router"_s, u"192.168.1.1"_s, 80);
        router.alertThreshold = 1;
        QList<AnySourceConfig> sources{router};
        const KumaConfig kuma(QUuid::createUuid(), u"Homelab Kuma"_s, u"http://kuma.lan:3001"_s);
        const QStringList hosts{u"NAS (SSH)"_s, u"Plex"_s, u"Home Assistant"_s};
        for (const QString &name : hosts)
            sources.append(TCPPortConfig(QUuid::createUuid(), name, u"10.0.0.9"_s, 22));
        sources.append(kuma);
        for (qsizetype i = 1; i < sources.size(); ++i) {
            sources[i].common().alertThreshold = 1;
            sources[i].common().dependsOn = router.id;
        }
        const HTTPPingConfig outside(QUuid::createUuid(), u"Public website"_s, u"https://example.com"_s);
        sources.append(outside);
        PopoverRig hub(sources, {.testHost = false}); // its alerts are posted, to the hub's record
        hub.providers.setWidgets(kuma.id,
                                 {ServiceRow{u"1"_s, u"Jellyfin"_s, ServiceStatus::Up, 23.4, {}},
                                  ServiceRow{u"2"_s, u"Grafana"_s, ServiceStatus::Up, 40.1, {}}});
        AppState &state = *hub.state;
        state.startSync();
        QTRY_COMPARE(state.snapshots().size(), sources.size());
        for (const AnySourceConfig &source : sources.mid(0, sources.size() - 1))
            hub.providers.failWith(source.id(), u"connection refused"_s);
        // A closed port answers its poll with a down check rather than failing it.
        hub.providers.succeed(sources[2].id());
        hub.providers.setWidgets(sources[2].id(),
                                 {CheckResult{u"p"_s, u"Plex"_s, ServiceStatus::Down, {}, u"connection refused"_s}});
        state.refreshAll();
        QTRY_VERIFY(state.blockedBy(kuma.id));
        for (const AnySourceConfig &source : sources.mid(1, sources.size() - 2))
            QTRY_COMPARE(state.blockedBy(source.id()), std::optional(router.id));
        QTRY_COMPARE(hub.postedTitles(), QStringList{u"Router is down — 4 sources behind it"_s});

        QQuickItem *root = hub.show();
        QVERIFY(root);
        QTest::qWait(200);
        saveScreenshot(hub.window->view()->grabWindow(), u"popover-behind-router.png"_s);
        QStringList behind;
        for (const QQuickItem *message : findVisible(root, u"messageText"_s))
            behind.append(message->property("subtitle").toString());
        QCOMPARE(behind.count(u"Behind Router"_s), hosts.size());
    }
};

TW_GUI_TEST_MAIN(PopoverScreenshotTest)
#include "PopoverScreenshotTest.moc"
