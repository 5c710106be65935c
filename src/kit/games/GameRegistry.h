#pragma once

#include "kit/games/GameDefinition.h"

namespace tw {

// One group of the game picker.
struct GameSection
{
    QString title;
    QList<GameDefinition> games;
    bool operator==(const GameSection &) const = default;
};

// The fixed catalogue of every game Tidewatch can watch, in picker order.
namespace GameRegistry {

inline constexpr auto defaultGameID = "minecraft-java";

const QList<GameDefinition> &all();
// The row of exactly this id (case matters), or nothing.
std::optional<GameDefinition> definition(const QString &id);
// The picker's sections for a search: rows whose name or id contains the term, case aside, plus
// the selected game whatever the term; sections in the order their first row appears.
QList<GameSection> gameSections(const QString &query, const QString &selectedID);

} // namespace GameRegistry

} // namespace tw
