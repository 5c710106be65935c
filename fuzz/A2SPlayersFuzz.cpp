// Feeds arbitrary player replies to the Steam query player reader: it never yields more names than
// the reply declares or more text than it holds, and what it yields reads back the same from its own
// wire form. Names are decoded leniently, so a stray byte becomes one U+FFFD: three bytes once
// written again, but never more than one character per byte read.
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
    qsizetype characters = 0;
    for (const QString &name : *names) {
        characters += name.size();
        wire += QByteArray(1, '\x07') + name.toUtf8() + QByteArray(1, '\0') + QByteArray(8, '\x01');
    }
    if (characters > bytes.size() || tw::A2SWire::parsePlayers(wire) != names)
        std::abort();
    return 0;
}
