#pragma once

#include <QList>
#include <QString>

#include <optional>

// What the source form needs to know about each game it offers: the picker's rows and sections,
// the port a new source starts with, and which secret (if any) the game's query engine takes.
namespace tw::GameChoices {

enum class CredentialUse { None, Optional, Required };

struct Game
{
    QString id;
    QString displayName;
    QString engine; // "minecraftSLP", "a2s", "bedrockPing", "palworldREST", "fivemHTTP", "tshockREST"
    qint64 defaultPort = 0;
    std::optional<QString> setupNote;

    CredentialUse credentialUse() const;
    bool usesQueryPort() const;
    bool usesWebAPI() const;
    QString sectionTitle() const;
    bool operator==(const Game &) const = default;
};

// One group of the picker.
struct Section
{
    QString title;
    QList<Game> games;
    bool operator==(const Section &) const = default;
};

// Every game, in the picker's order.
const QList<Game> &all();
inline const QString defaultGameID = QStringLiteral("minecraft-java");
// Case-sensitive, exact.
std::optional<Game> find(const QString &id);
// The rows whose name or id contains `query` (trimmed, case-insensitive), plus the selected game
// whatever was typed, so the picker never loses its selection; grouped by section in order of
// first appearance.
QList<Section> sections(const QString &query, const QString &selectedID);

} // namespace tw::GameChoices
