// Feeds arbitrary datagrams to the Bedrock pong reader: short, lying and undecodable replies must
// yield nothing, never a read past the datagram.
#include "kit/games/BedrockPing.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto facts = tw::BedrockPing::parsePong(bytes);
    if (facts && bytes.size() < 36)
        std::abort();
    return 0;
}
