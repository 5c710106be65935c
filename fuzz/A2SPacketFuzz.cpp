// Feeds arbitrary datagrams to the Steam query packet reader: it either refuses them with its own
// error or yields a packet whose fields lie inside the protocol's limits and the datagram.
#include "kit/games/A2SReplyError.h"
#include "kit/games/A2SWire.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    try {
        const tw::A2SWire::Packet packet = tw::A2SWire::parsePacket(bytes);
        if (const auto *simple = std::get_if<QByteArray>(&packet)) {
            if (*simple != bytes || !bytes.startsWith(QByteArray::fromHex("FFFFFFFF")))
                std::abort();
            return 0;
        }
        const auto &split = std::get<tw::A2SWire::SplitPacket>(packet);
        if (split.total < 1 || split.total > 32 || split.number < 0 || split.number >= split.total
            || (split.id & 0x80000000u) || split.payload != bytes.sliced(12))
            std::abort();
    } catch (const tw::A2SReplyError &error) {
        if (error.reason() != QLatin1String("malformed reply")
            && error.reason() != QLatin1String("compressed reply not supported"))
            std::abort();
    }
    return 0;
}
