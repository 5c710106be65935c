#pragma once

#include "kit/model/AnySourceConfig.h"
#include "kit/model/WidgetData.h"

#include <QList>
#include <QSet>
#include <QStringList>

#include <optional>

namespace tw {

class PreferenceStore;

// A widget paired with its application-wide key.
struct KeyedWidget
{
    QString key;
    WidgetData widget;

    bool operator==(const KeyedWidget &) const = default;
};

// The user's arrangement of the popover: source order, widget order, hidden widgets and folded
// sources. It holds only keys, never references, so stale entries are harmless and nothing ever
// needs repairing: every reader passes over what matches nothing.
struct WidgetLayout
{
    QStringList order; // widget keys, all sources in one list
    QSet<QString> hidden; // widget keys
    QStringList sourceOrder; // upper-case source UUID texts
    QSet<QString> collapsed; // upper-case source UUID texts

    bool operator==(const WidgetLayout &) const = default;

    // Arranged sources first, then the ones the layout does not know, in list order.
    QList<QUuid> orderedSourceIDs(const QList<AnySourceConfig> &sources) const;
    // One source's widgets in the user's order, hidden ones included; unknown ones last, as reported.
    QList<KeyedWidget> ordered(const QList<KeyedWidget> &rows) const;
    QList<KeyedWidget> visible(const QList<KeyedWidget> &rows) const;

    // A drag in a list: the rows at `fromOffsets` are put before the row that stood at `toOffset`.
    void moveSource(const QList<AnySourceConfig> &sources, const QList<int> &fromOffsets, int toOffset);
    void moveWidget(const QList<KeyedWidget> &rows, const QList<int> &fromOffsets, int toOffset);

    QByteArray toJson() const;
    // Nothing for a blob that is not JSON or lacks any of the four keys.
    static std::optional<WidgetLayout> fromJson(const QByteArray &bytes);

    static constexpr auto settingsKey = "widgetLayout";
    // A missing or corrupt stored layout reads as the empty one.
    static WidgetLayout load(const PreferenceStore &settings);
    void save(PreferenceStore &settings) const;
};

namespace ListMove {
// Applies a drag to a list, with the offset semantics of WidgetLayout::moveSource.
QStringList apply(const QStringList &list, const QList<int> &fromOffsets, int toOffset);
} // namespace ListMove

} // namespace tw
