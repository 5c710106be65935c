// Feeds arbitrary bytes to the HTTP reply reader, whole and in pieces the first byte chooses: it
// ends in a reply or a ProviderError, never anything else, the body stays within its limit, and
// the split never changes the result.
#include "kit/base/ProviderError.h"
#include "kit/transport/HTTPReplyParser.h"

#include <cstdint>
#include <cstdlib>

namespace {

struct Result
{
    bool failed = false;
    bool complete = false;
    int status = 0;
    QByteArray body;
    bool operator==(const Result &) const = default;
};

constexpr qint64 limit = 4096;

Result read(QByteArrayView wire, qsizetype step)
{
    Result result;
    tw::HTTPReplyParser parser(false, limit);
    try {
        for (qsizetype at = 0; at < wire.size() && !result.complete; at += step)
            result.complete = parser.feed(wire.sliced(at, std::min(step, wire.size() - at)));
        if (!result.complete)
            result.complete = parser.closed();
    } catch (const tw::ProviderError &) {
        result.failed = true;
        return result;
    }
    result.status = parser.response().statusCode;
    result.body = parser.takeBody();
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const QByteArrayView wire(reinterpret_cast<const char *>(data) + 1, static_cast<qsizetype>(size - 1));
    const Result whole = read(wire, std::max<qsizetype>(wire.size(), 1));
    if (whole.body.size() > limit)
        std::abort();
    if (read(wire, 1 + data[0] % 16) != whole)
        std::abort();
    return 0;
}
