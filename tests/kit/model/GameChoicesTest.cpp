#include "kit/model/GameChoices.h"

#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

namespace {

// "Title: id id; Title: id" — sections in order with their rows in order.
QString describe(const QList<GameChoices::Section> &sections, bool idsToo = true)
{
    QStringList parts;
    for (const auto &section : sections) {
        QStringList ids;
        for (const auto &game : section.games)
            ids.append(game.id);
        parts.append(section.title + u": "_s + (idsToo ? ids.join(u' ') : QString::number(ids.size())));
    }
    return parts.join(u"; "_s);
}

} // namespace

class GameChoicesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void catalogue()
    {
        const auto &all = GameChoices::all();
        QCOMPARE(all.size(), 42);
        QCOMPARE(all.first().id, GameChoices::defaultGameID);
        QCOMPARE(all.last().id, u"a2s-custom"_s);
        QSet<QString> ids;
        for (const auto &game : all)
            ids.insert(game.id);
        QCOMPARE(ids.size(), 42);
        QVERIFY(!GameChoices::find(u"Palworld"_s));
        QVERIFY(!GameChoices::find(QString()));
        QCOMPARE(GameChoices::find(u"palworld"_s)->defaultPort, 8212);
    }

    void sections_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QString>("expected");
        QTest::newRow("everything") << QString() << u"minecraft-java"_s
                                    << u"Minecraft: 2; Web API: 4; Steam Query: 36"_s;
        QTest::newRow("blanks are nothing") << u" \t "_s << QString() << u"Minecraft: 2; Web API: 4; Steam Query: 36"_s;
        QTest::newRow("steam keeps selection")
            << u"steam"_s << u"minecraft-java"_s << u"Minecraft: minecraft-java; Steam Query: a2s-custom"_s;
        QTest::newRow("id matches too") << u"CS"_s << u"none"_s << u"Steam Query: cs2 csgo-legacy"_s;
        QTest::newRow("no match keeps selected") << u"zzz"_s << u"valheim"_s << u"Steam Query: valheim"_s;
        QTest::newRow("no match, unknown selected") << u"zzz"_s << u"nope"_s << QString();
        QTest::newRow("table order, not query order")
            << u"red"_s << u"minecraft-bedrock"_s << u"Minecraft: minecraft-bedrock; Web API: redm"_s;
        QTest::newRow("trimmed query") << u"  palworld "_s << QString() << u"Web API: palworld"_s;
    }
    void sections()
    {
        const auto sections = GameChoices::sections(TW_DATA(QString, query), TW_DATA(QString, selected));
        const bool counts = TW_DATA(QString, expected).contains(u": 2;"_s);
        QCOMPARE(describe(sections, !counts), TW_DATA(QString, expected));
    }

    void derivedFacts_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<int>("use");
        QTest::addColumn<bool>("queryPort");
        QTest::addColumn<bool>("webAPI");
        QTest::newRow("palworld") << u"palworld"_s << int(GameChoices::CredentialUse::Required) << false << true;
        QTest::newRow("redm") << u"redm"_s << int(GameChoices::CredentialUse::Optional) << false << true;
        QTest::newRow("tshock") << u"terraria-tshock"_s << int(GameChoices::CredentialUse::None) << false << true;
        QTest::newRow("valheim") << u"valheim"_s << int(GameChoices::CredentialUse::None) << true << false;
        QTest::newRow("bedrock") << u"minecraft-bedrock"_s << int(GameChoices::CredentialUse::None) << false << false;
    }
    void derivedFacts()
    {
        const auto game = GameChoices::find(TW_DATA(QString, id));
        QVERIFY(game);
        QCOMPARE(int(game->credentialUse()), TW_DATA(int, use));
        QCOMPARE(game->usesQueryPort(), TW_DATA(bool, queryPort));
        QCOMPARE(game->usesWebAPI(), TW_DATA(bool, webAPI));
    }
};

QTEST_GUILESS_MAIN(GameChoicesTest)
#include "GameChoicesTest.moc"
