#include "app/SourceEditor.h"
#include "app/SourceSheetController.h"
#include "kit/base/CredentialError.h"
#include "kit/monitor/ProviderRegistry.h"
#include "support/Await.h"
#include "support/GuiTestMain.h"
#include "support/TestData.h"
#include "support/UiPictures.h"
#include "support/Views.h"

#include <QQuickView>
#include <QSignalSpy>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// A store that refuses every write, as a locked or missing keyring does.
class RefusingStore : public InMemoryCredentialStore
{
public:
    QCoro::Task<> write(QString, QString) override
    {
        throw CredentialError::unexpectedStatus(-25308);
        co_return;
    }
};

const QUuid palID(u"{0B8E5C1A-2F3D-4E6B-9A7C-5D4E3F2A1B0C}"_s);
const QString palSecretName = u"gameServer-0B8E5C1A-2F3D-4E6B-9A7C-5D4E3F2A1B0C"_s;

// The sheet over a real hub, which polls with the program's own providers.
struct Rig : AppHub
{
    std::unique_ptr<SourceEditor> editor;

    Rig(const QList<AnySourceConfig> &sources,
        std::shared_ptr<InMemoryCredentialStore> store = {},
        ProviderMaker sheetMaker = ProviderRegistry::maker())
        : AppHub(sources, {.makeProvider = ProviderRegistry::maker()})
    {
        if (store) {
            credentials = std::move(store);
            restart();
        }
        state->startSync();
        editor = std::make_unique<SourceEditor>(state.get(), std::move(sheetMaker), engineGetter());
    }
    ~Rig() override { editor.reset(); }

    SourceSheetController &sheet() { return *editor->controller(); }
    // The item the user can see, since fields of other kinds keep their names while hidden; searched
    // from the window's content item, so that items of the overlay (the alert) are found too.
    QQuickItem *item(const QString &name)
    {
        QQuickItem *root = editor->view()->contentItem();
        QQuickItem *shown = findShown(root, name);
        return shown ? shown : findItem(root, name);
    }
    bool shown()
    {
        return editor->view() && QTest::qWaitForWindowExposed(editor->view()) && editor->view()->rootObject();
    }
    // Presses a control as a keyboard user does.
    bool press(const QString &name)
    {
        QQuickItem *control = item(name);
        if (!control || !control->isVisible() || !control->isEnabled())
            return false;
        control->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(editor->view(), Qt::Key_Space);
        return true;
    }
    // Types into the text field of a labelled field, replacing what it held.
    bool type(const QString &field, const QString &text)
    {
        QQuickItem *input = item(field + u".input"_s);
        if (!input)
            input = item(field);
        if (!input || !input->isVisible())
            return false;
        input->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(editor->view(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(editor->view(), Qt::Key_Backspace);
        for (QChar c : text)
            QTest::keyClick(editor->view(), c.toLatin1());
        return true;
    }
    QString text(const QString &name)
    {
        QQuickItem *found = item(name);
        return found ? found->property("text").toString() : u"<missing %1>"_s.arg(name);
    }
    bool visible(const QString &name)
    {
        QQuickItem *found = item(name);
        return found && found->isVisible();
    }
    // Picks a game through the search field and its row in the picker.
    bool pickGame(const QString &id) { return type(u"source.gameSearch"_s, id) && press(u"source.game."_s + id); }
};

GameServerConfig palworld()
{
    GameServerConfig config(palID, u"Pal"_s, u"palworld"_s, u"pal.lan"_s, 8212);
    config.credentialRef = palSecretName;
    return config;
}

} // namespace

class SourceSheetViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addTcpSourceSavesWhatWasTyped()
    {
        Rig rig({});
        rig.editor->add();
        QVERIFY(rig.shown());
        QVERIFY(rig.press(u"source.kind.tcpPort"_s));
        QVERIFY(!rig.press(u"source.save"_s)); // not while the form is incomplete
        QVERIFY(rig.type(u"source.name"_s, u"Local listener"_s));
        QVERIFY(rig.type(u"source.host"_s, u"127.0.0.1:2222"_s));
        QCOMPARE(rig.text(u"source.host.hint"_s), u"Will use host 127.0.0.1, port 2222"_s);
        QVERIFY(rig.type(u"source.interval"_s, u"15"_s));
        QVERIFY(rig.press(u"source.save"_s));

        QTRY_VERIFY(!rig.editor->isVisible());
        QCOMPARE(rig.state->sources().size(), 1);
        const auto *tcp = rig.state->sources().first().as<TCPPortConfig>();
        QVERIFY(tcp);
        QCOMPARE(u"%1 %2:%3 every %4 s"_s.arg(tcp->displayName, tcp->host).arg(tcp->port).arg(tcp->pollInterval),
                 u"Local listener 127.0.0.1:2222 every 15 s"_s);
    }

    // The picker starts on the source's parent, never offers what would close a loop, and the arrow
    // keys choose what is saved.
    void sitsBehindPickerSavesTheChoice()
    {
        TCPPortConfig router(QUuid::createUuid(), u"Router"_s, u"127.0.0.1"_s, 9);
        TCPPortConfig sw(QUuid::createUuid(), u"Switch"_s, u"127.0.0.1"_s, 9);
        sw.dependsOn = router.id;
        TCPPortConfig nas(QUuid::createUuid(), u"NAS"_s, u"127.0.0.1"_s, 9);
        nas.dependsOn = sw.id;
        Rig rig({router, sw, nas});
        rig.editor->edit(sw.id);
        QVERIFY(rig.shown());
        QCOMPARE(rig.sheet().parentChoices(), (QStringList{u"Nothing (reached directly)"_s, u"Router"_s}));
        QQuickItem *picker = rig.item(u"source.dependsOn"_s);
        QVERIFY(picker && picker->isVisible());
        QCOMPARE(picker->property("currentText").toString(), u"Router"_s);
        picker->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(rig.editor->view(), Qt::Key_Up);
        QVERIFY(rig.press(u"source.save"_s));
        QTRY_VERIFY(!rig.editor->isVisible());
        QVERIFY(!rig.state->sources().at(1).common().dependsOn);
    }

    void editKeepsStoredSecretWithoutRetyping()
    {
        Rig rig({palworld()},
                std::make_shared<InMemoryCredentialStore>(QHash<QString, QString>{{palSecretName, u"admin"_s}}));
        rig.editor->edit(palID);
        QVERIFY(rig.shown());
        QVERIFY(!rig.visible(u"source.back"_s));
        QVERIFY(rig.visible(u"source.gameSecret"_s));
        QCOMPARE(rig.item(u"source.gameSecret.input"_s)->property("placeholderText").toString(),
                 u"Leave blank to keep the current secret"_s);
        QVERIFY(rig.type(u"source.name"_s, u"Palworld box"_s));
        QVERIFY(rig.press(u"source.save"_s));

        QTRY_VERIFY(!rig.editor->isVisible());
        GameServerConfig expected = palworld();
        expected.displayName = u"Palworld box"_s;
        QCOMPARE(rig.state->sources().first(), AnySourceConfig(expected));
        QCOMPARE(await(rig.credentials->read(palSecretName)), u"admin"_s);
    }

    // What each game keeps of the form is the form's own rule; here, that the fields on show follow it.
    void pickerFollowsTheGame()
    {
        Rig rig({});
        rig.editor->add();
        QVERIFY(rig.shown());
        QVERIFY(rig.press(u"source.kind.gameServer"_s));
        QVERIFY(!rig.visible(u"source.gameSecret"_s)); // Minecraft takes none
        QVERIFY(rig.pickGame(u"valheim"_s));
        QVERIFY(rig.visible(u"source.advanced"_s));
        QVERIFY(!rig.visible(u"source.useTLS"_s));
        QVERIFY(rig.text(u"source.setupNote"_s).startsWith(u"Start the server with -public 1."_s));
        QVERIFY(rig.pickGame(u"rust"_s));
        QVERIFY(!rig.visible(u"source.setupNote"_s));
        QVERIFY(rig.pickGame(u"palworld"_s));
        QVERIFY(rig.visible(u"source.gameSecret"_s));
        QVERIFY(rig.visible(u"source.useTLS"_s));
        QVERIFY(!rig.visible(u"source.advanced"_s));
        QVERIFY(rig.text(u"source.secretNote"_s).endsWith(u"so use it on a trusted network only."_s));
        QVERIFY(rig.press(u"source.useTLS"_s));
        QVERIFY(rig.text(u"source.secretNote"_s).endsWith(u"grants full control."_s));
    }

    // A typed secret is tried from a store of its own; without one, the stored secret is used.
    void testUsesTheRightSecret_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("widgets");
        QTest::addColumn<QString>("outcome"); // the status line; the secret the test was given
        QTest::newRow("typed secret") << u"new"_s << 1 << u"Connected; new"_s;
        QTest::newRow("stored secret") << QString() << 1 << u"Connected; old"_s;
        QTest::newRow("nothing to show") << QString() << 0
                                         << u"Failed: Connected, but the source reported nothing to show. Check that "
                                            "Uptime Kuma has monitors set up.; old"_s;
    }
    void testUsesTheRightSecret()
    {
        const QUuid id = QUuid::createUuid();
        const QString name = AnySourceConfig::credentialName(AnySourceConfig::Kind::Kuma, id);
        KumaConfig kuma(id, u"Kuma"_s, u"https://kuma.lan"_s);
        kuma.username = u"admin"_s;
        kuma.passwordRef = name;
        FakeProviders fakes;
        fakes.setWidgets(id, QList<WidgetData>(TW_DATA(int, widgets), FakeProviders::widgetFor(kuma, 1)));
        std::shared_ptr<CredentialStore> given;
        Rig rig({kuma},
                std::make_shared<InMemoryCredentialStore>(QHash<QString, QString>{{name, u"old"_s}}),
                [&](const AnySourceConfig &config, std::shared_ptr<CredentialStore> store) {
                    given = store;
                    return fakes.maker()(config, std::move(store));
                });
        rig.editor->edit(id);
        QVERIFY(rig.shown());
        if (!TW_DATA(QString, typed).isEmpty())
            QVERIFY(rig.type(u"source.secret"_s, TW_DATA(QString, typed)));
        QVERIFY(!rig.visible(u"source.testStatus"_s));
        QSignalSpy finished(&rig.sheet(), &SourceSheetController::testFinished);
        QVERIFY(rig.press(u"source.test"_s));
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 5000);
        QVERIFY(rig.visible(u"source.testStatus"_s) && given);
        QCOMPARE(rig.text(u"source.testText"_s) + u"; "_s + await(given->read(name)).value_or(u"-"_s),
                 TW_DATA(QString, outcome));
        QCOMPARE(await(rig.credentials->read(name)), u"old"_s);
        QCOMPARE(rig.state->sources().first(), AnySourceConfig(kuma));
        // Any change of the form forgets the outcome.
        QVERIFY(rig.type(u"source.name"_s, u"Kuma 2"_s));
        QVERIFY(!rig.visible(u"source.testStatus"_s));
    }

    void failedSecretWriteKeepsTheSheetOpen()
    {
        Rig rig({}, std::make_shared<RefusingStore>());
        rig.editor->add();
        QVERIFY(rig.shown());
        QVERIFY(rig.press(u"source.kind.beszel"_s));
        QVERIFY(rig.type(u"source.name"_s, u"Hub"_s));
        QVERIFY(rig.type(u"source.url"_s, u"beszel.lan:8090"_s));
        QVERIFY(rig.type(u"source.secret"_s, u"token"_s));
        QSignalSpy saved(&rig.sheet(), &SourceSheetController::saveFinished);
        QVERIFY(rig.press(u"source.save"_s));
        QTRY_COMPARE_WITH_TIMEOUT(saved.count(), 1, 5000);
        QObject *alert = rig.editor->view()->rootObject()->findChild<QObject *>(u"source.saveFailed"_s);
        QVERIFY(alert);
        QTRY_VERIFY(alert->property("opened").toBool());
        QCOMPARE(alert->property("title").toString(), u"Couldn't Save Source"_s);
        QCOMPARE(rig.text(u"source.saveFailedText"_s), u"Keychain error -25308"_s);
        QVERIFY(rig.editor->isVisible());
        QVERIFY(rig.state->sources().isEmpty());
        // OK closes the alert; the form still holds what was typed.
        QMetaObject::invokeMethod(alert, "accept");
        QTRY_VERIFY(!alert->property("visible").toBool());
        QCOMPARE(rig.sheet().saveError(), QString());
        QCOMPARE(rig.sheet().secret(), u"token"_s);
    }

    // Which problem the line names first is the form's rule; the line shows it once the field reads,
    // Back drops what was typed and Escape closes the sheet without saving.
    void errorLineBackAndEscape()
    {
        Rig rig({});
        rig.editor->add();
        QVERIFY(rig.shown());
        QVERIFY(rig.press(u"source.example.website"_s));
        QCOMPARE(rig.text(u"source.name.input"_s), u"Website"_s);
        QVERIFY(!rig.visible(u"source.error"_s));
        QVERIFY(rig.type(u"source.url"_s, u"ftp://example.com"_s));
        QVERIFY(rig.visible(u"source.error"_s));
        QVERIFY(rig.press(u"source.back"_s));
        QCOMPARE(rig.text(u"source.header"_s), u"Add Source"_s);
        QVERIFY(rig.press(u"source.kind.httpPing"_s));
        QCOMPARE(rig.text(u"source.url.input"_s), QString());
        QVERIFY(rig.type(u"source.name"_s, u"K"_s));
        QTest::keyClick(rig.editor->view(), Qt::Key_Escape);
        QTRY_VERIFY(!rig.editor->isVisible());
        QVERIFY(rig.state->sources().isEmpty());
    }

    // The add-source sheet at its main stops, for the README and for a look by eye; the pictures go to
    // $TW_SCREENSHOT_DIR.
    // Each stop's kind and the fields typed into it, in the order a person fills them in.
    void screenshots_data()
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
    void screenshots()
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

TW_GUI_TEST_MAIN(SourceSheetViewTest)
#include "SourceSheetViewTest.moc"
