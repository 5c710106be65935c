#pragma once

#include "kit/model/SourceSnapshot.h"

#include <QHash>
#include <QString>
#include <QUuid>

namespace tw {

// The one answer for the whole estate, shown by the tray icon.
enum class OverallStatus { Up, Degraded, Down, Paused, Unknown };

QString toText(OverallStatus status);

// The estate from the last good polls and the sources that now fail. One down widget outranks
// everything; a source that cannot be polled is a warning, not an outage, and what it last saw no
// longer counts; nothing known is unknown.
OverallStatus overallStatusOf(const QHash<QUuid, SourceSnapshot> &snapshots, const QHash<QUuid, QString> &errors);

} // namespace tw
