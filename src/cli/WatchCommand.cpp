#include "WatchCommand.h"

#include "cli/CliSupport.h"
#include "kit/monitor/AlertCenter.h"
#include "kit/monitor/AlertEvaluator.h"
#include "kit/monitor/HistoryRecorder.h"
#include "kit/monitor/HistoryStore.h"
#include "kit/monitor/PollEngine.h"
#include "kit/monitor/ProviderRegistry.h"
#include "kit/monitor/UnixSignalWatcher.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QSettings>

#include <csignal>

using namespace Qt::StringLiterals;

namespace tw::WatchCommand {

namespace {

// The application's own switches, read at every event so that a change in its settings window
// applies to a running watch too.
struct NotificationPreferences
{
    bool quiet = false;
    bool onRecovery = true;
    bool sound = true;

    static NotificationPreferences read()
    {
        const QSettings settings(QSettings::NativeFormat, QSettings::UserScope, u"Tidewatch"_s, u"Tidewatch"_s);
        const auto flag = [&settings](const QString &key, bool fallback) {
            const QVariant value = settings.value(key);
            if (value.typeId() == QMetaType::Bool)
                return value.toBool();
            const QString text = value.toString();
            return text == u"true"_s ? true : text == u"false"_s ? false : fallback;
        };
        return {flag(u"globalQuiet"_s, false), flag(u"notifyOnRecovery"_s, true), flag(u"soundAlerts"_s, true)};
    }
};

QString stamp()
{
    const QDateTime now = QDateTime::currentDateTime();
    return now.toOffsetFromUtc(now.offsetFromUtc()).toString(Qt::ISODate);
}

QString pollSummary(const SourceSnapshot &snapshot)
{
    if (snapshot.widgets.isEmpty())
        return u"no data reported"_s;
    QStringList parts;
    for (const WidgetData &widget : snapshot.widgets) {
        QString part = widget.name() + u' ' + toText(widget.status());
        if (const std::optional<double> ms = widget.latencyMs())
            part += u' ' + QString::number(*ms, 'f', 1) + u" ms"_s;
        parts.append(part);
    }
    return parts.join(u", "_s);
}

SleepFunction scaled(double scale)
{
    return [scale](double seconds, StopToken stop) {
        return Sleep::cancellable(seconds * scale, std::move(stop));
    };
}

double timeScale()
{
    bool ok = false;
    const double scale = qEnvironmentVariable(timeScaleVariable).toDouble(&ok);
    return ok && scale > 0 && scale <= 1 ? scale : 1.0;
}

// What the application's hub does with each poll, in its order: history, alerts, notifications.
class Watch : public QObject
{
public:
    Watch(QList<AnySourceConfig> sources,
          std::shared_ptr<CredentialStore> credentials,
          const QString &historyDirectory,
          bool verbose,
          bool notify)
        : m_sources(std::move(sources))
        , m_out(stdout)
        , m_verbose(verbose)
    {
        const double scale = timeScale();
        m_engine = new PollEngine(std::move(credentials), ProviderRegistry::maker(), scaled(scale), this);
        m_history = new HistoryRecorder(
            historyDirectory,
            scaled(scale),
            [] { return QDateTime::currentDateTimeUtc(); },
            this);
        if (notify)
            m_alerts = new AlertCenter(QDBusConnection::sessionBus(), this);
        m_engine->subscribe(this, [this](const PollEngine::Update &update) { consume(update); });
        m_engine->sync(m_sources);
    }

    // Stops polling and writes what the history holds; nothing is lost to the last write window.
    void stop()
    {
        m_engine->setPaused(true);
        m_history->flush();
    }

private:
    const AnySourceConfig *sourceOf(const QUuid &id) const
    {
        for (const AnySourceConfig &source : m_sources) {
            if (source.id() == id)
                return &source;
        }
        return nullptr;
    }

    void consume(const PollEngine::Update &update)
    {
        if (!update.polledSourceID)
            return;
        const AnySourceConfig *source = sourceOf(*update.polledSourceID);
        if (!source)
            return;
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const auto snapshot = update.snapshots.constFind(*update.polledSourceID);
        QList<AlertEvent> events;
        if (update.polledSucceeded && snapshot != update.snapshots.cend()) {
            m_history->record(
                *snapshot,
                [](const WidgetData &widget) { return widget.status(); },
                [](const WidgetData &widget) { return widget.latencyMs(); });
            if (m_verbose)
                line(u"poll"_s, source->common().displayName + u": "_s + pollSummary(*snapshot));
            events = m_evaluator.recordSuccess(*source, *snapshot, now);
        } else {
            if (m_verbose)
                line(u"poll"_s,
                     source->common().displayName + u": failed: "_s + update.errors.value(*update.polledSourceID));
            events = m_evaluator.recordFailure(*source, now);
        }
        if (!source->common().alertsEnabled)
            return;
        const NotificationPreferences preferences =
            m_alerts ? NotificationPreferences::read() : NotificationPreferences{};
        for (const AlertEvent &event : std::as_const(events)) {
            line(toText(event.kind), event.title + u" ("_s + AlertCenter::alertBody(event, now) + u')');
            if (!m_alerts || preferences.quiet)
                continue;
            if (event.kind == AlertEvent::Kind::Recovered && !preferences.onRecovery)
                continue;
            m_alerts->post(event, preferences.sound);
        }
    }

    void line(const QString &what, const QString &text)
    {
        m_out << stamp() << "  " << what.leftJustified(9) << "  " << text << Qt::endl;
    }

    QList<AnySourceConfig> m_sources;
    QTextStream m_out;
    bool m_verbose;
    PollEngine *m_engine = nullptr;
    HistoryRecorder *m_history = nullptr;
    AlertCenter *m_alerts = nullptr;
    AlertEvaluator m_evaluator;
};

} // namespace

QString synopsis()
{
    return u"watch [--sources FILE] [--credentials FILE] [--verbose] [--notify]   monitor until stopped"_s;
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Polls every source on its own schedule, as Tidewatch does, and prints a line for each alert:\n"
        "a source that fails its threshold of checks in a row, a widget that reports a failure, and\n"
        "their recoveries. Latency history is kept in history.json beside the sources file.\n"
        "Stop it with Ctrl+C or SIGTERM; the history is written before it exits."_s);
    parser.addHelpOption();
    parser.addOption({u"sources"_s, u"The sources file (default: Tidewatch's own)."_s, u"FILE"_s});
    parser.addOption(
        {u"credentials"_s, u"Secrets as a JSON object of name to secret, readable by you alone."_s, u"FILE"_s});
    parser.addOption({u"history"_s, u"Where history.json lives (default: beside the sources file)."_s, u"DIR"_s});
    parser.addOption({u"verbose"_s, u"Also print a line for every poll."_s});
    parser.addOption(
        {u"notify"_s, u"Post desktop notifications too, following Tidewatch's quiet, recovery and sound settings."_s});
    if (!parser.parse(QStringList{u"tidewatch-cli watch"_s} + arguments)) {
        err << "tidewatch-cli watch: " << parser.errorText() << '\n';
        return 64;
    }
    if (parser.isSet(u"help"_s)) {
        out << parser.helpText();
        return 0;
    }
    if (!parser.positionalArguments().isEmpty()) {
        err << "tidewatch-cli watch: unexpected argument '" << parser.positionalArguments().first() << "'\n";
        return 64;
    }

    const QString sourcesPath =
        parser.isSet(u"sources"_s) ? parser.value(u"sources"_s) : CliSupport::defaultSourcesPath();
    const auto sources = CliSupport::readSources(parser.value(u"sources"_s), err);
    if (!sources)
        return 3;
    if (sources->isEmpty()) {
        err << "tidewatch-cli watch: " << sourcesPath << " holds no sources to watch\n";
        return 3;
    }
    bool ok = false;
    auto credentials = CliSupport::credentials(parser.value(u"credentials"_s), err, &ok);
    if (!ok)
        return 3;
    const QString historyDirectory =
        parser.isSet(u"history"_s) ? parser.value(u"history"_s) : QFileInfo(sourcesPath).absolutePath();

    UnixSignalWatcher stopSignals({SIGINT, SIGTERM});
    Watch watch(*sources,
                std::move(credentials),
                historyDirectory,
                parser.isSet(u"verbose"_s),
                parser.isSet(u"notify"_s));
    QObject::connect(&stopSignals, &UnixSignalWatcher::received, &watch, [&watch] {
        watch.stop();
        QCoreApplication::exit(0);
    });
    err << "Watching " << sources->size() << (sources->size() == 1 ? " source" : " sources") << " from " << sourcesPath
        << "; history in " << HistoryStore::historyPath(historyDirectory) << ". Ctrl+C stops." << Qt::endl;
    return QCoreApplication::exec();
}

} // namespace tw::WatchCommand
