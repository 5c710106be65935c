// Saves sources.json and history.json into the folder given, over and over, with content that
// grows and changes, until killed. The crash-safety test kills it at random moments.
#include "kit/model/SourcesStore.h"
#include "kit/monitor/HistoryStore.h"

#include <QCoreApplication>
#include <QTextStream>

using namespace tw;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QString directory = app.arguments().value(1);
    QList<AnySourceConfig> sources;
    PollHistory history;
    QTextStream out(stdout);
    for (int round = 0;; ++round) {
        sources.append(TCPPortConfig(QUuid::createUuid(),
                                     QStringLiteral("source %1").arg(round),
                                     QStringLiteral("h"),
                                     1 + round % 65535));
        if (sources.size() > 200)
            sources.removeFirst();
        auto &samples = history.samples[QStringLiteral("key %1").arg(round % 50)];
        for (int i = 0; i < 100; ++i)
            samples.append({QDateTime::currentDateTimeUtc(), double(round + i), ServiceStatus::Up});
        SourcesStore::save(sources, directory);
        HistoryStore::save(history, directory);
        if (round == 0) {
            out << "saving\n";
            out.flush();
        }
    }
}
