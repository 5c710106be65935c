#include "EventsCommand.h"

#include "cli/CliSupport.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/JsonRead.h"
#include "kit/model/SourcesStore.h"
#include "kit/monitor/EventLog.h"
#include "kit/monitor/EventLogStore.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace tw::EventsCommand {

namespace {

// Ten years: more than the log ever holds, and far from overflowing a time.
constexpr qint64 longestAge = 10LL * 366 * 86400;

QJsonObject jsonOf(const RecentEvent &event)
{
    return {
        {u"time"_s, event.time.toUTC().toString(Qt::ISODate)},
        {u"kind"_s, toText(event.kind)},
        {u"title"_s, event.title},
        {u"detail"_s, event.detail.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(event.detail)},
        {u"sourceID"_s,
         event.sourceID.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(JsonRead::uuidText(event.sourceID))},
    };
}

void printLines(QTextStream &out, const QList<RecentEvent> &events)
{
    qsizetype kindWidth = 0;
    for (const RecentEvent &event : events)
        kindWidth = std::max(kindWidth, toText(event.kind).size());
    for (const RecentEvent &event : events) {
        out << event.time.toLocalTime().toString(u"yyyy-MM-dd HH:mm:ss"_s) << "  "
            << toText(event.kind).leftJustified(kindWidth + 2) << event.title;
        if (!event.detail.isEmpty())
            out << " — " << event.detail;
        out << '\n';
    }
}

} // namespace

QString synopsis()
{
    return u"events [--sources FILE] [--since AGE] [--json]   list the outages, recoveries and snoozes of the past "
           "week"_s;
}

std::optional<qint64> parseAge(const QString &text)
{
    static const QRegularExpression pattern(u"^\\s*(\\d{1,9})\\s*([smhdw])\\s*$"_s);
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    static const QHash<QString, qint64> units{{u"s"_s, 1},
                                              {u"m"_s, 60},
                                              {u"h"_s, 3600},
                                              {u"d"_s, 86400},
                                              {u"w"_s, 604800}};
    const qint64 seconds = match.captured(1).toLongLong() * units.value(match.captured(2));
    if (seconds <= 0 || seconds > longestAge)
        return std::nullopt;
    return seconds;
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Lists what Tidewatch recorded while it ran: outages, recoveries and snoozes, newest first.\n"
        "Tidewatch keeps them for a week, in events.json beside the sources file."_s);
    parser.addOption({u"sources"_s, u"The sources file whose events to list (default: Tidewatch's own)."_s, u"FILE"_s});
    parser.addOption({u"since"_s,
                      u"Only the events of the last AGE: a number with s, m, h, d or w, like 30m, 24h or 7d "
                      "(default: 7d)."_s,
                      u"AGE"_s});
    parser.addOption({u"json"_s, u"Print one JSON object instead of lines."_s});
    if (const std::optional<int> done = CliSupport::parse(parser, u"events"_s, arguments, out, err))
        return *done;
    if (!parser.positionalArguments().isEmpty()) {
        err << "tidewatch-cli events: unexpected argument '" << parser.positionalArguments().first() << "'\n";
        return 64;
    }
    qint64 age = EventLog::maxAgeSeconds;
    if (parser.isSet(u"since"_s)) {
        const std::optional<qint64> parsed = parseAge(parser.value(u"since"_s));
        if (!parsed) {
            err << "tidewatch-cli events: --since takes an age like 30m, 24h or 7d, not '" << parser.value(u"since"_s)
                << "'\n";
            return 64;
        }
        age = *parsed;
    }

    const QString sources = parser.value(u"sources"_s);
    const QString directory =
        sources.isEmpty() ? SourcesStore::defaultDirectory() : QFileInfo(sources).absoluteDir().absolutePath();
    const QString path = EventLogStore::eventsPath(directory);
    QList<RecentEvent> events;
    // Only read: a file that does not read is left where it is, for the application to set aside.
    if (QFileInfo::exists(path)) {
        const std::optional<QByteArray> bytes = JSONFileStore::readBounded(path);
        if (!bytes) {
            err << "tidewatch-cli events: cannot read " << path << " (unreadable, or larger than 8 MiB)\n";
            return 3;
        }
        try {
            events = EventLogStore::decode(*bytes);
        } catch (const std::exception &error) {
            err << "tidewatch-cli events: " << path << " is not a valid events file: " << error.what() << '\n';
            return 3;
        }
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    // The file may have been written by hand or by an older run: order and age are checked here too.
    events = EventLog::since(EventLog::trimmed(events, now), now.addSecs(-age));

    if (parser.isSet(u"json"_s)) {
        QJsonArray list;
        for (const RecentEvent &event : std::as_const(events))
            list.append(jsonOf(event));
        out << QJsonDocument(QJsonObject{{u"since"_s, now.addSecs(-age).toString(Qt::ISODate)}, {u"events"_s, list}})
                   .toJson(QJsonDocument::Indented);
    } else if (events.isEmpty()) {
        out << "No events since " << now.addSecs(-age).toLocalTime().toString(u"yyyy-MM-dd HH:mm"_s) << ".\n";
    } else {
        printLines(out, events);
    }
    return 0;
}

} // namespace tw::EventsCommand
