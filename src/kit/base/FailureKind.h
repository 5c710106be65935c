#pragma once

#include <QString>

namespace tw {

// The ways an exchange with another machine fails that callers tell apart: a game probe moves on to
// its next port after a silent one but not after a name that does not resolve. Anything the
// network layers cannot put a name to is Other, with the error's own words as its detail.
enum class FailureKind {
    TimedOut,
    ConnectionRefused,
    HostNotFound,
    HostUnreachable,
    EmptyReply, // a datagram with nothing in it
    EndOfStream, // the peer closed the stream before the whole reply came
    Closed, // we closed the session ourselves
    ShuttingDown, // the client is going away with the application
    Other,
};

// The one table of the user's texts for these: "timed out", "connection refused", … The detail is
// read only for Other.
QString failureText(FailureKind kind, const QString &detail = {});

} // namespace tw
