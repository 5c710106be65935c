// Feeds arbitrary bytes to the sources-file decoder: it must throw DecodeError or succeed, and
// whatever it accepts must survive a write and a second read unchanged.
#include "kit/model/DecodeError.h"
#include "kit/model/SourcesStore.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    try {
        const auto sources = tw::SourcesStore::decode(bytes);
        if (tw::SourcesStore::decode(tw::SourcesStore::encode(sources)) != sources) {
            // NaN intervals are the one value that cannot equal itself.
            for (const auto &s : sources) {
                if (s.common().pollInterval != s.common().pollInterval)
                    return 0;
            }
            std::abort();
        }
    } catch (const tw::DecodeError &) { }
    return 0;
}
