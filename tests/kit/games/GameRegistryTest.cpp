#include "kit/games/GameRegistry.h"

#include "support/TestData.h"

#include <QSet>
#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

class GameRegistryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void catalogueInvariants()
    {
        const QList<GameDefinition> &games = GameRegistry::all();
        QSet<QString> ids;
        for (const GameDefinition &game : games) {
            QVERIFY2(!ids.contains(game.id), qPrintable(game.id));
            ids.insert(game.id);
            QVERIFY(game.defaultPort >= 1 && game.defaultPort <= 65535);
            QCOMPARE(gameEngineFromString(toText(game.engine)), game.engine);
            // Only the Steam query looks for a separate query port.
            if (game.engine == GameDefinition::Engine::A2S)
                QVERIFY(!game.queryPortOffsets.isEmpty() || game.fixedQueryPort);
            QVERIFY(!game.setupNote || game.setupNote->endsWith(u'.'));
        }
        QVERIFY(ids.contains(QString::fromLatin1(GameRegistry::defaultGameID)));
        QCOMPARE(gameEngineFromString(u"A2S"), std::nullopt);
    }

    void lookupIsExact_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<bool>("found");
        QTest::newRow("exact") << u"palworld"_s << true;
        QTest::newRow("case matters") << u"Palworld"_s << false;
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("blank around") << u" palworld"_s << false;
    }
    void lookupIsExact()
    {
        QFETCH(QString, id);
        QCOMPARE(GameRegistry::definition(id).has_value(), TW_DATA(bool, found));
    }

    void derivedValues()
    {
        using Use = GameDefinition::CredentialUse;
        QCOMPARE(GameRegistry::definition(u"palworld"_s)->credentialUse(), Use::Required);
        QCOMPARE(GameRegistry::definition(u"fivem"_s)->credentialUse(), Use::Optional);
        QCOMPARE(GameRegistry::definition(u"terraria-tshock"_s)->credentialUse(), Use::None);
        QVERIFY(GameRegistry::definition(u"terraria-tshock"_s)->usesWebAPI());
        QVERIFY(GameRegistry::definition(u"valheim"_s)->usesQueryPort());
        QVERIFY(!GameRegistry::definition(u"minecraft-java"_s)->usesQueryPort());
    }

    void sections_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QStringList>("shape"); // "title:count"
        QTest::newRow("empty") << QString() << u"minecraft-java"_s
                               << QStringList{u"Minecraft:2"_s, u"Web API:4"_s, u"Steam Query:36"_s};
        QTest::newRow("blanks only") << u"  \t "_s << QString()
                                     << QStringList{u"Minecraft:2"_s, u"Web API:4"_s, u"Steam Query:36"_s};
        QTest::newRow("steam keeps the custom row and the selection")
            << u"steam"_s << u"minecraft-java"_s << QStringList{u"Minecraft:1"_s, u"Steam Query:1"_s};
        QTest::newRow("cs by id") << u"cs"_s << QString() << QStringList{u"Steam Query:2"_s};
        QTest::newRow("nothing but the selected game") << u"zzz"_s << u"valheim"_s << QStringList{u"Steam Query:1"_s};
        QTest::newRow("nothing at all") << u"zzz"_s << u"no-such-game"_s << QStringList{};
        QTest::newRow("web game searched, minecraft selected")
            << u"PALWORLD"_s << u"minecraft-bedrock"_s << QStringList{u"Minecraft:1"_s, u"Web API:1"_s};
    }
    void sections()
    {
        QFETCH(QString, query);
        QFETCH(QString, selected);
        QStringList shape;
        for (const GameSection &section : GameRegistry::gameSections(query, selected))
            shape.append(section.title + u':' + QString::number(section.games.size()));
        QCOMPARE(shape, TW_DATA(QStringList, shape));
    }
};

QTEST_GUILESS_MAIN(GameRegistryTest)
#include "GameRegistryTest.moc"
