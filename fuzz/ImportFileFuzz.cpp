// Feeds arbitrary bytes to the import step: whatever it accepts must come out with fresh, unique
// ids and secret names that no source of the file used, so an import can never reach a secret it
// was not given.
#include "kit/model/DecodeError.h"
#include "kit/model/SourcesStore.h"

#include <QSet>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    QList<tw::AnySourceConfig> imported;
    try {
        imported = tw::SourcesStore::importBytes(bytes);
    } catch (const tw::DecodeError &) {
        return 0;
    }
    const QList<tw::AnySourceConfig> original = tw::SourcesStore::decode(bytes);
    QSet<QUuid> originalIds;
    QSet<QString> originalSecrets;
    for (const auto &source : original) {
        originalIds.insert(source.id());
        for (const QString &name : source.credentialNames())
            originalSecrets.insert(name);
    }
    if (imported.size() != originalIds.size())
        std::abort();
    QSet<QUuid> seen;
    for (const auto &source : imported) {
        if (originalIds.contains(source.id()) || seen.contains(source.id()))
            std::abort();
        seen.insert(source.id());
        for (const QString &name : source.credentialNames()) {
            if (originalSecrets.contains(name))
                std::abort();
        }
    }
    return 0;
}
