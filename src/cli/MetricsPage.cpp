#include "MetricsPage.h"

#include "kit/model/JsonRead.h"
#include "kit/model/ServiceStatus.h"

using namespace Qt::StringLiterals;

namespace tw::MetricsPage {

namespace {

constexpr ServiceStatus states[] = {ServiceStatus::Up,
                                    ServiceStatus::Warn,
                                    ServiceStatus::Down,
                                    ServiceStatus::Unknown,
                                    ServiceStatus::Maintenance,
                                    ServiceStatus::Paused};

QString number(double value)
{
    return QString::number(value, 'g', 10);
}

void family(QString &page, const char *name, const char *help)
{
    page += u"# HELP "_s + QLatin1String(name) + u' ' + QLatin1String(help) + u'\n';
    page += u"# TYPE "_s + QLatin1String(name) + u" gauge\n"_s;
}

QString sourceLabels(const AnySourceConfig &source)
{
    return u"source=\""_s + escaped(source.common().displayName) + u"\",source_id=\""_s
        + JsonRead::uuidText(source.id()) + u'"';
}

} // namespace

QString escaped(const QString &value)
{
    QString out;
    out.reserve(value.size());
    for (const QChar c : value) {
        if (c == u'\\')
            out += u"\\\\"_s;
        else if (c == u'"')
            out += u"\\\""_s;
        else if (c == u'\n')
            out += u"\\n"_s;
        else
            out += c;
    }
    return out;
}

QByteArray render(const Estate &estate)
{
    QString page;
    family(page,
           "tidewatch_widget_status",
           "Whether a widget is in the given state: up, warn, down, unknown, maintenance or paused.");
    for (const AnySourceConfig &source : estate.sources) {
        const auto snapshot = estate.snapshots.constFind(source.id());
        if (snapshot == estate.snapshots.cend())
            continue;
        // A source that cannot be polled now says nothing about its widgets' state.
        const bool failing = estate.errors.contains(source.id());
        for (const WidgetData &widget : snapshot->widgets) {
            const ServiceStatus status = failing ? ServiceStatus::Unknown : widget.status();
            const QString labels = sourceLabels(source) + u",widget=\""_s + escaped(widget.name()) + u'"';
            for (const ServiceStatus state : states) {
                page += u"tidewatch_widget_status{"_s + labels + u",state=\""_s + toText(state) + u"\"} "_s
                    + (state == status ? u'1' : u'0') + u'\n';
            }
        }
    }
    family(page, "tidewatch_widget_latency_seconds", "The latency a widget last reported.");
    for (const AnySourceConfig &source : estate.sources) {
        const auto snapshot = estate.snapshots.constFind(source.id());
        if (snapshot == estate.snapshots.cend() || estate.errors.contains(source.id()))
            continue;
        for (const WidgetData &widget : snapshot->widgets) {
            if (const auto latency = widget.latencyMs()) {
                page += u"tidewatch_widget_latency_seconds{"_s + sourceLabels(source) + u",widget=\""_s
                    + escaped(widget.name()) + u"\"} "_s + number(*latency / 1000) + u'\n';
            }
        }
    }
    family(page, "tidewatch_source_up", "Whether the source's last poll succeeded.");
    for (const AnySourceConfig &source : estate.sources) {
        const bool failed = estate.errors.contains(source.id());
        if (!failed && !estate.snapshots.contains(source.id()))
            continue; // not polled yet
        page += u"tidewatch_source_up{"_s + sourceLabels(source) + u"} "_s + (failed ? u'0' : u'1') + u'\n';
    }
    family(page, "tidewatch_source_poll_duration_seconds", "How long the source's last poll took.");
    for (const AnySourceConfig &source : estate.sources) {
        if (const auto seconds = estate.pollSeconds.constFind(source.id()); seconds != estate.pollSeconds.cend()) {
            page += u"tidewatch_source_poll_duration_seconds{"_s + sourceLabels(source) + u"} "_s + number(*seconds)
                + u'\n';
        }
    }
    return page.toUtf8();
}

} // namespace tw::MetricsPage
