#include "WatchCommand.h"

#include "cli/CliSupport.h"
#include "cli/MetricsPage.h"
#include "cli/MetricsServer.h"
#include "cli/TimedProvider.h"
#include "kit/desktop/AlertCenter.h"
#include "kit/desktop/ConnectivityWatcher.h"
#include "kit/desktop/UnixSignalWatcher.h"
#include "kit/model/SourcesStore.h"
#include "kit/monitor/AppState.h"
#include "kit/monitor/ProviderRegistry.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTimer>

#include <csignal>

using namespace Qt::StringLiterals;

namespace tw::WatchCommand {

namespace {

QString stamp()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
}

// 1 unless a test asked for shorter waits.
double timeScale()
{
    bool ok = false;
    const double scale = qEnvironmentVariable(timeScaleVariable).toDouble(&ok);
    return ok && scale > 0 && scale <= 1 ? scale : 1.0;
}

SleepFunction scaled(double scale)
{
    return [scale](double seconds, StopToken stop) {
        return Sleep::cancellable(seconds * scale, std::move(stop));
    };
}

} // namespace

QString synopsis()
{
    return u"watch [--sources FILE] [--credentials FILE] [--verbose] [--notify] [--metrics [ADDRESS:]PORT]   monitor "
           u"until "
           "stopped"_s;
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Monitors every source like Tidewatch does and prints each alert it would post.\n"
        "Alerts follow the application's snoozes, quiet hours and notification switches; failures while\n"
        "the machine is offline, asleep or just awake wait until they outlast that.\n"
        "Stops cleanly on Ctrl+C or SIGTERM, writing the latency history first."_s);
    CliSupport::addSourceOptions(parser);
    parser.addOption({u"verbose"_s, u"Also print a line for every poll."_s});
    parser.addOption({u"notify"_s, u"Also post desktop notifications, as the application does."_s});
    parser.addOption({u"metrics"_s,
                      u"Serve the estate for Prometheus on http://ADDRESS:PORT/metrics (the address is 127.0.0.1 "
                      "unless given; [::1]:PORT for IPv6)."_s,
                      u"[ADDRESS:]PORT"_s});
    if (const std::optional<int> done = CliSupport::parse(parser, u"watch"_s, arguments, out, err))
        return *done;
    const QString file = parser.value(u"sources"_s);
    const auto sources = CliSupport::readSources(file, err);
    if (!sources)
        return 3;
    bool ok = false;
    const auto credentials = CliSupport::credentials(parser.value(u"credentials"_s), err, &ok);
    if (!ok)
        return 3;
    if (sources->isEmpty()) {
        err << "tidewatch-cli watch: there are no sources to watch\n";
        return 3;
    }
    std::optional<std::pair<QHostAddress, quint16>> metricsAddress;
    if (parser.isSet(u"metrics"_s)) {
        metricsAddress = MetricsServer::parseAddress(parser.value(u"metrics"_s));
        if (!metricsAddress) {
            err << "tidewatch-cli watch: --metrics takes PORT or ADDRESS:PORT, like 9877 or 0.0.0.0:9877\n";
            return 64;
        }
    }

    AppState::Environment environment;
    environment.credentials = credentials;
    // The history lives beside the sources it belongs to.
    environment.sourcesDirectory =
        file.isEmpty() ? SourcesStore::defaultDirectory() : QFileInfo(file).absoluteDir().absolutePath();
    environment.sources = *sources;
    environment.defaults = PreferenceStore::openDefault();
    const auto pollDurations = std::make_shared<TimedProvider::Durations>();
    environment.makeProvider =
        metricsAddress ? TimedProvider::timing(ProviderRegistry::maker(), pollDurations) : ProviderRegistry::maker();
    if (const double scale = timeScale(); scale < 1) {
        environment.sleep = scaled(scale);
        environment.historySleep = scaled(scale);
        environment.wakeGraceMs = qint64(double(environment.wakeGraceMs) * scale);
        environment.reviewIntervalMs = std::max(1, int(environment.reviewIntervalMs * scale));
    }
    const std::shared_ptr<AlertCenter> alerts = parser.isSet(u"notify"_s) ? std::make_shared<AlertCenter>() : nullptr;
    if (alerts)
        alerts->setOffersOpen(false); // no popover here to open
    const bool verbose = parser.isSet(u"verbose"_s);
    const auto printEvents = [&out](const QList<AlertEvent> &events) {
        for (const AlertEvent &event : events) {
            out << stamp() << ' ' << toText(event.kind).leftJustified(9) << ' ' << event.title << " — "
                << AlertCenter::alertBody(event, QDateTime::currentDateTimeUtc()) << '\n';
        }
        out.flush();
    };
    // Prints what the application would post: snoozes, quiet hours, a lost network and sleep
    // silence this as they silence the desktop. The hub posts during a poll, before any later
    // listener hears of it, so with --verbose an alert waits for its poll's own line; one posted
    // between polls (a quiet-hours summary) goes out on the next turn of the event loop.
    QList<AlertEvent> pending; // outlives the hub, whose listeners hold it
    const auto flushPending = [&pending, printEvents] {
        printEvents(std::exchange(pending, {}));
    };
    environment.postAlert = [alerts, &pending, flushPending, verbose, printEvents](const AlertEvent &event,
                                                                                   bool sound) {
        if (alerts)
            alerts->post(event, sound);
        if (!verbose) {
            printEvents({event});
            return;
        }
        pending.append(event);
        QTimer::singleShot(0, QCoreApplication::instance(), flushPending);
    };
    environment.deferPolling = true; // polling starts below, once everything is connected

    AppState state(environment);
    if (alerts) {
        QObject::connect(alerts.get(),
                         &AlertCenter::actionInvoked,
                         &state,
                         [&state](AlertCenter::Action action, const QUuid &sourceID) {
                             if (action == AlertCenter::Action::Snooze)
                                 state.snoozeSource(sourceID, 3600);
                         });
    }
    ConnectivityWatcher connectivity;
    QObject::connect(&connectivity, &ConnectivityWatcher::onlineChanged, &state, &AppState::setNetworkOnline);
    QObject::connect(&connectivity, &ConnectivityWatcher::asleepChanged, &state, &AppState::setAsleep);
    state.setNetworkOnline(connectivity.isOnline());
    if (verbose) {
        state.engine().subscribe(&state, [&out, &state, flushPending](const PollEngine::Update &update) {
            if (!update.polledSourceID)
                return;
            const auto source =
                std::find_if(state.sources().cbegin(), state.sources().cend(), [&](const AnySourceConfig &s) {
                    return s.id() == *update.polledSourceID;
                });
            const QString name =
                source == state.sources().cend() ? update.polledSourceID->toString() : source->common().displayName;
            out << stamp() << " poll      " << name << ": ";
            if (!update.polledSucceeded) {
                out << "failed: " << update.errors.value(*update.polledSourceID) << '\n';
            } else {
                QStringList parts;
                for (const WidgetData &widget : update.snapshots.value(*update.polledSourceID).widgets) {
                    QString part = widget.name() + u' ' + toText(widget.status());
                    if (const auto latency = widget.latencyMs())
                        part += u" %1 ms"_s.arg(*latency, 0, 'f', 1);
                    parts.append(part);
                }
                out << parts.join(u", "_s) << '\n';
            }
            flushPending();
        });
    }

    std::optional<MetricsServer> metrics;
    if (metricsAddress) {
        metrics.emplace([&state, pollDurations] {
            return MetricsPage::render({state.sources(), state.snapshots(), state.errors(), *pollDurations});
        });
        const auto &[address, port] = *metricsAddress;
        if (const auto failure = metrics->listen(address, port)) {
            err << "tidewatch-cli watch: cannot serve the metrics on " << parser.value(u"metrics"_s) << ": " << *failure
                << '\n';
            return 3;
        }
        const QString where = (address.protocol() == QAbstractSocket::IPv6Protocol ? u'[' + address.toString() + u']'
                                                                                   : address.toString())
            + u':' + QString::number(metrics->port());
        err << "tidewatch-cli watch: metrics on http://" << where << "/metrics\n";
        if (!address.isLoopback())
            err << "tidewatch-cli watch: warning: " << where
                << " can be reached from other machines, and the page names every source and widget\n";
    }

    UnixSignalWatcher signals({SIGINT, SIGTERM});
    QObject::connect(&signals, &UnixSignalWatcher::received, &state, [&state, &err](int) {
        state.flushHistory();
        err << "tidewatch-cli watch: stopped; history written\n";
        QCoreApplication::quit();
    });
    err << "tidewatch-cli watch: watching " << sources->size() << (sources->size() == 1 ? " source" : " sources")
        << "; Ctrl+C stops\n";
    err.flush();
    state.startSync();
    return QCoreApplication::exec();
}

} // namespace tw::WatchCommand
