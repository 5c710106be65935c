// Feeds arbitrary bytes to the Minecraft status reader: it yields facts or nothing, never a crash.
#include "kit/games/MinecraftSLP.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto facts = tw::MinecraftSLP::parseStatus(bytes);
    if (facts && facts->playerNames.contains(QString()))
        std::abort(); // empty names are never kept
    return 0;
}
