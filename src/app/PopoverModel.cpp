#include "PopoverModel.h"

#include "app/Preferences.h"
#include "app/RowLinks.h"
#include "app/RowText.h"
#include "app/Sparklines.h"
#include "kit/model/JsonRead.h"
#include "kit/model/Overloaded.h"
#include "kit/monitor/AppState.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

QVariant optional(const std::optional<double> &value)
{
    return value ? QVariant(*value) : QVariant();
}

QVariant optional(const std::optional<qint64> &value)
{
    return value ? QVariant(*value) : QVariant();
}

QVariantList historyList(const QHash<QString, QList<double>> &latencyHistory, const QString &key)
{
    QVariantList list;
    for (const double value : latencyHistory.value(key))
        list.append(value);
    return list;
}

void describeWidget(QVariantMap &map,
                    const QString &key,
                    const WidgetData &widget,
                    const QHash<QString, QList<double>> &latencyHistory)
{
    map[u"key"_s] = key;
    map[u"widgetType"_s] = toText(widget.kind());
    map[u"status"_s] = toText(widget.status());
    map[u"latencyMs"_s] = optional(widget.latencyMs());
    std::visit(Overloaded{
                   [&](const ServiceRow &row) {
                       map[u"name"_s] = row.name;
                       map[u"detail"_s] = row.detail.value_or(QString());
                       map[u"history"_s] = historyList(latencyHistory, key);
                   },
                   [&](const CheckResult &check) {
                       map[u"name"_s] = check.name;
                       map[u"detail"_s] = check.detail.value_or(QString());
                       map[u"history"_s] = historyList(latencyHistory, key);
                   },
                   [&](const HostStats &host) {
                       map[u"name"_s] = host.name;
                       map[u"cpuPct"_s] = optional(host.cpuPct);
                       map[u"memPct"_s] = optional(host.memPct);
                       map[u"diskPct"_s] = optional(host.diskPct);
                       QVariantList temps;
                       for (const DriveTemp &temp : host.temps)
                           temps.append(QVariantMap{{u"label"_s, temp.label}, {u"tempC"_s, optional(temp.reading())}});
                       map[u"temps"_s] = temps;
                       map[u"maxTempText"_s] = RowText::hottestTempText(host.temps);
                       map[u"overLimitsText"_s] = host.isOverLimits() ? host.overLimits.join(u", "_s) : QString();
                   },
                   [&](const GameServerStatus &game) {
                       map[u"name"_s] = game.name;
                       map[u"online"_s] = game.online;
                       map[u"playersCurrent"_s] = optional(game.playersCurrent);
                       map[u"playersMax"_s] = optional(game.playersMax);
                       map[u"playerNames"_s] = game.playerNames;
                       map[u"detail"_s] = game.detail;
                       const QString subtitle = RowText::gameSubtitle(game).value_or(QString());
                       // The count of names left out is kept apart, so the row can cut the names alone.
                       const QString overflow = game.online ? RowText::namesOverflow(game.playerNames) : QString();
                       map[u"subtitle"_s] = subtitle;
                       map[u"subtitleHead"_s] = subtitle.chopped(overflow.size());
                       map[u"subtitleTail"_s] = overflow;
                       map[u"playersText"_s] = RowText::playersText(game.playersCurrent, game.playersMax);
                       map[u"history"_s] = historyList(latencyHistory, key);
                   },
                   [&](const KeyValues &values) {
                       map[u"name"_s] = values.title;
                       QVariantList fields;
                       for (const JSONFieldValue &field : values.fields)
                           fields.append(QVariantMap{{u"label"_s, field.label}, {u"value"_s, field.value}});
                       map[u"fields"_s] = fields;
                   },
               },
               widget.payload);
}

// Old readings keep their values but lose their colour: a stale row reads unknown, with its age.
void describeStale(QVariantMap &map, const std::optional<QDateTime> &since)
{
    map[u"stale"_s] = since.has_value();
    if (!since)
        return;
    map[u"status"_s] = toText(ServiceStatus::Unknown);
    map[u"staleSince"_s] = *since;
}

// The sources that sit behind a source that is down, and that source's name.
QHash<QUuid, QString> behindNames(const AppState &state)
{
    QHash<QUuid, QString> nameOf;
    for (const AnySourceConfig &source : state.sources())
        nameOf.insert(source.id(), source.common().displayName);
    QHash<QUuid, QString> names;
    for (const AnySourceConfig &source : state.sources()) {
        if (const auto parent = state.blockedBy(source.id()))
            names.insert(source.id(), nameOf.value(*parent));
    }
    return names;
}

} // namespace

PopoverModel::PopoverModel(AppState *state, Preferences *preferences, QObject *parent)
    : QAbstractListModel(parent)
    , m_state(state)
    , m_preferences(preferences)
    , m_sparklines(new Sparklines(*state, this))
{
    for (auto signal : {&AppState::sourcesChanged, &AppState::snapshotsChanged, &AppState::errorsChanged})
        connect(m_state, signal, this, &PopoverModel::rebuild);
    connect(m_sparklines, &Sparklines::changed, this, &PopoverModel::rebuild);
    connect(m_preferences, &Preferences::widgetLayoutChanged, this, &PopoverModel::rebuild);
    rebuild();
}

int PopoverModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_groups.size());
}

QVariant PopoverModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const auto row = index.row();
    switch (role) {
    case GroupIdRole:
        return m_groups[row].id();
    case IsGroupRole:
        return m_groups[row].isGroup;
    case RowRole:
        return m_rows[row];
    case ChildrenRole:
        return m_children[row];
    default:
        return {};
    }
}

QHash<int, QByteArray> PopoverModel::roleNames() const
{
    return {{GroupIdRole, "groupId"}, {IsGroupRole, "isGroup"}, {RowRole, "row"}, {ChildrenRole, "childRows"}};
}

QVariantMap PopoverModel::describe(const Row &row, const QHash<QString, QList<double>> &latencyHistory)
{
    QVariantMap map;
    map[u"id"_s] = row.id();
    std::visit(Overloaded{
                   [&](const Row::Error &error) {
                       map[u"type"_s] = u"error"_s;
                       map[u"sourceId"_s] = JsonRead::uuidText(error.source.id());
                       map[u"name"_s] = error.source.common().displayName;
                       // Behind a source that is down, a failure is that source's and shows gray.
                       map[u"message"_s] = error.behind.isEmpty() ? error.message : u"Behind "_s + error.behind;
                       map[u"status"_s] = toText(error.behind.isEmpty() ? ServiceStatus::Down : ServiceStatus::Unknown);
                       map[u"url"_s] = RowLinks::sourcePage(error.source).value_or(QString());
                   },
                   [&](const Row::Empty &empty) {
                       map[u"type"_s] = u"empty"_s;
                       map[u"sourceId"_s] = JsonRead::uuidText(empty.source.id());
                       map[u"name"_s] = empty.source.common().displayName;
                       map[u"status"_s] = toText(ServiceStatus::Unknown);
                       map[u"url"_s] = RowLinks::sourcePage(empty.source).value_or(QString());
                   },
                   [&](const Row::Single &single) {
                       map[u"type"_s] = u"single"_s;
                       map[u"sourceId"_s] = single.key.section(u'/', 0, 0);
                       describeWidget(map, single.key, single.widget, latencyHistory);
                       describeStale(map, single.staleSince);
                       map[u"url"_s] = single.page.value_or(QString());
                   },
                   [&](const Row::Header &header) {
                       map[u"type"_s] = u"header"_s;
                       map[u"name"_s] = header.source.common().displayName;
                       map[u"sourceId"_s] = JsonRead::uuidText(header.source.id());
                       map[u"count"_s] = header.count;
                       map[u"aggregate"_s] = header.aggregate;
                       map[u"avgLatencyMs"_s] = optional(header.avgLatencyMs);
                       map[u"status"_s] = toText(header.status);
                       map[u"collapsed"_s] = header.collapsed;
                       map[u"url"_s] = RowLinks::sourcePage(header.source).value_or(QString());
                       // Read as one element by screen readers.
                       QString label = header.source.common().displayName + u", "_s + QString::number(header.count)
                           + u" widgets, "_s + header.aggregate;
                       if (header.avgLatencyMs)
                           label += u", "_s + RowText::latencyText(u"average"_s, header.avgLatencyMs);
                       map[u"accessibleLabel"_s] = label;
                       map[u"accessibleHint"_s] =
                           header.collapsed ? u"Double-tap to expand"_s : u"Double-tap to collapse"_s;
                   },
                   [&](const Row::Child &child) {
                       map[u"type"_s] = u"child"_s;
                       map[u"sourceId"_s] = child.key.section(u'/', 0, 0);
                       describeWidget(map, child.key, child.widget, latencyHistory);
                       describeStale(map, child.staleSince);
                       map[u"url"_s] = child.page.value_or(QString());
                   },
               },
               row.value);
    return map;
}

void PopoverModel::toggleCollapsed(const QString &sourceId)
{
    WidgetLayout layout = m_preferences->widgetLayout();
    if (!layout.collapsed.remove(sourceId))
        layout.collapsed.insert(sourceId);
    m_preferences->setWidgetLayout(layout);
}

int PopoverModel::cardOf(const QString &sourceId) const
{
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        if (m_rows.at(i).value(u"sourceId"_s).toString() == sourceId)
            return int(i);
    }
    return -1;
}

void PopoverModel::setFilter(const QString &text)
{
    if (text == m_filter)
        return;
    m_filter = text;
    Q_EMIT filterChanged();
    rebuild();
}

void PopoverModel::setShown(bool shown)
{
    // A filter typed once does not outlive the popover it was typed into.
    if (!shown && !m_filter.isEmpty()) {
        m_filter.clear();
        Q_EMIT filterChanged();
    }
    m_shown = shown;
    if (m_shown && m_stale)
        rebuild();
}

void PopoverModel::rebuild()
{
    m_stale = !m_shown;
    if (m_stale)
        return;
    const PopoverRows::State state{m_state->sources(),
                                   m_state->snapshots(),
                                   m_state->errors(),
                                   m_preferences->widgetLayout(),
                                   QDateTime::currentDateTimeUtc(),
                                   behindNames(*m_state)};
    const QList<Row> rows = PopoverRows::popoverRows(state);
    QList<RowGroup> groups = PopoverRows::filtered(PopoverRows::groupRows(rows), m_filter);
    const auto &history = m_sparklines->values();
    QList<QVariantMap> described;
    QList<QVariantList> children;
    for (const RowGroup &group : groups) {
        described.append(describe(group.row, history));
        QVariantList list;
        for (const Row &child : group.children)
            list.append(describe(child, history));
        children.append(list);
    }

    const bool sameCards = std::equal(groups.cbegin(),
                                      groups.cend(),
                                      m_groups.cbegin(),
                                      m_groups.cend(),
                                      [](const RowGroup &a, const RowGroup &b) { return a.id() == b.id(); });
    if (sameCards) {
        for (qsizetype i = 0; i < groups.size(); ++i) {
            if (described[i] == m_rows[i] && children[i] == m_children[i])
                continue;
            m_groups[i] = groups[i];
            m_rows[i] = described[i];
            m_children[i] = children[i];
            Q_EMIT dataChanged(index(int(i)), index(int(i)));
        }
    } else {
        beginResetModel();
        m_groups = std::move(groups);
        m_rows = std::move(described);
        m_children = std::move(children);
        endResetModel();
    }
    if (m_flatRowCount != rows.size()) {
        m_flatRowCount = int(rows.size());
        Q_EMIT flatRowCountChanged();
    }
}

} // namespace tw
