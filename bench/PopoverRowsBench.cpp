// The popover's row model rebuilt from scratch, as it is on every published update: 100 sources of
// ten widgets each, some hidden, some collapsed, with errors among them.
#include "app/PopoverRows.h"
#include "kit/model/JsonRead.h"

#include <QElapsedTimer>
#include <QTextStream>

using namespace tw;
using namespace Qt::StringLiterals;

int main()
{
    PopoverRows::State state;
    for (int s = 0; s < 100; ++s) {
        const QUuid id = QUuid::createUuid();
        state.sources.append(KumaConfig(id, u"Kuma %1"_s.arg(s), u"http://kuma.lan"_s));
        QList<WidgetData> widgets;
        for (int w = 0; w < 10; ++w) {
            const auto status = w == 3 ? ServiceStatus::Down : w == 5 ? ServiceStatus::Warn : ServiceStatus::Up;
            widgets.append(ServiceRow{QString::number(w), u"Monitor %1"_s.arg(w), status, 10.0 + w, {}, {}});
        }
        state.snapshots.insert(id, SourceSnapshot{id, QDateTime::currentDateTimeUtc(), widgets});
        if (s % 10 == 0)
            state.errors.insert(id, u"timed out"_s);
        if (s % 7 == 0)
            state.layout.collapsed.insert(JsonRead::uuidText(id));
        if (s % 5 == 0)
            state.layout.hidden.insert(widgets.first().widgetKey(id));
    }

    constexpr int rounds = 200;
    qsizetype sink = 0;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < rounds; ++i) {
        const QList<Row> rows = PopoverRows::popoverRows(state);
        sink += PopoverRows::groupRows(rows).size();
    }
    const double perRebuildMs = double(timer.nsecsElapsed()) / 1e6 / rounds;
    QTextStream(stdout) << "popoverRows + groupRows, 1000 widgets over 100 sources: " << perRebuildMs
                        << " ms per rebuild (" << sink / rounds << " cards)\n";
    return 0;
}
