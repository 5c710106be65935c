// The poll engine's own cost: 1000 sources whose provider answers at once and whose sleep is one
// event-loop turn, so everything measured is the engine's bookkeeping and publishing.
#include "kit/base/Wakeup.h"
#include "kit/desktop/InMemoryCredentialStore.h"
#include "kit/monitor/PollEngine.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTextStream>

#include <sys/resource.h>

using namespace tw;

namespace {

class InstantProvider : public SourceProvider
{
public:
    explicit InstantProvider(AnySourceConfig config)
        : m_config(std::move(config))
    { }
    QCoro::Task<SourceSnapshot> fetch(StopToken) override
    {
        co_return SourceSnapshot{
            m_config.id(),
            QDateTime::currentDateTimeUtc(),
            {CheckResult{QStringLiteral("port"), m_config.common().displayName, ServiceStatus::Up, 1.5, {}, {}}}};
    }

private:
    AnySourceConfig m_config;
};

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

qint64 residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

QCoro::Task<> nextTurn(double, StopToken stop)
{
    if (stop->isStopped())
        co_return;
    Wakeup wakeup(std::chrono::milliseconds(0));
    wakeup.on(stop.get(), &StopSource::stopped, 1);
    co_await wakeup;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    constexpr int sourceCount = 1000;
    constexpr int cycles = 50;

    QList<AnySourceConfig> sources;
    for (int i = 0; i < sourceCount; ++i)
        sources.append(TCPPortConfig(QUuid::createUuid(), QStringLiteral("port %1").arg(i), QStringLiteral("h"), 22));

    PollEngine engine(
        std::make_shared<InMemoryCredentialStore>(),
        [](const AnySourceConfig &config, std::shared_ptr<CredentialStore>) {
            return std::make_unique<InstantProvider>(config);
        },
        nextTurn);

    qint64 polls = 0;
    QObject::connect(&engine, &PollEngine::updated, &app, [&](const PollEngine::Update &) {
        if (++polls == qint64(sourceCount) * cycles)
            app.quit();
    });

    const qint64 rssBefore = residentKiB();
    const double cpuBefore = cpuSeconds();
    QElapsedTimer wall;
    wall.start();
    engine.sync(sources);
    app.exec();
    const double cpu = cpuSeconds() - cpuBefore;
    const qint64 rssAfter = residentKiB();

    QTextStream out(stdout);
    out << "sources: " << sourceCount << ", cycles: " << cycles << ", polls: " << polls << '\n'
        << "wall: " << wall.elapsed() << " ms\n"
        << "CPU per poll cycle (all sources once): " << QString::number(cpu / cycles * 1000, 'f', 2) << " ms\n"
        << "CPU per poll: " << QString::number(cpu / double(polls) * 1e6, 'f', 1) << " us\n"
        << "resident memory: " << rssBefore / 1024 << " MiB before, " << rssAfter / 1024 << " MiB after\n";
    return 0;
}
