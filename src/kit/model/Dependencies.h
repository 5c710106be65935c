#pragma once

#include "kit/model/AnySourceConfig.h"

#include <QHash>
#include <QList>
#include <QUuid>

#include <functional>
#include <optional>
#include <variant>

// Which source sits behind which: the router's ping before the hosts reached through it. A source
// names its parent in `dependsOn`; what that name counts for is decided here, once, for the hub,
// the sheet and the command line alike. A parent that is not in the list, the source itself, or a
// loop of sources that sit behind each other counts as no parent at all: a loop has no first cause
// to blame.
namespace tw::Dependencies {

// Each source's parent as it takes effect; a source without one has no entry.
using Parents = QHash<QUuid, QUuid>;
Parents parents(const QList<AnySourceConfig> &sources);

// The list with every `dependsOn` that takes no effect cleared: what a file reads as.
QList<AnySourceConfig> normalized(QList<AnySourceConfig> sources);

// The parent, its parent and so on, nearest first.
QList<QUuid> ancestors(const Parents &parents, const QUuid &source);

// The farthest ancestor for which `down` holds: the first cause of the source's trouble, when the
// router and the switch behind it are both down. Nothing when no ancestor is down.
std::optional<QUuid> cause(const Parents &parents, const QUuid &source, const std::function<bool(const QUuid &)> &down);

// How many sources sit behind `source`, directly or through others.
qsizetype countBehind(const Parents &parents, const QUuid &source);

// Why `source` may not sit behind `parent`, in the words the sheet and the command line show
// ("Router already sits behind Switch, so Switch can't sit behind Router."); nothing when it may.
// `source` need not be in the list yet: a new source closes no loop.
std::optional<QString> refusal(const QList<AnySourceConfig> &sources, const QUuid &source, const QUuid &parent);

// The source a user means by "NAS" or by its id, for --depends-on: an id first, then a name, exact
// and then ignoring case. The text says why nothing was found, or that a name is shared.
std::variant<QUuid, QString> find(const QList<AnySourceConfig> &sources, const QString &nameOrId);

} // namespace tw::Dependencies
