#include "HistoryStore.h"

#include "kit/model/DecodeError.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/JsonRead.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace tw::HistoryStore {

namespace {

const QDateTime &referenceDate()
{
    static const QDateTime date(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    return date;
}

} // namespace

QString historyPath(const QString &directory)
{
    return QDir(directory).filePath(u"history.json"_s);
}

QString corruptPath(const QString &directory)
{
    return QDir(directory).filePath(u"history.json.corrupt"_s);
}

double referenceSeconds(const QDateTime &time)
{
    return double(referenceDate().msecsTo(time)) / 1000.0;
}

QDateTime fromReferenceSeconds(double seconds)
{
    return referenceDate().addMSecs(qint64(std::llround(seconds * 1000.0)));
}

QByteArray encode(const PollHistory &history)
{
    QJsonObject samples;
    for (auto it = history.samples.cbegin(); it != history.samples.cend(); ++it) {
        QJsonArray list;
        for (const HistorySample &sample : it.value()) {
            QJsonObject object{{u"time"_s, referenceSeconds(sample.time)}, {u"status"_s, toText(sample.status)}};
            if (sample.latencyMs)
                object.insert(u"latencyMs"_s, *sample.latencyMs);
            list.append(object);
        }
        samples.insert(it.key(), list);
    }
    return QJsonDocument(QJsonObject{{u"samples"_s, samples}}).toJson(QJsonDocument::Compact);
}

PollHistory decode(const QByteArray &bytes)
{
    const QJsonDocument document = JsonRead::document(bytes);
    if (!document.isObject())
        throw DecodeError(u"Expected an object for history."_s);
    const QJsonObject root = document.object();
    const QJsonObject samples = JsonRead::object(root.value(u"samples"_s), u"samples");
    PollHistory history;
    for (auto it = samples.constBegin(); it != samples.constEnd(); ++it) {
        if (!it.value().isArray())
            throw DecodeError(u"samples of %1 are not a list"_s.arg(it.key()));
        QList<HistorySample> list;
        for (const QJsonValue &value : it.value().toArray()) {
            const QJsonObject object = JsonRead::object(value, u"sample");
            const auto status = serviceStatusFromString(JsonRead::string(object, u"status"));
            if (!status)
                throw DecodeError(u"unknown status in history"_s);
            list.append({fromReferenceSeconds(JsonRead::number(object, u"time")),
                         JsonRead::optionalNumber(object, u"latencyMs"),
                         *status});
        }
        history.samples.insert(it.key(), list);
    }
    return history;
}

PollHistory load(const QString &directory)
{
    return JSONFileStore::load(historyPath(directory), corruptPath(directory), decode).value_or(PollHistory{});
}

void save(const PollHistory &history, const QString &directory)
{
    JSONFileStore::write(encode(history), historyPath(directory));
}

} // namespace tw::HistoryStore
