#include "app/SourceEditor.h"
#include "app/SourceSheetController.h"
#include "support/GuiTestMain.h"
#include "support/TestData.h"
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
    // Each stop's kind and the fields typed into it, in the order a person fills them in.
    void render_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QStringList>("fields"); // property=value
        QTest::newRow("chooser") << QString() << QStringList{};
        QTest::newRow("kuma") << u"kuma"_s
                              << QStringList{u"displayName=Homelab status"_s,
                                             u"baseURL=status.home.lan:3001"_s,
                                             u"username=metrics"_s,
                                             u"secret=secret"_s,
                                             u"alertThreshold=4"_s};
        QTest::newRow("palworld") << u"gameServer"_s
                                  << QStringList{u"displayName=Palworld"_s,
                                                 u"gameSearch=pal"_s,
                                                 u"gameID=palworld"_s,
                                                 u"gameSearch="_s,
                                                 u"host=pal.home.lan"_s};
        QTest::newRow("json") << u"jsonWidget"_s
                              << QStringList{
                                     u"displayName=Backups"_s,
                                     u"baseURL=https://backup.home.lan/api/status"_s,
                                     u"fieldsText=Last run = data.lastRun\nSize = data.size.human\nbroken line"_s,
                                     u"pollSeconds=2"_s};
        QTest::newRow("icmp") << u"icmpPing"_s << QStringList{u"displayName=Router"_s, u"host=192.168.1.1"_s};
        QTest::newRow("dns") << u"dnsRecord"_s
                             << QStringList{u"displayName=Mail exchanger"_s,
                                            u"recordName=home.lan"_s,
                                            u"recordType=MX"_s,
                                            u"expectedValue=mail.home.lan"_s,
                                            u"nameserver=dns.home.lan"_s};
        QTest::newRow("tls") << u"tlsCertificate"_s
                             << QStringList{u"displayName=NAS web UI"_s,
                                            u"host=nas.home.lan:8443"_s,
                                            u"warningDays=30"_s};
        QTest::newRow("beszel") << u"beszel"_s
                                << QStringList{u"displayName=Rack hosts"_s,
                                               u"baseURL=beszel.home.lan:8090"_s,
                                               u"secret=token"_s,
                                               u"diskLimit=90"_s,
                                               u"tempLimit=60"_s};
        QTest::newRow("failure") << QString() << QStringList{};
    }
    void render()
    {
        const QString stop = QString::fromLatin1(QTest::currentDataTag());
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
        if (!TW_DATA(QString, kind).isEmpty())
            sheet.chooseKind(TW_DATA(QString, kind));
        for (const QString &field : TW_DATA(QStringList, fields)) {
            const qsizetype equals = field.indexOf(u'=');
            QVERIFY(sheet.setProperty(qPrintable(field.left(equals)), field.mid(equals + 1)));
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
