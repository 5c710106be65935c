#include "Snooze.h"

#include "kit/model/JsonRead.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace tw {

QJsonValue Snooze::toJson() const
{
    QJsonObject object;
    if (sourceID)
        object.insert(u"source"_s, JsonRead::uuidText(*sourceID));
    if (until)
        object.insert(u"until"_s, until->toUTC().toString(Qt::ISODateWithMs));
    return object;
}

std::optional<Snooze> Snooze::fromJson(const QJsonValue &value)
{
    const QJsonObject object = value.toObject();
    Snooze snooze;
    if (const QJsonValue source = object.value(u"source"_s); source.isString()) {
        const QUuid id(source.toString());
        if (id.isNull())
            return std::nullopt;
        snooze.sourceID = id;
    }
    if (const QJsonValue until = object.value(u"until"_s); until.isString()) {
        const QDateTime time = QDateTime::fromString(until.toString(), Qt::ISODateWithMs);
        if (!time.isValid())
            return std::nullopt;
        snooze.until = time.toUTC();
    }
    if (!snooze.sourceID && !snooze.until)
        return std::nullopt;
    return snooze;
}

QList<Snooze> Snooze::load(const PreferenceStore &settings)
{
    const QJsonDocument document =
        QJsonDocument::fromJson(settings.value(QLatin1String(settingsKey)).toString().toUtf8());
    QList<Snooze> snoozes;
    for (const QJsonValue &entry : document.array()) {
        if (const auto snooze = fromJson(entry))
            snoozes.append(*snooze);
    }
    return snoozes;
}

void Snooze::save(PreferenceStore &settings, const QList<Snooze> &snoozes)
{
    if (snoozes.isEmpty()) {
        settings.remove(QLatin1String(settingsKey));
        return;
    }
    QJsonArray array;
    for (const Snooze &snooze : snoozes)
        array.append(snooze.toJson());
    settings.setValue(QLatin1String(settingsKey),
                      QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)));
}

QString Snooze::untilText(const QDateTime &now) const
{
    if (!until)
        return u"it recovers"_s;
    const QDateTime end = until->toLocalTime();
    const QString time = end.time().toString(u"HH:mm"_s);
    if (end.date() == now.toLocalTime().date())
        return time;
    return QLocale::c().dayName(end.date().dayOfWeek(), QLocale::ShortFormat) + u' ' + time;
}

} // namespace tw
