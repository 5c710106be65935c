// Feeds arbitrary bytes to the stored widget layout: a blob that does not read must give nothing,
// never a crash, and one that reads must come back the same after a write.
#include "app/WidgetLayout.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const std::optional<tw::WidgetLayout> layout = tw::WidgetLayout::fromJson(bytes);
    if (layout && tw::WidgetLayout::fromJson(layout->toJson()) != layout)
        std::abort();
    return 0;
}
