#include "app/SourceEditor.h"
#include "app/SourceSheetController.h"
#include "support/GuiTestMain.h"
#include "support/UiPictures.h"
#include "support/Views.h"

#include <QQuickView>
#include <QSignalSpy>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

// Renders the add-source sheet at its main stops for the README and for a look by eye; the
// pictures go to $TW_SCREENSHOT_DIR.
class SourceSheetScreenshotTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void render_data()
    {
        QTest::addColumn<QString>("stop");
        QTest::newRow("chooser") << u"chooser"_s;
        QTest::newRow("kuma") << u"kuma"_s;
        QTest::newRow("palworld") << u"palworld"_s;
        QTest::newRow("json") << u"json"_s;
        QTest::newRow("icmp") << u"icmp"_s;
        QTest::newRow("dns") << u"dns"_s;
        QTest::newRow("tls") << u"tls"_s;
        QTest::newRow("beszel") << u"beszel"_s;
        QTest::newRow("failure") << u"failure"_s;
    }
    void render()
    {
        QFETCH(QString, stop);
        KumaConfig rack(QUuid::createUuid(), u"Rack status"_s, u"https://status.home.lan:3001"_s);
        rack.statusPageSlug = u"rack"_s;
        AppHub hub({rack});
        SourceEditor editor(hub.state.get(), hub.providers.maker(), hub.engineGetter());
        SourceSheetController &sheet = *editor.controller();

        if (stop == u"failure"_s) {
            // A reason longer than the line: all of it shows, wrapped, not "Faile…".
            hub.providers.failWith(rack.id,
                                   u"Connection refused by status.home.lan:3001. Nothing listens on that port; check "
                                   "that Uptime Kuma runs and the address is right."_s);
            editor.edit(rack.id);
            QSignalSpy finished(&sheet, &SourceSheetController::testFinished);
            sheet.testConnection();
            QTRY_COMPARE(finished.count(), 1);
        } else {
            editor.add();
        }
        if (stop == u"kuma"_s) {
            sheet.chooseKind(u"kuma"_s);
            sheet.setDisplayName(u"Homelab status"_s);
            sheet.setBaseURL(u"status.home.lan:3001"_s);
            sheet.setUsername(u"metrics"_s);
            sheet.setSecret(u"secret"_s);
            sheet.setAlertThreshold(4);
        } else if (stop == u"palworld"_s) {
            sheet.chooseKind(u"gameServer"_s);
            sheet.setDisplayName(u"Palworld"_s);
            sheet.setGameSearch(u"pal"_s);
            sheet.setGameID(u"palworld"_s);
            sheet.setGameSearch(QString());
            sheet.setHost(u"pal.home.lan"_s);
        } else if (stop == u"json"_s) {
            sheet.chooseKind(u"jsonWidget"_s);
            sheet.setDisplayName(u"Backups"_s);
            sheet.setBaseURL(u"https://backup.home.lan/api/status"_s);
            sheet.setFieldsText(u"Last run = data.lastRun\nSize = data.size.human\nbroken line"_s);
            sheet.setPollSeconds(u"2"_s);
        } else if (stop == u"icmp"_s) {
            sheet.chooseKind(u"icmpPing"_s);
            sheet.setDisplayName(u"Router"_s);
            sheet.setHost(u"192.168.1.1"_s);
        } else if (stop == u"dns"_s) {
            sheet.chooseKind(u"dnsRecord"_s);
            sheet.setDisplayName(u"Mail exchanger"_s);
            sheet.setRecordName(u"home.lan"_s);
            sheet.setRecordType(u"MX"_s);
            sheet.setExpectedValue(u"mail.home.lan"_s);
            sheet.setNameserver(u"dns.home.lan"_s);
        } else if (stop == u"tls"_s) {
            sheet.chooseKind(u"tlsCertificate"_s);
            sheet.setDisplayName(u"NAS web UI"_s);
            sheet.setHost(u"nas.home.lan:8443"_s);
            sheet.setWarningDays(u"30"_s);
        } else if (stop == u"beszel"_s) {
            sheet.chooseKind(u"beszel"_s);
            sheet.setDisplayName(u"Rack hosts"_s);
            sheet.setBaseURL(u"beszel.home.lan:8090"_s);
            sheet.setSecret(u"token"_s);
            sheet.setDiskLimit(u"90"_s);
            sheet.setTempLimit(u"60"_s);
        }
        QVERIFY(QTest::qWaitForWindowExposed(editor.view()));
        QTest::qWait(200);
        const QImage image = editor.view()->grabWindow();
        saveScreenshot(image, u"source-sheet-%1.png"_s.arg(stop));

        const auto contains = [&](const QColor &colour) {
            return pixelsNear(image, colour) > 0;
        };
        QVERIFY(contains(hub.theme->window()));
        // The accent marks the kind tiles, the selected game and the save button (greyed out on the
        // invalid JSON form).
        if (stop != u"json"_s && stop != u"dns"_s)
            QVERIFY(contains(hub.preferences->accent()));
        // The JSON stop was left with a bad interval and the DNS stop with a nameserver by name: their
        // error lines are on show.
        QCOMPARE(contains(QColor(0xd9, 0x30, 0x25)), stop == u"json"_s || stop == u"dns"_s || stop == u"failure"_s);
        if (stop == u"failure"_s) {
            QQuickItem *text = editor.view()->rootObject()->findChild<QQuickItem *>(u"source.testText"_s);
            QVERIFY(text);
            QVERIFY(text->property("lineCount").toInt() >= 2);
            QVERIFY(!text->property("truncated").toBool());
            QVERIFY(text->mapToScene({0, text->height()}).y() <= editor.view()->height());
        }
    }
};

TW_GUI_TEST_MAIN(SourceSheetScreenshotTest)
#include "SourceSheetScreenshotTest.moc"
