// Feeds arbitrary info replies to the Steam query info reader, read both with and without the
// keyword counts: the keywords may only change the counts, never whether the reply reads or its name.
#include "kit/games/A2SWire.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const std::optional<tw::GameFacts> plain = tw::A2SWire::parseInfo(bytes, false);
    const std::optional<tw::GameFacts> keyed = tw::A2SWire::parseInfo(bytes, true);
    if (plain.has_value() != keyed.has_value())
        std::abort();
    if (!plain)
        return 0;
    const auto byteCount = [](const std::optional<qint64> &n) {
        return n && *n >= 0 && *n <= 255;
    };
    if (!byteCount(plain->playersCurrent) || !byteCount(plain->playersMax) || !plain->playerNames.isEmpty()
        || plain->detail.size() > bytes.size() - 19)
        std::abort();
    if (keyed->detail != plain->detail || !keyed->playerNames.isEmpty() || !keyed->playersCurrent
        || *keyed->playersCurrent < 0 || !keyed->playersMax || *keyed->playersMax < 0)
        std::abort();
    return 0;
}
