// One full Steam query as a poll makes it — challenge, info, player list — against one server:
// `a2s_query_bench HOST PORT GAME COUNT` prints the median and 90th percentile of the wall time of
// a query, and the process's CPU time per query.
#include "kit/games/A2SQuery.h"
#include "kit/games/GameRegistry.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>

#include <algorithm>
#include <sys/resource.h>

using namespace tw;

namespace {

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

QCoro::Task<QList<double>> queryMany(QString host, quint16 port, GameDefinition game, int count, int *players)
{
    QList<double> times;
    const auto udp = std::make_shared<SocketUDPTransport>();
    for (int i = 0; i < count; ++i) {
        QElapsedTimer clock;
        clock.start();
        const GameFacts facts = co_await A2SQuery::queryServer(host, port, game, udp, makeStopToken());
        times.append(double(clock.nsecsElapsed()) / 1e6);
        *players = int(facts.playerNames.size());
    }
    co_return times;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const std::optional<GameDefinition> game = GameRegistry::definition(arguments.value(3));
    if (arguments.size() < 4 || !game) {
        QTextStream(stderr) << "usage: a2s_query_bench HOST PORT GAME [COUNT]\n";
        return 64;
    }
    const QString host = arguments.at(1);
    const quint16 port = arguments.at(2).toUShort();
    const int count = arguments.size() > 4 ? arguments.at(4).toInt() : 200;
    int players = 0;
    try {
        QCoro::waitFor(queryMany(host, port, *game, 5, &players)); // warm up
        const double before = cpuSeconds();
        QList<double> times = QCoro::waitFor(queryMany(host, port, *game, count, &players));
        const double cpu = cpuSeconds() - before;
        std::sort(times.begin(), times.end());
        QTextStream(stdout) << "tidewatch  queries=" << times.size() << "  median_ms=" << times.at(times.size() / 2)
                            << "  p90_ms=" << times.at(times.size() * 9 / 10)
                            << "  cpu_ms_per_query=" << cpu * 1000.0 / count << "  names=" << players << '\n';
    } catch (const std::exception &error) {
        QTextStream(stderr) << "query failed: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
