#pragma once

#include "kit/model/WidgetData.h"

#include <QDateTime>
#include <QList>
#include <QUuid>

#include <algorithm>

namespace tw {

// A source's last good poll. It is never written to disk.
struct SourceSnapshot
{
    QUuid sourceID;
    QDateTime fetchedAt;
    QList<WidgetData> widgets;

    bool operator==(const SourceSnapshot &) const = default;

    // Whether any widget reads down (an offline game server included).
    bool hasDownWidget() const
    {
        return std::any_of(widgets.cbegin(), widgets.cend(), [](const WidgetData &widget) {
            return widget.status() == ServiceStatus::Down;
        });
    }
};

} // namespace tw
