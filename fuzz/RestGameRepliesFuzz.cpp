// Feeds arbitrary bodies to the Palworld, FiveM and TShock readers, through the same JSON step the
// engines use. Up to three bodies per input, split at NUL bytes. A reader may only refuse with
// "malformed reply", and only when none of its bodies was usable, or, for TShock, when the reply's
// own status is not 200; names are never empty.
#include "kit/base/ProviderError.h"
#include "kit/games/LooseJson.h"
#include "kit/games/RestGameParsers.h"

#include <cstdint>
#include <cstdlib>

using namespace tw;

namespace {

void checkNames(const GameFacts &facts)
{
    for (const QString &name : facts.playerNames) {
        if (name.isEmpty())
            std::abort();
    }
}

template<typename Parse>
void expectFactsOrMalformed(bool anyUsable, Parse parse)
{
    try {
        checkNames(parse());
        if (!anyUsable)
            std::abort();
    } catch (const ProviderError &error) {
        if (anyUsable || error.text() != QLatin1String("malformed reply"))
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const QList<QByteArray> parts = bytes.split('\0');
    const auto body = [&parts](int at) -> std::optional<QByteArray> {
        if (at >= parts.size() || parts.at(at).isEmpty())
            return std::nullopt;
        return parts.at(at);
    };
    const auto a = RestGames::objectReply(body(0));
    const auto b = RestGames::objectReply(body(1));
    const auto c = RestGames::objectReply(body(2));
    expectFactsOrMalformed(a || b || c, [&] { return RestGames::parsePalworld(a, b, c); });

    const auto players = RestGames::objectListReply(body(1));
    expectFactsOrMalformed(a || players, [&] {
        const GameFacts facts = RestGames::parseFiveM(a, players);
        // The count of a FiveM server is its list's length, names or not.
        if (players ? facts.playersCurrent != players->size() : facts.playersCurrent.has_value())
            std::abort();
        return facts;
    });
    const QJsonValue status = a ? a->value(QLatin1String("status")) : QJsonValue(QJsonValue::Undefined);
    if (!status.isUndefined() && !status.isNull() && LooseJson::intValue(status) != 200) {
        try {
            RestGames::parseTShock(a);
            std::abort();
        } catch (const ProviderError &) { }
        return 0;
    }
    expectFactsOrMalformed(a.has_value(), [&] { return RestGames::parseTShock(a); });
    return 0;
}
