#include "CheckCommand.h"

#include "cli/CliSupport.h"
#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/model/Dependencies.h"
#include "kit/model/JsonRead.h"
#include "kit/model/OverallStatus.h"
#include "kit/monitor/ProviderRegistry.h"

#include <QCommandLineParser>
#include <QCoroTask>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

using namespace Qt::StringLiterals;

namespace tw::CheckCommand {

namespace {

struct Outcome
{
    AnySourceConfig source;
    std::optional<SourceSnapshot> snapshot;
    QString error;
    // The source above this one that is down, when this one fails too: its failure is told there.
    std::optional<QUuid> behind;

    bool fails() const { return !error.isEmpty() || (snapshot && snapshot->hasDownWidget()); }
    // Failing as a whole, as a router is: nothing of it answers up.
    bool down() const
    {
        return !error.isEmpty()
            || (snapshot && snapshot->hasDownWidget()
                && std::none_of(snapshot->widgets.cbegin(), snapshot->widgets.cend(), [](const WidgetData &widget) {
                       return widget.status() == ServiceStatus::Up;
                   }));
    }
};

// One poll is all there is to go by: a parent is down when that poll found it so.
void placeBehindParents(QList<Outcome> &outcomes)
{
    QList<AnySourceConfig> sources;
    QSet<QUuid> down;
    for (const Outcome &outcome : std::as_const(outcomes)) {
        sources.append(outcome.source);
        if (outcome.down())
            down.insert(outcome.source.id());
    }
    const Dependencies::Parents parents = Dependencies::parents(sources);
    for (Outcome &outcome : outcomes) {
        if (outcome.fails())
            outcome.behind =
                Dependencies::cause(parents, outcome.source.id(), [&](const QUuid &id) { return down.contains(id); });
    }
}

QCoro::Task<Outcome>
pollOne(AnySourceConfig source, std::shared_ptr<CredentialStore> credentials, ProviderMaker maker, StopToken stop)
{
    Outcome outcome{source, std::nullopt, {}, std::nullopt};
    try {
        std::unique_ptr<SourceProvider> provider = maker(source, credentials);
        outcome.snapshot = co_await provider->fetch(stop);
    } catch (const ProviderError &error) {
        outcome.error = error.description();
    } catch (const std::exception &error) {
        outcome.error = QString::fromUtf8(error.what());
    }
    co_return outcome;
}

QCoro::Task<QList<Outcome>> pollAll(QList<AnySourceConfig> sources, std::shared_ptr<CredentialStore> credentials)
{
    const ProviderMaker maker = ProviderRegistry::maker();
    const StopToken stop = makeStopToken();
    // Every poll starts now; each is bounded by its own transport.
    std::vector<QCoro::Task<Outcome>> running;
    for (const AnySourceConfig &source : sources)
        running.push_back(pollOne(source, credentials, maker, stop));
    QList<Outcome> outcomes;
    for (QCoro::Task<Outcome> &task : running)
        outcomes.append(co_await task);
    co_return outcomes;
}

QString latencyText(const std::optional<double> &ms)
{
    return ms ? QString::number(*ms, 'f', 1) + u" ms"_s : u"—"_s;
}

QString detailOf(const WidgetData &widget)
{
    return std::visit(
        [](const auto &payload) -> QString {
            using T = std::decay_t<decltype(payload)>;
            if constexpr (std::is_same_v<T, ServiceRow> || std::is_same_v<T, CheckResult>)
                return payload.detail.value_or(QString());
            else if constexpr (std::is_same_v<T, GameServerStatus>) {
                QString text;
                if (payload.online && payload.playersCurrent)
                    text = u"%1%2 players"_s.arg(*payload.playersCurrent)
                               .arg(payload.playersMax ? u"/"_s + QString::number(*payload.playersMax) : QString());
                if (!payload.playerNames.isEmpty())
                    text += u" ("_s + payload.playerNames.join(u", "_s) + u')';
                if (!payload.detail.isEmpty())
                    text += (text.isEmpty() ? QString() : u" · "_s) + payload.detail;
                return text;
            } else if constexpr (std::is_same_v<T, HostStats>) {
                const auto pct = [](const std::optional<double> &v) -> QString {
                    return v ? QString::number(*v, 'f', 0) + u'%' : u"—"_s;
                };
                QString text =
                    u"cpu %1 · mem %2 · disk %3"_s.arg(pct(payload.cpuPct), pct(payload.memPct), pct(payload.diskPct));
                for (const DriveTemp &temp : payload.temps) {
                    const auto reading = temp.reading();
                    text +=
                        u" · %1 %2"_s.arg(temp.label, reading ? QString::number(*reading, 'f', 0) + u"°C"_s : u"—"_s);
                }
                if (payload.isOverLimits())
                    text += u" · past limit: "_s + payload.overLimits.join(u", "_s);
                return text;
            } else {
                QStringList fields;
                for (const JSONFieldValue &field : payload.fields)
                    fields.append(field.label + u": "_s + field.value);
                return fields.join(u" · "_s);
            }
        },
        widget.payload);
}

void printTable(QTextStream &out, const QList<Outcome> &outcomes)
{
    QHash<QUuid, QString> names;
    for (const Outcome &outcome : outcomes)
        names.insert(outcome.source.id(), outcome.source.common().displayName);
    // What fails behind a source that is down reads so, not as a fault of its own.
    const auto statusOf = [&](const Outcome &outcome, const QString &status) {
        return outcome.behind ? u"behind "_s + names.value(*outcome.behind) : status;
    };
    struct Line
    {
        QString source, widget, status, latency, detail;
    };
    QList<Line> lines{{u"SOURCE"_s, u"WIDGET"_s, u"STATUS"_s, u"LATENCY"_s, u"DETAIL"_s}};
    for (const Outcome &outcome : outcomes) {
        const QString name = outcome.source.common().displayName;
        if (!outcome.error.isEmpty()) {
            lines.append({name, u"—"_s, statusOf(outcome, u"error"_s), u"—"_s, outcome.error});
            continue;
        }
        if (outcome.snapshot->widgets.isEmpty())
            lines.append({name, u"—"_s, u"unknown"_s, u"—"_s, u"no data reported"_s});
        for (const WidgetData &widget : outcome.snapshot->widgets)
            lines.append({name,
                          widget.name(),
                          widget.status() == ServiceStatus::Down ? statusOf(outcome, toText(widget.status()))
                                                                 : toText(widget.status()),
                          latencyText(widget.latencyMs()),
                          detailOf(widget)});
    }
    qsizetype widths[4] = {0, 0, 0, 0};
    for (const Line &line : lines) {
        widths[0] = std::max(widths[0], line.source.size());
        widths[1] = std::max(widths[1], line.widget.size());
        widths[2] = std::max(widths[2], line.status.size());
        widths[3] = std::max(widths[3], line.latency.size());
    }
    for (const Line &line : lines) {
        out << line.source.leftJustified(widths[0] + 2) << line.widget.leftJustified(widths[1] + 2)
            << line.status.leftJustified(widths[2] + 2) << line.latency.rightJustified(widths[3]) << "  " << line.detail
            << '\n';
    }
}

QJsonValue uuidOrNull(const std::optional<QUuid> &id)
{
    return id ? QJsonValue(JsonRead::uuidText(*id)) : QJsonValue(QJsonValue::Null);
}

QJsonObject jsonReport(const QList<Outcome> &outcomes, OverallStatus overall)
{
    QJsonArray sources;
    for (const Outcome &outcome : outcomes) {
        QJsonArray widgets;
        if (outcome.snapshot) {
            for (const WidgetData &widget : outcome.snapshot->widgets)
                widgets.append(widget.toJson());
        }
        sources.append(QJsonObject{
            {u"id"_s, JsonRead::uuidText(outcome.source.id())},
            {u"displayName"_s, outcome.source.common().displayName},
            {u"kind"_s, toText(outcome.source.kind())},
            {u"error"_s, outcome.error.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(outcome.error)},
            {u"dependsOn"_s, uuidOrNull(outcome.source.common().dependsOn)},
            {u"behind"_s, uuidOrNull(outcome.behind)},
            {u"widgets"_s, widgets},
        });
    }
    return {{u"overall"_s, toText(overall)}, {u"sources"_s, sources}};
}

} // namespace

QString synopsis()
{
    return u"check [--sources FILE] [--credentials FILE] [--json]   poll every source once and report"_s;
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Polls every source once, all at once, and reports their state.\n"
                                     "Exit status: 0 all up, 1 degraded, 2 something down, 3 nothing known.\n"
                                     "A source that fails behind one that is down counts through that one alone."_s);
    CliSupport::addSourceOptions(parser);
    parser.addOption({u"json"_s, u"Print one JSON object instead of a table."_s});
    if (const std::optional<int> done = CliSupport::parse(parser, u"check"_s, arguments, out, err))
        return *done;

    const auto sources = CliSupport::readSources(parser.value(u"sources"_s), err);
    if (!sources)
        return 3;
    bool ok = false;
    const auto credentials = CliSupport::credentials(parser.value(u"credentials"_s), err, &ok);
    if (!ok)
        return 3;

    QList<Outcome> outcomes = QCoro::waitFor(pollAll(*sources, credentials));
    placeBehindParents(outcomes);
    QHash<QUuid, SourceSnapshot> snapshots;
    QHash<QUuid, QString> errors;
    for (const Outcome &outcome : std::as_const(outcomes)) {
        // Counted once, through the source it sits behind.
        if (outcome.behind)
            continue;
        if (outcome.snapshot)
            snapshots.insert(outcome.source.id(), *outcome.snapshot);
        else
            errors.insert(outcome.source.id(), outcome.error);
    }
    const OverallStatus overall = overallStatusOf(snapshots, errors);
    if (parser.isSet(u"json"_s))
        out << QJsonDocument(jsonReport(outcomes, overall)).toJson(QJsonDocument::Indented);
    else if (outcomes.isEmpty())
        out << "No sources to check.\n";
    else
        printTable(out, outcomes);

    switch (overall) {
    case OverallStatus::Up:
        return 0;
    case OverallStatus::Degraded:
        return 1;
    case OverallStatus::Down:
        return 2;
    default:
        return 3;
    }
}

} // namespace tw::CheckCommand
