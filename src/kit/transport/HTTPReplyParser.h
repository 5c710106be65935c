#pragma once

#include "kit/transport/HTTPClient.h"

#include <QByteArray>
#include <QByteArrayView>

namespace tw {

// Reads one HTTP/1.x reply as it streams in: the status line and headers, then a body framed by
// Content-Length, by chunks, or by the end of the connection. Skips interim 1xx replies. Counts the
// body against its limit while it arrives, so an endless body stops there. Throws ProviderError with
// the user's text when the reply breaks the protocol or the limit.
class HTTPReplyParser
{
public:
    HTTPReplyParser(bool headRequest, qint64 maxBodyBytes);

    // Takes the next bytes; true once the reply is complete (later bytes are ignored).
    bool feed(QByteArrayView bytes);
    // The peer closed the connection: true when that ends the reply, false when it cut it short.
    bool closed();

    bool isComplete() const { return m_state == State::Done; }
    const HTTPResponse &response() const { return m_response; }
    QByteArray takeBody() { return std::move(m_body); }

    // A status line and headers longer than this are no reply a monitor should wait for.
    static constexpr qsizetype maxHeadBytes = 64 * 1024;
    static QString limitText(qint64 maxBodyBytes);

private:
    enum class State { Head, Fixed, ChunkSize, ChunkData, ChunkEnd, Trailers, UntilClose, Done };

    void parse();
    bool parseHead();
    void appendBody(QByteArrayView bytes);
    // Moves what it can of a fixed body or chunk from the buffer; true once none of it is left.
    bool takeRemaining();
    // One line without its CRLF (or bare LF), taken from the buffer; nothing while it is incomplete.
    std::optional<QByteArray> takeLine(qsizetype limit);

    bool m_headRequest;
    qint64 m_maxBodyBytes;
    State m_state = State::Head;
    QByteArray m_buffer;
    qint64 m_remaining = 0; // of a fixed body or the current chunk
    HTTPResponse m_response;
    QByteArray m_body;
};

} // namespace tw
