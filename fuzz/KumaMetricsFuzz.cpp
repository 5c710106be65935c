// Feeds arbitrary text to the metrics-page reader: it cannot fail, and every row it yields must
// come from a monitor_status line of the page.
#include "kit/providers/KumaMetricsParser.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const QList<tw::ServiceRow> rows = tw::KumaMetricsParser::parse(text);
    if (rows.size() > text.count(QStringLiteral("monitor_status{")))
        std::abort();
    for (const tw::ServiceRow &row : rows) {
        if (row.latencyMs && !(*row.latencyMs >= 0))
            std::abort();
    }
    return 0;
}
