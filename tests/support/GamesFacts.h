#pragma once

#include "kit/games/GameDefinition.h"

#include <QString>

namespace tw::test {

// One line per reading, so that a table row reads as what the user would see: "3/32 [a,b] v1".
inline QString gamesFacts(const GameFacts &facts)
{
    const auto count = [](std::optional<qint64> n) {
        return n ? QString::number(*n) : QStringLiteral("-");
    };
    return count(facts.playersCurrent) + u'/' + count(facts.playersMax) + QStringLiteral(" [")
        + facts.playerNames.join(u',') + QStringLiteral("] ") + facts.detail;
}

} // namespace tw::test
