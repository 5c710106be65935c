#include "kit/games/GameRegistry.h"
#include "support/CliProcess.h"
#include "support/TestData.h"

#include <QRegularExpression>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// The ids a listing shows under each section title, in order: "Steam Query: cs2 csgo-legacy".
QStringList sectionsOf(const QByteArray &listing)
{
    QStringList sections;
    static const QRegularExpression idLine(u"^  (\\S+) "_s);
    for (const QString &line : QString::fromUtf8(listing).split(u'\n')) {
        if (line.isEmpty())
            continue;
        if (!line.startsWith(u' '))
            sections.append(line + u':');
        else if (const auto match = idLine.match(line); match.hasMatch())
            sections.last() += u' ' + match.captured(1);
    }
    return sections;
}

} // namespace

class GamesCommandTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsWhatTheSearchKeeps_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("sections");
        QTest::newRow("by id and by name, case aside")
            << QStringList{u"CS"_s} << 0 << QStringList{u"Steam Query: cs2 csgo-legacy"_s};
        QTest::newRow("words of a name") << QStringList{u"minecraft"_s, u"(java)"_s} << 0
                                         << QStringList{u"Minecraft: minecraft-java"_s};
        QTest::newRow("sections in catalogue order")
            << QStringList{u"er"_s} << 0
            << QStringList{u"Web API: terraria-tshock"_s,
                           u"Steam Query: cs2 counter-strike-source core-keeper arma-reforger space-engineers "
                           "dont-starve-together a2s-custom"_s};
        QTest::newRow("nothing matches") << QStringList{u"tetris"_s} << 1 << QStringList{};
    }
    void listsWhatTheSearchKeeps()
    {
        const CliRun run = runCli(QStringList{u"games"_s} + TW_DATA(QStringList, arguments));
        QCOMPARE(run.exitCode, TW_DATA(int, exitCode));
        QCOMPARE(sectionsOf(run.out), TW_DATA(QStringList, sections));
        if (run.exitCode != 0)
            QVERIFY(run.err.contains("no game matches"));
    }

    void everyGameWithItsNote()
    {
        const CliRun run = runCli({u"games"_s});
        QCOMPARE(run.exitCode, 0);
        QStringList listed;
        for (const QString &section : sectionsOf(run.out))
            listed += section.split(u' ').mid(section.startsWith(u"Minecraft"_s) ? 1 : 2);
        QStringList catalogue;
        for (const GameDefinition &game : GameRegistry::all())
            catalogue.append(game.id);
        listed.sort();
        catalogue.sort();
        QCOMPARE(listed, catalogue);
        QVERIFY(run.out.contains("Valheim  (port 2456)\n"));
        QVERIFY(run.out.contains("Start the server with -public 1. A crossplay server always reports zero players.\n"));
    }
};

QTEST_GUILESS_MAIN(GamesCommandTest)
#include "GamesCommandTest.moc"
