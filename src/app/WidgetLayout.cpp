#include "WidgetLayout.h"

#include "kit/model/JsonRead.h"
#include "kit/model/PreferenceStore.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace tw {

namespace {

QJsonArray toArray(const QStringList &list)
{
    return QJsonArray::fromStringList(list);
}

QStringList readStrings(const QJsonObject &o, QStringView key)
{
    QStringList out;
    for (const QJsonValue &v : JsonRead::array(o, key)) {
        if (!v.isString())
            throw DecodeError(QStringLiteral("Expected strings in \"%1\".").arg(key));
        out.append(v.toString());
    }
    return out;
}

} // namespace

QStringList ListMove::apply(const QStringList &list, const QList<int> &fromOffsets, int toOffset)
{
    QList<int> offsets = fromOffsets;
    std::sort(offsets.begin(), offsets.end());
    offsets.erase(std::unique(offsets.begin(), offsets.end()), offsets.end());
    QStringList moved;
    QStringList rest;
    int insertAt = 0;
    for (int i = 0; i < list.size(); ++i) {
        if (std::binary_search(offsets.begin(), offsets.end(), i)) {
            moved.append(list.at(i));
        } else {
            if (i < toOffset)
                ++insertAt;
            rest.append(list.at(i));
        }
    }
    insertAt = std::clamp(insertAt, 0, int(rest.size()));
    for (qsizetype i = 0; i < moved.size(); ++i)
        rest.insert(insertAt + i, moved.at(i));
    return rest;
}

QList<QUuid> WidgetLayout::orderedSourceIDs(const QList<AnySourceConfig> &sources) const
{
    QSet<QUuid> live;
    for (const AnySourceConfig &s : sources)
        live.insert(s.id());
    QSet<QUuid> seen;
    QList<QUuid> result;
    for (const QString &text : sourceOrder) {
        const QUuid id = QUuid::fromString(text);
        if (id.isNull() || !live.contains(id) || seen.contains(id))
            continue;
        seen.insert(id);
        result.append(id);
    }
    for (const AnySourceConfig &s : sources) {
        if (!seen.contains(s.id())) {
            seen.insert(s.id());
            result.append(s.id());
        }
    }
    return result;
}

QList<KeyedWidget> WidgetLayout::ordered(const QList<KeyedWidget> &rows) const
{
    QHash<QString, qsizetype> byKey; // later rows with a repeated key replace earlier ones
    for (qsizetype i = 0; i < rows.size(); ++i)
        byKey.insert(rows.at(i).key, i);
    QList<KeyedWidget> result;
    QSet<QString> seen;
    for (const QString &key : order) {
        const auto it = byKey.constFind(key);
        if (it == byKey.constEnd())
            continue;
        result.append(rows.at(*it));
        seen.insert(key);
    }
    for (const KeyedWidget &row : rows) {
        if (seen.contains(row.key))
            continue;
        seen.insert(row.key);
        result.append(row);
    }
    return result;
}

QList<KeyedWidget> WidgetLayout::visible(const QList<KeyedWidget> &rows) const
{
    QList<KeyedWidget> result = ordered(rows);
    result.removeIf([this](const KeyedWidget &row) { return hidden.contains(row.key); });
    return result;
}

void WidgetLayout::moveSource(const QList<AnySourceConfig> &sources, const QList<int> &fromOffsets, int toOffset)
{
    QStringList ids;
    for (const QUuid &id : orderedSourceIDs(sources))
        ids.append(JsonRead::uuidText(id));
    sourceOrder = ListMove::apply(ids, fromOffsets, toOffset);
}

void WidgetLayout::moveWidget(const QList<KeyedWidget> &rows, const QList<int> &fromOffsets, int toOffset)
{
    QStringList keys;
    for (const KeyedWidget &row : ordered(rows))
        keys.append(row.key);
    const QStringList moved = ListMove::apply(keys, fromOffsets, toOffset);
    const QSet<QString> movedSet(moved.cbegin(), moved.cend());
    order.removeIf([&movedSet](const QString &key) { return movedSet.contains(key); });
    order.append(moved);
}

QByteArray WidgetLayout::toJson() const
{
    const QJsonObject o{{QStringLiteral("order"), toArray(order)},
                        {QStringLiteral("hidden"), toArray(QStringList(hidden.cbegin(), hidden.cend()))},
                        {QStringLiteral("sourceOrder"), toArray(sourceOrder)},
                        {QStringLiteral("collapsed"), toArray(QStringList(collapsed.cbegin(), collapsed.cend()))}};
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

std::optional<WidgetLayout> WidgetLayout::fromJson(const QByteArray &bytes)
{
    try {
        const QJsonDocument doc = JsonRead::document(bytes);
        if (!doc.isObject())
            return std::nullopt;
        const QJsonObject o = doc.object();
        WidgetLayout layout;
        layout.order = readStrings(o, u"order");
        const QStringList hiddenList = readStrings(o, u"hidden");
        layout.hidden = QSet<QString>(hiddenList.cbegin(), hiddenList.cend());
        layout.sourceOrder = readStrings(o, u"sourceOrder");
        const QStringList collapsedList = readStrings(o, u"collapsed");
        layout.collapsed = QSet<QString>(collapsedList.cbegin(), collapsedList.cend());
        return layout;
    } catch (const DecodeError &) {
        return std::nullopt;
    }
}

WidgetLayout WidgetLayout::load(const PreferenceStore &settings)
{
    const QVariant stored = settings.value(QLatin1String(settingsKey));
    if (!stored.isValid())
        return {};
    return fromJson(stored.toByteArray()).value_or(WidgetLayout{});
}

void WidgetLayout::save(PreferenceStore &settings) const
{
    settings.setValue(QLatin1String(settingsKey), QString::fromUtf8(toJson()));
}

} // namespace tw
