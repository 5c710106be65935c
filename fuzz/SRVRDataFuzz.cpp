// Feeds arbitrary record data to the SRV reader: whatever it accepts names a port and a host that
// fit in the data, never a compressed or over-long label.
#include "kit/transport/SRVRData.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto record = tw::SRVRData::parse(bytes);
    if (!record)
        return 0;
    if (record->port == 0 || record->host.isEmpty() || record->host.toUtf8().size() > bytes.size() - 7)
        std::abort();
    // A name without dots inside its labels reads back the same from its own wire form.
    QByteArray wire = bytes.first(6);
    for (const QString &label : record->host.split(u'.')) {
        const QByteArray utf8 = label.toUtf8();
        if (utf8.isEmpty() || utf8.size() > 63)
            return 0;
        wire += char(utf8.size()) + utf8;
    }
    wire += '\0';
    if (tw::SRVRData::parse(wire) != record)
        std::abort();
    return 0;
}
