#include "KumaMetricsParser.h"

#include "kit/providers/ProviderSupport.h"

#include <QLocale>
#include <QRegularExpression>

#include <cmath>

using namespace Qt::StringLiterals;

namespace tw::KumaMetricsParser {

namespace {

ServiceStatus statusOf(const QString &value)
{
    // By exact text, so that "1.0" is not up.
    static const QHash<QString, ServiceStatus> table{{u"0"_s, ServiceStatus::Down},
                                                     {u"1"_s, ServiceStatus::Up},
                                                     {u"2"_s, ServiceStatus::Warn},
                                                     {u"3"_s, ServiceStatus::Maintenance}};
    return table.value(value, ServiceStatus::Unknown);
}

std::optional<double> responseTime(const QString &text)
{
    if (text.isEmpty() || text.front().isSpace() || text.back().isSpace())
        return std::nullopt;
    bool ok = false;
    const double value = QLocale::c().toDouble(text, &ok);
    if (!ok || !std::isfinite(value) || value < 0)
        return std::nullopt;
    return value;
}

// Where the label set that opens at `from` ends: the first "}" outside a quoted value, a backslash
// taking the character behind it along. Kuma writes URLs after the name, and neither they nor a name
// escape a brace; -1 when the line never closes its labels.
qsizetype labelsEnd(QStringView line, qsizetype from)
{
    bool quoted = false;
    for (qsizetype i = from; i < line.size(); ++i) {
        const QChar c = line.at(i);
        if (quoted && c == u'\\')
            ++i;
        else if (c == u'"')
            quoted = !quoted;
        else if (c == u'}' && !quoted)
            return i;
    }
    return -1;
}

} // namespace

QHash<QString, QString> parseLabels(QStringView text)
{
    static const QRegularExpression label(uR"re(([a-zA-Z_][a-zA-Z0-9_]*)="((?:[^"\\]|\\.)*)")re"_s);
    static const QRegularExpression escape(uR"re(\\(.))re"_s);
    QHash<QString, QString> labels;
    auto matches = label.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        if (match.capturedStart(1) < 0 || match.capturedStart(2) < 0)
            continue;
        QString value = match.captured(2);
        // \" reads ", \\ reads \, and \n reads n: the newline escape is deliberately not a line break.
        if (value.contains(u'\\'))
            value.replace(escape, u"\\1"_s);
        labels.insert(match.captured(1), value);
    }
    return labels;
}

std::optional<Sample> sample(QStringView metric, QStringView line)
{
    if (!line.startsWith(metric) || line.size() <= metric.size() || line.at(metric.size()) != u'{')
        return std::nullopt;
    const qsizetype close = labelsEnd(line, metric.size() + 1);
    if (close < 0)
        return std::nullopt;
    const QHash<QString, QString> labels = parseLabels(line.sliced(metric.size() + 1, close - metric.size() - 1));
    const auto name = labels.constFind(u"monitor_name"_s);
    if (name == labels.cend())
        return std::nullopt;
    const QString rest = line.sliced(close + 1).toString();
    QString trimmed = rest;
    while (!trimmed.isEmpty() && (trimmed.front() == u' ' || trimmed.front() == u'\t'))
        trimmed.remove(0, 1);
    while (!trimmed.isEmpty() && (trimmed.back() == u' ' || trimmed.back() == u'\t'))
        trimmed.chop(1);
    const QStringList pieces = trimmed.split(u' ', Qt::SkipEmptyParts);
    // A timestamp behind the value is ignored.
    return Sample{*name, pieces.value(0), ProviderSupport::browsable(labels.value(u"monitor_url"_s))};
}

QList<ServiceRow> parse(const QString &text)
{
    const QStringList lines = text.split(u'\n', Qt::SkipEmptyParts);
    QHash<QString, double> latencies;
    for (const QString &line : lines) {
        if (const auto s = sample(u"monitor_response_time", line)) {
            if (const auto latency = responseTime(s->value))
                latencies.insert(s->name, *latency);
        }
    }
    QList<ServiceRow> rows;
    for (const QString &line : lines) {
        if (const auto s = sample(u"monitor_status", line)) {
            const auto latency = latencies.constFind(s->name);
            rows.append({s->name,
                         s->name,
                         statusOf(s->value),
                         latency == latencies.cend() ? std::nullopt : std::optional<double>(*latency),
                         std::nullopt,
                         s->url});
        }
    }
    return rows;
}

} // namespace tw::KumaMetricsParser
