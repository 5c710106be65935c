// Feeds arbitrary player replies to the Steam query player reader: it never yields more names than
// the reply declares or holds, and what it yields reads back the same from its own wire form.
#include "kit/games/A2SWire.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const std::optional<QStringList> names = tw::A2SWire::parsePlayers(bytes);
    if (!names)
        return 0;
    if (names->size() > quint8(bytes.at(5)))
        std::abort();
    QByteArray wire = QByteArray::fromHex("FFFFFFFF44") + char(names->size());
    for (const QString &name : *names)
        wire += QByteArray(1, '\x07') + name.toUtf8() + QByteArray(1, '\0') + QByteArray(8, '\x01');
    if (wire.size() > bytes.size() || tw::A2SWire::parsePlayers(wire) != names)
        std::abort();
    return 0;
}
