// Feeds arbitrary bytes to the history-file decoder: it must throw DecodeError or succeed, and
// whatever it accepts must survive a write and a second read, and trimming must hold its bounds.
#include "kit/model/DecodeError.h"
#include "kit/monitor/HistoryRecorder.h"
#include "kit/monitor/HistoryStore.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    try {
        const tw::PollHistory history = tw::HistoryStore::decode(bytes);
        const tw::PollHistory again = tw::HistoryStore::decode(tw::HistoryStore::encode(history));
        if (again.samples.keys() != history.samples.keys())
            std::abort();
        const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
        for (const auto &samples : history.samples) {
            if (tw::HistoryRecorder::trimmed(samples, now).size() > tw::HistoryLimits::maxSamplesPerKey)
                std::abort();
        }
    } catch (const tw::DecodeError &) { }
    return 0;
}
