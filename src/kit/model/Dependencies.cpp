#include "Dependencies.h"

#include "kit/model/JsonRead.h"

#include <QSet>

using namespace Qt::StringLiterals;

namespace tw::Dependencies {

namespace {

const AnySourceConfig *byId(const QList<AnySourceConfig> &sources, const QUuid &id)
{
    const auto it = std::find_if(sources.cbegin(), sources.cend(), [&](const AnySourceConfig &source) {
        return source.id() == id;
    });
    return it == sources.cend() ? nullptr : &*it;
}

QString nameOf(const QList<AnySourceConfig> &sources, const QUuid &id)
{
    const AnySourceConfig *source = byId(sources, id);
    return source ? source->common().displayName : u"This source"_s;
}

} // namespace

Parents parents(const QList<AnySourceConfig> &sources)
{
    QSet<QUuid> ids;
    for (const AnySourceConfig &source : sources)
        ids.insert(source.id());
    Parents named;
    for (const AnySourceConfig &source : sources) {
        const std::optional<QUuid> &parent = source.common().dependsOn;
        if (parent && *parent != source.id() && ids.contains(*parent))
            named.insert(source.id(), *parent);
    }

    // Each chain is walked once: a walk ends at a source without a parent, at one an earlier walk
    // settled, or back on its own path, which closes a loop.
    QSet<QUuid> settled;
    QSet<QUuid> inLoops;
    for (const AnySourceConfig &source : sources) {
        QList<QUuid> path;
        QSet<QUuid> onPath;
        std::optional<QUuid> at = source.id();
        while (at && !settled.contains(*at)) {
            if (onPath.contains(*at)) {
                for (qsizetype i = path.indexOf(*at); i < path.size(); ++i)
                    inLoops.insert(path.at(i));
                break;
            }
            path.append(*at);
            onPath.insert(*at);
            const auto parent = named.constFind(*at);
            at = parent == named.cend() ? std::nullopt : std::optional(*parent);
        }
        for (const QUuid &id : std::as_const(path))
            settled.insert(id);
    }
    for (const QUuid &id : std::as_const(inLoops))
        named.remove(id);
    return named;
}

QList<AnySourceConfig> normalized(QList<AnySourceConfig> sources)
{
    const Parents effective = parents(sources);
    for (AnySourceConfig &source : sources) {
        const auto parent = effective.constFind(source.id());
        source.common().dependsOn = parent == effective.cend() ? std::nullopt : std::optional(*parent);
    }
    return sources;
}

QList<QUuid> ancestors(const Parents &parents, const QUuid &source)
{
    QList<QUuid> chain;
    // Guarded all the same: a caller may hand in a table that did not come from parents().
    QSet<QUuid> seen{source};
    for (auto it = parents.constFind(source); it != parents.cend() && !seen.contains(*it);
         it = parents.constFind(*it)) {
        chain.append(*it);
        seen.insert(*it);
    }
    return chain;
}

std::optional<QUuid> cause(const Parents &parents, const QUuid &source, const std::function<bool(const QUuid &)> &down)
{
    std::optional<QUuid> farthest;
    for (const QUuid &ancestor : ancestors(parents, source)) {
        if (down(ancestor))
            farthest = ancestor;
    }
    return farthest;
}

qsizetype countBehind(const Parents &parents, const QUuid &source)
{
    qsizetype count = 0;
    for (auto it = parents.keyBegin(); it != parents.keyEnd(); ++it) {
        if (ancestors(parents, *it).contains(source))
            ++count;
    }
    return count;
}

std::optional<QString> refusal(const QList<AnySourceConfig> &sources, const QUuid &source, const QUuid &parent)
{
    if (parent == source)
        return u"A source can't sit behind itself."_s;
    if (!byId(sources, parent))
        return u"No source has the id %1."_s.arg(JsonRead::uuidText(parent));
    // The one new link is source → parent: it closes a loop exactly when the parent already
    // reaches the source through the links there are.
    QSet<QUuid> seen;
    for (std::optional<QUuid> at = parent; at && !seen.contains(*at);) {
        if (*at == source) {
            const QString sourceName = nameOf(sources, source);
            const QString parentName = nameOf(sources, parent);
            return u"%1 can't sit behind %2: %2 already sits behind %1."_s.arg(sourceName, parentName);
        }
        seen.insert(*at);
        const AnySourceConfig *config = byId(sources, *at);
        at = config ? config->common().dependsOn : std::nullopt;
    }
    return std::nullopt;
}

std::variant<QUuid, QString> find(const QList<AnySourceConfig> &sources, const QString &nameOrId)
{
    const QString wanted = nameOrId.trimmed();
    if (const QUuid id = QUuid::fromString(wanted); !id.isNull()) {
        if (byId(sources, id))
            return id;
        return u"No source has the id %1."_s.arg(JsonRead::uuidText(id));
    }
    for (const Qt::CaseSensitivity sensitivity : {Qt::CaseSensitive, Qt::CaseInsensitive}) {
        QList<QUuid> matches;
        for (const AnySourceConfig &source : sources) {
            if (source.common().displayName.compare(wanted, sensitivity) == 0)
                matches.append(source.id());
        }
        if (matches.size() == 1)
            return matches.first();
        if (matches.size() > 1)
            return u"%1 sources are called \"%2\"; give the id of the one you mean."_s.arg(matches.size()).arg(wanted);
    }
    return u"No source is called \"%1\"."_s.arg(wanted);
}

} // namespace tw::Dependencies
