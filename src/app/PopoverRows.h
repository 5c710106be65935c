#pragma once

#include "app/WidgetLayout.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/SourceSnapshot.h"

#include <QHash>
#include <QMap>

#include <optional>
#include <variant>

namespace tw {

// One line of the popover. A source shows as an error, an empty note, its only visible widget, or a
// header over its visible widgets.
struct Row
{
    struct Error
    {
        AnySourceConfig source;
        QString message;
        QString behind = {}; // the down source it sits behind, which its failure is put down to
        bool operator==(const Error &) const = default;
    };
    struct Empty
    {
        AnySourceConfig source;
        bool operator==(const Empty &) const = default;
    };
    struct Single
    {
        QString key;
        WidgetData widget; // named after the source, which it stands for
        std::optional<QString> page; // where a browser shows it
        std::optional<QDateTime> staleSince; // when its values were read, once they are too old to trust
        bool operator==(const Single &) const = default;
    };
    struct Header
    {
        AnySourceConfig source;
        qsizetype count = 0; // visible widgets
        QString aggregate;
        std::optional<double> avgLatencyMs;
        ServiceStatus status = ServiceStatus::Unknown; // worst of all widgets, hidden ones included
        bool collapsed = false;
        bool operator==(const Header &) const = default;
    };
    struct Child
    {
        QString key;
        WidgetData widget;
        std::optional<QString> page;
        std::optional<QDateTime> staleSince;
        bool operator==(const Child &) const = default;
    };

    std::variant<Error, Empty, Single, Header, Child> value;

    // Stable across polls, for keeping view state: "header:<UUID>", "single:<widget key>", …
    QString id() const;
    template<typename T>
    const T *as() const
    {
        return std::get_if<T>(&value);
    }
    bool operator==(const Row &) const = default;
};

// A header with the children it folds, or a row on its own.
struct RowGroup
{
    Row row; // the header of a group
    QList<Row> children; // empty when collapsed, and for a standalone row
    bool isGroup = false;

    QString id() const { return row.id(); }
    bool operator==(const RowGroup &) const = default;
};

// The pure row model of the popover: state in, rows out, nothing cached.
namespace PopoverRows {

struct State
{
    QList<AnySourceConfig> sources;
    QHash<QUuid, SourceSnapshot> snapshots;
    QHash<QUuid, QString> errors;
    WidgetLayout layout;
    QDateTime now; // invalid: nothing goes stale by age
    // Sources that sit behind a source that is down, and that source's name.
    QHash<QUuid, QString> behind;
};

QList<Row> popoverRows(const State &state);
QList<Row> rowsForSource(const QUuid &sourceID, const State &state);
QList<RowGroup> groupRows(const QList<Row> &rows);

// The groups whose name holds `text` (letter case aside), whole; of the others, the children whose
// name holds it, under their header. Empty text keeps everything.
QList<RowGroup> filtered(const QList<RowGroup> &groups, const QString &text);
// The name a row shows.
QString nameOf(const Row &row);

// "1 down · 2 up": counts by status, worst first.
QString aggregateText(const QList<WidgetData> &widgets);
// Mean of the latencies that exist; a down service without one does not pull it to zero.
std::optional<double> averageLatency(const QList<WidgetData> &widgets);
ServiceStatus worstStatus(const QList<WidgetData> &widgets);

// Widgets by status; a failing source counts once as down, whatever its last snapshot held.
QMap<ServiceStatus, qsizetype> statusTally(const QHash<QUuid, SourceSnapshot> &snapshots,
                                           const QHash<QUuid, QString> &errors);
// "2 services affected", or "3 services online" when nothing is wrong.
std::optional<QString> affectedSummary(const QHash<QUuid, SourceSnapshot> &snapshots,
                                       const QHash<QUuid, QString> &errors);
// "5 services inactive", for the paused popover.
std::optional<QString> inactiveSummary(const QHash<QUuid, SourceSnapshot> &snapshots);

} // namespace PopoverRows

} // namespace tw
