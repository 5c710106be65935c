#include "GamesCommand.h"

#include "kit/games/GameRegistry.h"

#include <QTextStream>

using namespace Qt::StringLiterals;

namespace tw::GamesCommand {

QString synopsis()
{
    return u"games [QUERY]   list the games Tidewatch can watch (filtered by name or id)"_s;
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    if (arguments.value(0) == u"--help"_s || arguments.value(0) == u"-h"_s) {
        out << "usage: tidewatch-cli " << synopsis() << '\n';
        return 0;
    }
    const QList<GameSection> sections = GameRegistry::gameSections(arguments.join(u' '), QString());
    if (sections.isEmpty()) {
        QTextStream(stderr) << "tidewatch-cli games: no game matches \"" << arguments.join(u' ') << "\"\n";
        return 1;
    }
    qsizetype idWidth = 0;
    for (const GameSection &section : sections) {
        for (const GameDefinition &game : section.games)
            idWidth = std::max(idWidth, game.id.size());
    }
    bool first = true;
    for (const GameSection &section : sections) {
        out << (first ? "" : "\n") << section.title << '\n';
        first = false;
        for (const GameDefinition &game : section.games) {
            out << "  " << game.id.leftJustified(idWidth + 2) << game.displayName << "  (port " << game.defaultPort
                << ')' << '\n';
            if (game.setupNote)
                out << "  " << QString(idWidth + 2, u' ') << *game.setupNote << '\n';
        }
    }
    return 0;
}

} // namespace tw::GamesCommand
