#include "EventLogStore.h"

#include "kit/model/DecodeError.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/JsonRead.h"
#include "kit/monitor/HistoryStore.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace tw::EventLogStore {

QString eventsPath(const QString &directory)
{
    return QDir(directory).filePath(u"events.json"_s);
}

QString corruptPath(const QString &directory)
{
    return QDir(directory).filePath(u"events.json.corrupt"_s);
}

QByteArray encode(const QList<RecentEvent> &events)
{
    // A thousand small objects at most: a document costs nothing worth writing by hand.
    QJsonArray list;
    for (const RecentEvent &event : events) {
        QJsonObject object{
            {u"time"_s, HistoryStore::referenceSeconds(event.time)},
            {u"kind"_s, toText(event.kind)},
            {u"title"_s, event.title},
        };
        if (!event.detail.isEmpty())
            object.insert(u"detail"_s, event.detail);
        if (!event.sourceID.isNull())
            object.insert(u"sourceID"_s, JsonRead::uuidText(event.sourceID));
        list.append(object);
    }
    return QJsonDocument(QJsonObject{{u"events"_s, list}}).toJson(QJsonDocument::Compact);
}

QList<RecentEvent> decode(const QByteArray &bytes)
{
    const QJsonDocument document = JsonRead::document(bytes);
    if (!document.isObject())
        throw DecodeError(u"Expected an object for the recent events."_s);
    QList<RecentEvent> events;
    for (const QJsonValue &value : JsonRead::array(document.object(), u"events")) {
        const QJsonObject object = JsonRead::object(value, u"event");
        const auto kind = recentEventKindFromString(JsonRead::string(object, u"kind"));
        if (!kind)
            throw DecodeError(u"unknown kind of event: %1"_s.arg(JsonRead::string(object, u"kind")));
        QUuid sourceID;
        if (object.contains(u"sourceID"_s))
            sourceID = JsonRead::uuid(object, u"sourceID");
        events.append({HistoryStore::fromReferenceSeconds(JsonRead::number(object, u"time")),
                       *kind,
                       JsonRead::string(object, u"title"),
                       JsonRead::optionalString(object, u"detail").value_or(QString()),
                       sourceID});
    }
    return events;
}

QList<RecentEvent> load(const QString &directory)
{
    return JSONFileStore::load(eventsPath(directory), corruptPath(directory), decode).value_or(QList<RecentEvent>{});
}

void save(const QList<RecentEvent> &events, const QString &directory)
{
    JSONFileStore::write(encode(events), eventsPath(directory));
}

} // namespace tw::EventLogStore
