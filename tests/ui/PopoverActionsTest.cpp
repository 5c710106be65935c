#include "app/PopoverController.h"
#include "app/PopoverModel.h"
#include "app/PopoverWindow.h"
#include "support/GuiTestMain.h"
#include "support/Views.h"

#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// Key by key, as a person types: QTest types whole strings into widgets only.
void type(QWindow *window, const char *text)
{
    for (const char *c = text; *c; ++c)
        QTest::keyClick(window, *c);
}

// The popover over a hub whose first source is a Kuma server with the given monitors.
struct Rig : PopoverRig
{
    QSignalSpy closing{controller.get(), &PopoverController::closeRequested};

    Rig(const QList<AnySourceConfig> &sources, const QList<WidgetData> &monitors)
        : PopoverRig(sources)
    {
        providers.setWidgets(sources.first().id(), monitors);
    }
};

KumaConfig kumaServer()
{
    KumaConfig kuma(QUuid::createUuid(), u"Homelab"_s, u"https://kuma.lan"_s);
    kuma.statusPageSlug = u"home"_s;
    return kuma;
}

} // namespace

class PopoverActionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A monitor's row opens its own page on a double click, the card's menu the source's page, and
    // the popover gives way to the browser; rows without a page offer neither.
    void rowsOpenTheirPages()
    {
        const KumaConfig kuma = kumaServer();
        const TCPPortConfig port(QUuid::createUuid(), u"SSH"_s, u"127.0.0.1"_s, 22);
        Rig rig({kuma, port},
                {ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, 4, {}, u"https://plex.lan/web"_s},
                 ServiceRow{u"2"_s, u"NAS"_s, ServiceStatus::Up, 2, {}, {}}});
        QList<QUrl> opened;
        rig.controller->setPageOpener([&opened](const QUrl &url) {
            opened.append(url);
            return true;
        });
        QSignalSpy &closing = rig.closing;
        PopoverWindow &window = *rig.window;
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        const auto rowNamed = [root](const QString &name) -> QQuickItem * {
            for (QQuickItem *item : findVisible(root, u"row"_s)) {
                if (item->property("row").toMap().value(u"name"_s).toString() == name)
                    return item;
            }
            return nullptr;
        };
        QTRY_VERIFY(rowNamed(u"Plex"_s) && rowNamed(u"SSH"_s));
        QTest::qWait(50);

        // The Plex row: a double click anywhere on it.
        QTest::mouseDClick(window.view(), Qt::LeftButton, {}, sceneCentre(rowNamed(u"Plex"_s)));
        QTRY_COMPARE(opened, QList<QUrl>{QUrl(u"https://plex.lan/web"_s)});
        QCOMPARE(closing.size(), 1);
        QTRY_VERIFY(!window.view()->isVisible());
        window.show(QRect(100, 0, 22, 22));
        QVERIFY(QTest::qWaitForWindowExposed(window.view()));

        // The NAS row has no page: a double click does nothing.
        QTest::mouseDClick(window.view(), Qt::LeftButton, {}, sceneCentre(rowNamed(u"NAS"_s)));
        QTest::qWait(100);
        QCOMPARE(opened.size(), 1);

        // The Kuma card's menu opens its status page. Which sources have one is the row links' rule.
        QQuickItem *card = findVisible(root, u"card"_s).value(0);
        QVERIFY(card);
        QCOMPARE(card->property("row").toMap().value(u"sourceId"_s).toString(),
                 kuma.id.toString(QUuid::WithoutBraces).toUpper());
        auto *menu = card->findChild<QObject *>(u"sourceMenu"_s);
        QVERIFY(menu);
        QTest::mouseClick(window.view(), Qt::RightButton, {}, card->mapToScene({40, 12}).toPoint());
        QTRY_VERIFY(menu->property("opened").toBool());
        QTest::qWait(150); // the menu's entry transition
        auto *open = menu->findChild<QQuickItem *>(u"openInBrowser"_s);
        QVERIFY(open && open->isVisible());
        saveScreenshot(window.view()->grabWindow(), u"popover-open-in-browser.png"_s);
        clickItem(open);
        QTRY_COMPARE(opened.size(), 2);
        QCOMPARE(opened.last(), QUrl(u"https://kuma.lan/status/home"_s));
        QTRY_VERIFY(!menu->property("visible").toBool());
    }

    // Without a mouse: typing narrows the rows by name, Escape clears that and then closes, arrows
    // move between the cards and Return opens a card's menu.
    void keyboardAloneReachesEveryRow()
    {
        const KumaConfig kuma = kumaServer();
        const TCPPortConfig ssh(QUuid::createUuid(), u"SSH"_s, u"127.0.0.1"_s, 22);
        const TCPPortConfig smb(QUuid::createUuid(), u"Samba"_s, u"127.0.0.1"_s, 445);
        Rig rig({kuma, ssh, smb},
                {ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, 4, {}, {}},
                 ServiceRow{u"2"_s, u"Pi-hole"_s, ServiceStatus::Up, 2, {}, {}},
                 ServiceRow{u"3"_s, u"NAS"_s, ServiceStatus::Up, 2, {}, {}}});
        QSignalSpy &closing = rig.closing;
        PopoverWindow &window = *rig.window;
        PopoverController &controller = *rig.controller;
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        const auto names = [root] {
            QStringList shown;
            for (QQuickItem *item : findVisible(root, u"row"_s))
                shown.append(item->property("row").toMap().value(u"name"_s).toString());
            return shown;
        };
        QTRY_COMPARE(names().size(), 6); // a header, its three children, two single rows
        QTest::qWait(50);

        type(window.view(), "p");
        QTRY_COMPARE(names(), (QStringList{u"Homelab"_s, u"Plex"_s, u"Pi-hole"_s}));
        QVERIFY(isShown(root, u"filterBar"_s));
        type(window.view(), "i-");
        QTRY_COMPARE(names(), (QStringList{u"Homelab"_s, u"Pi-hole"_s}));
        for (int i = 0; i < 3; ++i)
            QTest::keyClick(window.view(), Qt::Key_Backspace);
        QTRY_COMPARE(names().size(), 6);
        QVERIFY(!isShown(root, u"filterBar"_s));
        type(window.view(), "S");
        QTRY_COMPARE(names(), (QStringList{u"Homelab"_s, u"NAS"_s, u"SSH"_s, u"Samba"_s}));
        type(window.view(), "amb");
        QTRY_COMPARE(names(), QStringList{u"Samba"_s});
        saveScreenshot(window.view()->grabWindow(), u"popover-type-to-filter.png"_s);
        type(window.view(), "x");
        QTRY_VERIFY(names().isEmpty());
        QVERIFY(textOf(root, u"filterText"_s).startsWith(u"Nothing matches"_s));
        QTest::keyClick(window.view(), Qt::Key_Escape);
        QTRY_COMPARE(names().size(), 6);
        QCOMPARE(closing.size(), 0);

        // Down twice reaches the second card; Return opens its menu.
        QTest::keyClick(window.view(), Qt::Key_Down);
        QTest::keyClick(window.view(), Qt::Key_Down);
        QList<QQuickItem *> cards = findVisible(root, u"card"_s);
        QCOMPARE(cards.size(), 3);
        QTRY_VERIFY(cards.at(1)->hasActiveFocus());
        QTest::keyClick(window.view(), Qt::Key_Return);
        auto *menu = cards.at(1)->findChild<QObject *>(u"sourceMenu"_s);
        QTRY_VERIFY(menu && menu->property("opened").toBool());
        QTest::keyClick(window.view(), Qt::Key_Escape);
        QTRY_VERIFY(!menu->property("visible").toBool());
        QTest::keyClick(window.view(), Qt::Key_Up);
        QTRY_VERIFY(cards.at(0)->hasActiveFocus());

        // A notification's "Open" lands on its source's card, whatever was typed before.
        type(window.view(), "zz");
        QTRY_VERIFY(names().isEmpty());
        controller.reveal(smb.id);
        QTRY_COMPARE(names().size(), 6);
        QTRY_VERIFY(findVisible(root, u"card"_s).at(2)->hasActiveFocus());

        QTest::keyClick(window.view(), Qt::Key_Escape);
        QTRY_COMPARE(closing.size(), 1);
    }
};

TW_GUI_TEST_MAIN(PopoverActionsTest)
#include "PopoverActionsTest.moc"
