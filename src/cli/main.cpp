// tidewatch-cli: the headless front end over the monitoring library, for boxes without a tray and
// for scripts (exit statuses follow the Nagios convention where a command reports health).
#include "cli/AddCommand.h"
#include "cli/CheckCommand.h"
#include "cli/EventsCommand.h"
#include "cli/GamesCommand.h"
#include "cli/SecretCommand.h"
#include "cli/TransferCommand.h"
#include "cli/WatchCommand.h"

#include <QCoreApplication>
#include <QTextStream>

#include <functional>

namespace {

struct Command
{
    QString name;
    QString synopsis;
    std::function<int(const QStringList &arguments)> run;
};

QList<Command> commands()
{
    return {
        {QStringLiteral("check"), tw::CheckCommand::synopsis(), tw::CheckCommand::run},
        {QStringLiteral("add"), tw::AddCommand::synopsis(), tw::AddCommand::run},
        {QStringLiteral("watch"), tw::WatchCommand::synopsis(), tw::WatchCommand::run},
        {QStringLiteral("events"), tw::EventsCommand::synopsis(), tw::EventsCommand::run},
        {QStringLiteral("games"), tw::GamesCommand::synopsis(), tw::GamesCommand::run},
        {QStringLiteral("secret"), tw::SecretCommand::synopsis(), tw::SecretCommand::run},
        {QStringLiteral("export"), tw::TransferCommand::exportSynopsis(), tw::TransferCommand::runExport},
        {QStringLiteral("import"), tw::TransferCommand::importSynopsis(), tw::TransferCommand::runImport},
    };
}

int usage(QTextStream &out, const QList<Command> &all)
{
    out << "usage: tidewatch-cli COMMAND [OPTIONS]\n\ncommands:\n";
    for (const Command &c : all)
        out << "  " << c.synopsis << '\n';
    out << "\nRun 'tidewatch-cli COMMAND --help' for the options of a command.\n";
    return 64; // EX_USAGE
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tidewatch-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TW_VERSION));

    const QStringList arguments = app.arguments().mid(1);
    const QList<Command> all = commands();
    QTextStream err(stderr);
    if (arguments.isEmpty() || arguments.first() == QLatin1String("--help")
        || arguments.first() == QLatin1String("-h")) {
        QTextStream out(stdout);
        usage(out, all);
        return arguments.isEmpty() ? 64 : 0;
    }
    if (arguments.first() == QLatin1String("--version")) {
        QTextStream(stdout) << "tidewatch-cli " << TW_VERSION << '\n';
        return 0;
    }
    for (const Command &c : all) {
        if (c.name == arguments.first())
            return c.run(arguments.mid(1));
    }
    err << "tidewatch-cli: unknown command '" << arguments.first() << "'\n";
    return usage(err, all);
}
