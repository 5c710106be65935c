#include "PopoverRows.h"

#include "app/RowLinks.h"
#include "kit/model/JsonRead.h"
#include "kit/model/Overloaded.h"
#include "kit/model/Staleness.h"

namespace tw {

namespace {

QString sourceText(const AnySourceConfig &source)
{
    return JsonRead::uuidText(source.id());
}

WidgetData renamed(WidgetData widget, const QString &name)
{
    std::visit(Overloaded{[&name](KeyValues &kv) { kv.title = name; },
                          [&name](auto &w) {
                              w.name = name;
                          }},
               widget.payload);
    return widget;
}

QList<WidgetData> widgetsOf(const QList<KeyedWidget> &keyed)
{
    QList<WidgetData> widgets;
    widgets.reserve(keyed.size());
    for (const KeyedWidget &k : keyed)
        widgets.append(k.widget);
    return widgets;
}

QString countedServices(qsizetype n, const char *suffix)
{
    return QString::number(n) + (n == 1 ? QStringLiteral(" service ") : QStringLiteral(" services "))
        + QLatin1String(suffix);
}

} // namespace

QString Row::id() const
{
    return std::visit(
        Overloaded{[](const Error &e) -> QString { return QStringLiteral("error:") + sourceText(e.source); },
                   [](const Empty &e) -> QString { return QStringLiteral("empty:") + sourceText(e.source); },
                   [](const Single &s) -> QString { return QStringLiteral("single:") + s.key; },
                   [](const Header &h) -> QString { return QStringLiteral("header:") + sourceText(h.source); },
                   [](const Child &c) -> QString {
                       return QStringLiteral("child:") + c.key;
                   }},
        value);
}

namespace PopoverRows {

QList<Row> popoverRows(const State &state)
{
    QList<Row> rows;
    for (const QUuid &id : state.layout.orderedSourceIDs(state.sources))
        rows.append(rowsForSource(id, state));
    return rows;
}

QList<Row> rowsForSource(const QUuid &sourceID, const State &state)
{
    const auto source = std::find_if(state.sources.cbegin(), state.sources.cend(), [&](const AnySourceConfig &s) {
        return s.id() == sourceID;
    });
    if (source == state.sources.cend())
        return {};
    const auto error = state.errors.constFind(sourceID);
    // A source behind one that is down is read as failing, whatever its poll said: its readings are
    // the fault above it, not its own.
    const bool behind = state.behind.contains(sourceID);
    const bool failing = error != state.errors.cend() || behind;
    const auto snapshot = state.snapshots.constFind(sourceID);
    // A failing source with one row or none is its error; one with several keeps them under its
    // error, stale, so that what it last saw is not lost from view.
    const auto errorRow = [&] {
        return QList<Row>{Row{Row::Error{*source, state.errors.value(sourceID), state.behind.value(sourceID)}}};
    };
    if (snapshot == state.snapshots.cend())
        return failing ? errorRow() : QList<Row>{};
    if (snapshot->widgets.isEmpty())
        return failing ? errorRow() : QList<Row>{Row{Row::Empty{*source}}};
    const std::optional<QDateTime> stale = Staleness::since(*source, *snapshot, failing, state.now);

    QList<KeyedWidget> keyed;
    keyed.reserve(snapshot->widgets.size());
    for (const WidgetData &w : snapshot->widgets)
        keyed.append({w.widgetKey(sourceID), w});
    const QList<KeyedWidget> shown = state.layout.visible(keyed);
    if (shown.isEmpty())
        return failing ? errorRow() : QList<Row>{};
    if (failing && shown.size() == 1)
        return errorRow();
    if (shown.size() == 1) {
        // The row stands for the source: its widget's page, or else the source's.
        auto page = RowLinks::widgetPage(*source, shown.first().widget);
        if (!page)
            page = RowLinks::sourcePage(*source);
        return {Row{
            Row::Single{shown.first().key, renamed(shown.first().widget, source->common().displayName), page, stale}}};
    }

    const QList<WidgetData> shownWidgets = widgetsOf(shown);
    Row::Header header{*source,
                       shown.size(),
                       aggregateText(shownWidgets),
                       averageLatency(shownWidgets),
                       // Hidden widgets still colour the header: hiding a widget must not hide an outage.
                       worstStatus(snapshot->widgets),
                       state.layout.collapsed.contains(sourceText(*source))};
    // Old readings say nothing about now, an old outage included; a failing source's are always old.
    if (stale) {
        header.avgLatencyMs.reset();
        header.status = ServiceStatus::Unknown;
    }
    if (behind) {
        header.aggregate = QStringLiteral("Behind ") + state.behind.value(sourceID);
    } else if (failing) {
        header.aggregate = QStringLiteral("Can't be reached \u00B7 ") + *error;
        header.status = ServiceStatus::Down; // its own failure, unlike one behind a down source
    }
    QList<Row> rows{Row{header}};
    if (!header.collapsed) {
        for (const KeyedWidget &k : shown)
            rows.append(Row{Row::Child{k.key, k.widget, RowLinks::widgetPage(*source, k.widget), stale}});
    }
    return rows;
}

QString nameOf(const Row &row)
{
    return std::visit(Overloaded{
                          [](const Row::Error &error) { return error.source.common().displayName; },
                          [](const Row::Empty &empty) { return empty.source.common().displayName; },
                          [](const Row::Single &single) { return single.widget.name(); },
                          [](const Row::Header &header) { return header.source.common().displayName; },
                          [](const Row::Child &child) { return child.widget.name(); },
                      },
                      row.value);
}

QList<RowGroup> filtered(const QList<RowGroup> &groups, const QString &text)
{
    const QString wanted = text.trimmed();
    if (wanted.isEmpty())
        return groups;
    const auto matches = [&wanted](const Row &row) {
        return nameOf(row).contains(wanted, Qt::CaseInsensitive);
    };
    QList<RowGroup> kept;
    for (const RowGroup &group : groups) {
        if (matches(group.row)) {
            kept.append(group);
            continue;
        }
        RowGroup narrowed = group;
        narrowed.children.removeIf([&](const Row &child) { return !matches(child); });
        if (!narrowed.children.isEmpty())
            kept.append(narrowed);
    }
    return kept;
}

QList<RowGroup> groupRows(const QList<Row> &rows)
{
    QList<RowGroup> groups;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (!rows.at(i).as<Row::Header>()) {
            groups.append(RowGroup{rows.at(i), {}, false});
            continue;
        }
        RowGroup group{rows.at(i), {}, true};
        while (i + 1 < rows.size() && rows.at(i + 1).as<Row::Child>())
            group.children.append(rows.at(++i));
        groups.append(group);
    }
    return groups;
}

QString aggregateText(const QList<WidgetData> &widgets)
{
    QMap<ServiceStatus, qsizetype> counts;
    for (const WidgetData &w : widgets)
        ++counts[w.status()];
    QStringList parts;
    for (ServiceStatus s : {ServiceStatus::Down,
                            ServiceStatus::Warn,
                            ServiceStatus::Maintenance,
                            ServiceStatus::Paused,
                            ServiceStatus::Unknown,
                            ServiceStatus::Up}) {
        if (counts.value(s) > 0)
            parts.append(QString::number(counts.value(s)) + QLatin1Char(' ') + toText(s));
    }
    return parts.join(QStringLiteral(" \u00B7 "));
}

std::optional<double> averageLatency(const QList<WidgetData> &widgets)
{
    double sum = 0;
    int taken = 0;
    for (const WidgetData &w : widgets) {
        if (const auto latency = w.latencyMs()) {
            sum += *latency;
            ++taken;
        }
    }
    if (taken == 0)
        return std::nullopt;
    return sum / taken;
}

ServiceStatus worstStatus(const QList<WidgetData> &widgets)
{
    ServiceStatus result = ServiceStatus::Unknown;
    for (const WidgetData &w : widgets) {
        switch (w.status()) {
        case ServiceStatus::Down:
            return ServiceStatus::Down;
        case ServiceStatus::Warn:
            result = ServiceStatus::Warn;
            break;
        case ServiceStatus::Up:
            if (result == ServiceStatus::Unknown)
                result = ServiceStatus::Up;
            break;
        case ServiceStatus::Unknown:
        case ServiceStatus::Maintenance:
        case ServiceStatus::Paused:
            break;
        }
    }
    return result;
}

QMap<ServiceStatus, qsizetype> statusTally(const QHash<QUuid, SourceSnapshot> &snapshots,
                                           const QHash<QUuid, QString> &errors)
{
    QMap<ServiceStatus, qsizetype> tally;
    for (auto it = snapshots.cbegin(); it != snapshots.cend(); ++it) {
        if (errors.contains(it.key()))
            continue;
        for (const WidgetData &w : it->widgets)
            ++tally[w.status()];
    }
    if (!errors.isEmpty())
        tally[ServiceStatus::Down] += errors.size();
    return tally;
}

std::optional<QString> affectedSummary(const QHash<QUuid, SourceSnapshot> &snapshots,
                                       const QHash<QUuid, QString> &errors)
{
    const auto tally = statusTally(snapshots, errors);
    const qsizetype affected = tally.value(ServiceStatus::Down) + tally.value(ServiceStatus::Warn);
    if (affected >= 1)
        return countedServices(affected, "affected");
    if (const qsizetype up = tally.value(ServiceStatus::Up); up >= 1)
        return countedServices(up, "online");
    return std::nullopt;
}

std::optional<QString> inactiveSummary(const QHash<QUuid, SourceSnapshot> &snapshots)
{
    qsizetype n = 0;
    for (const SourceSnapshot &s : snapshots)
        n += s.widgets.size();
    if (n < 1)
        return std::nullopt;
    return countedServices(n, "inactive");
}

} // namespace PopoverRows

} // namespace tw
