#include "HistoryStore.h"

#include "kit/model/DecodeError.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/JsonRead.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QTimeZone>

#include <algorithm>
#include <cmath>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace tw::HistoryStore {

namespace {

const QDateTime &referenceDate()
{
    static const QDateTime date(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    return date;
}

void appendJsonNumber(QByteArray &out, double value)
{
    out += QByteArray::number(value, 'g', QLocale::FloatingPointShortest);
}

void appendJsonString(QByteArray &out, const QString &text)
{
    out += '"';
    for (const char c : text.toUtf8()) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned char>(c));
                out += escaped;
            } else {
                out += c;
            }
        }
    }
    out += '"';
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
    // Written by hand rather than through a JSON document: a week of samples of a large estate is a
    // few hundred thousand objects, and building a document for each write cost ten times the
    // file's size in memory every 30 seconds. Keys in sorted order, as a document would write them.
    QByteArray out;
    qsizetype count = 0;
    for (const auto &samples : history.samples)
        count += samples.size();
    out.reserve(32 + count * 56);
    out += "{\"samples\":{";
    QStringList keys = history.samples.keys();
    std::sort(keys.begin(), keys.end());
    bool firstKey = true;
    for (const QString &key : std::as_const(keys)) {
        if (!firstKey)
            out += ',';
        firstKey = false;
        appendJsonString(out, key);
        out += ":[";
        bool firstSample = true;
        for (const HistorySample &sample : history.samples.value(key)) {
            out += firstSample ? "{" : ",{";
            firstSample = false;
            if (sample.latencyMs && std::isfinite(*sample.latencyMs)) {
                out += "\"latencyMs\":";
                appendJsonNumber(out, *sample.latencyMs);
                out += ',';
            }
            out += "\"status\":\"";
            out += toText(sample.status).toLatin1();
            out += "\",\"time\":";
            appendJsonNumber(out, referenceSeconds(sample.time));
            out += '}';
        }
        out += ']';
    }
    out += "}}";
    return out;
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
