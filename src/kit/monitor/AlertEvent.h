#pragma once

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace tw {

// A source or one of its widgets went down, or came back.
struct AlertEvent
{
    enum class Kind { Down, Recovered };

    QUuid sourceID;
    Kind kind = Kind::Down;
    QString title; // "NAS is unreachable", "Plex recovered"
    std::optional<QDateTime> downSince; // when the down alert fired

    bool operator==(const AlertEvent &) const = default;
};

QString toText(AlertEvent::Kind kind);

} // namespace tw
