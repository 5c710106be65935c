// What Tidewatch measures for one HTTP target, poll after poll, and what a poll costs the process:
// `http_latency_bench URL COUNT` prints the median and the 90th percentile of the latencies the
// HTTP check reports, and the process's CPU time per poll.
#include "kit/desktop/InMemoryCredentialStore.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/monitor/ProviderRegistry.h"

#include <QCoreApplication>
#include <QCoroTask>
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

QCoro::Task<QList<double>> pollMany(AnySourceConfig config, int count)
{
    QList<double> latencies;
    const ProviderMaker maker = ProviderRegistry::maker();
    const auto credentials = std::make_shared<InMemoryCredentialStore>();
    for (int i = 0; i < count; ++i) {
        std::unique_ptr<SourceProvider> provider = maker(config, credentials);
        const StopToken stop = makeStopToken();
        const SourceSnapshot snapshot = co_await provider->fetch(stop);
        if (const auto latency = snapshot.widgets.isEmpty() ? std::nullopt : snapshot.widgets.first().latencyMs())
            latencies.append(*latency);
    }
    co_return latencies;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() < 2) {
        QTextStream(stderr) << "usage: http_latency_bench URL [COUNT]\n";
        return 64;
    }
    const int count = arguments.size() > 2 ? arguments.at(2).toInt() : 200;
    const AnySourceConfig config = HTTPPingConfig(QUuid::createUuid(), QStringLiteral("bench"), arguments.at(1));

    QCoro::waitFor(pollMany(config, 5)); // warm up: connection setup, code paths
    const double before = cpuSeconds();
    QList<double> latencies = QCoro::waitFor(pollMany(config, count));
    const double cpu = cpuSeconds() - before;
    std::sort(latencies.begin(), latencies.end());
    if (latencies.isEmpty()) {
        QTextStream(stderr) << "no poll succeeded\n";
        return 1;
    }
    QTextStream(stdout) << "tidewatch  polls=" << latencies.size()
                        << "  median_ms=" << latencies.at(latencies.size() / 2)
                        << "  p90_ms=" << latencies.at(latencies.size() * 9 / 10)
                        << "  cpu_ms_per_poll=" << cpu * 1000.0 / count << '\n';
    return 0;
}
