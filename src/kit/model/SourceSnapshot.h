#pragma once

#include "kit/model/WidgetData.h"

#include <QDateTime>
#include <QList>
#include <QUuid>

namespace tw {

// A source's last good poll. It is never written to disk.
struct SourceSnapshot
{
    QUuid sourceID;
    QDateTime fetchedAt;
    QList<WidgetData> widgets;

    bool operator==(const SourceSnapshot &) const = default;
};

} // namespace tw
