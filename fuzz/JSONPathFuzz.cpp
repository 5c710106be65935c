// Feeds arbitrary bytes to the path evaluator: the first line is the path, the rest the reply.
// It must never crash, and a path that finds text must find the same text again.
#include "kit/providers/JSONPathEvaluator.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const qsizetype newline = bytes.indexOf('\n');
    const QString path = QString::fromUtf8(newline < 0 ? bytes : bytes.left(newline));
    const QByteArray body = newline < 0 ? QByteArray() : bytes.mid(newline + 1);
    if (tw::JSONPathEvaluator::evaluate(path, body) != tw::JSONPathEvaluator::evaluate(path, body))
        std::abort();
    return 0;
}
