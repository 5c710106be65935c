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
    // What went down: the source's id, or the widget's key. A recovery carries its outage's key.
    QString key;
    // The body when it is not the usual "Unreachable for 2 minutes": a summary's list of names.
    std::optional<QString> detail;

    bool operator==(const AlertEvent &) const = default;
};

QString toText(AlertEvent::Kind kind);

} // namespace tw
