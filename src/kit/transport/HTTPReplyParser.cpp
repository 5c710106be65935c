#include "HTTPReplyParser.h"

#include "kit/base/ProviderError.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

ProviderError broken()
{
    return ProviderError::upstream(u"not a valid HTTP reply"_s);
}

} // namespace

HTTPReplyParser::HTTPReplyParser(bool headRequest, qint64 maxBodyBytes)
    : m_headRequest(headRequest)
    , m_maxBodyBytes(maxBodyBytes)
{ }

QString HTTPReplyParser::limitText(qint64 maxBodyBytes)
{
    return u"response exceeded %1-byte limit"_s.arg(maxBodyBytes);
}

bool HTTPReplyParser::feed(QByteArrayView bytes)
{
    if (m_state == State::Done)
        return true;
    if (m_state == State::UntilClose) {
        appendBody(bytes);
        return false;
    }
    m_buffer.append(bytes);
    parse();
    return m_state == State::Done;
}

bool HTTPReplyParser::closed()
{
    if (m_state == State::UntilClose)
        m_state = State::Done;
    return m_state == State::Done;
}

std::optional<QByteArray> HTTPReplyParser::takeLine(qsizetype limit)
{
    const qsizetype end = m_buffer.indexOf('\n');
    // Too long whether or not its end has arrived, so that where a reply is split never matters.
    if (end > limit || (end < 0 && m_buffer.size() > limit))
        throw broken();
    if (end < 0)
        return std::nullopt;
    QByteArray line = m_buffer.left(end);
    m_buffer.remove(0, end + 1);
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

bool HTTPReplyParser::takeRemaining()
{
    const qsizetype take = qsizetype(std::min<qint64>(m_remaining, m_buffer.size()));
    appendBody(QByteArrayView(m_buffer).first(take));
    m_buffer.remove(0, take);
    m_remaining -= take;
    return m_remaining == 0;
}

void HTTPReplyParser::appendBody(QByteArrayView bytes)
{
    if (m_body.size() + bytes.size() > m_maxBodyBytes)
        throw ProviderError::upstream(limitText(m_maxBodyBytes));
    m_body.append(bytes);
}

bool HTTPReplyParser::parseHead()
{
    // Decided on the first five bytes, so that where a reply is split never matters.
    if (!QByteArrayView(m_buffer)
             .first(std::min<qsizetype>(5, m_buffer.size()))
             .startsWith(QByteArrayView("HTTP/").first(std::min<qsizetype>(5, m_buffer.size()))))
        throw broken();
    const qsizetype end = m_buffer.indexOf("\r\n\r\n");
    const qsizetype bareEnd = m_buffer.indexOf("\n\n");
    const qsizetype stop = end >= 0 && (bareEnd < 0 || end < bareEnd) ? end : bareEnd;
    if (stop < 0) {
        if (m_buffer.size() > maxHeadBytes)
            throw ProviderError::upstream(u"response headers exceeded %1 bytes"_s.arg(maxHeadBytes));
        return false;
    }
    const QByteArray head = m_buffer.left(stop);
    m_buffer.remove(0, stop + (stop == end ? 4 : 2));
    const QList<QByteArray> lines = head.split('\n');
    // "HTTP/1.1 200 OK"
    const QByteArray statusLine = lines.first().trimmed();
    const QList<QByteArray> parts = statusLine.split(' ');
    bool ok = false;
    const int status = parts.size() >= 2 && statusLine.startsWith("HTTP/1.") ? parts[1].toInt(&ok) : 0;
    if (!ok || parts[1].size() != 3 || status < 100)
        throw broken();
    HTTPResponse response;
    response.statusCode = status;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines[i].endsWith('\r') ? lines[i].chopped(1) : lines[i];
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            throw broken();
        response.headers.append({line.left(colon).trimmed(), line.mid(colon + 1).trimmed()});
    }
    if (status < 200)
        return true; // an interim reply: the real one follows
    m_response = std::move(response);
    const QByteArray transfer = m_response.header("Transfer-Encoding").toLower();
    const QByteArray length = m_response.header("Content-Length");
    if (m_headRequest || status == 204 || status == 304) {
        m_state = State::Done;
    } else if (transfer.contains("chunked")) {
        m_state = State::ChunkSize;
    } else if (!length.isEmpty()) {
        m_remaining = length.trimmed().toLongLong(&ok);
        if (!ok || m_remaining < 0)
            throw broken();
        if (m_remaining > m_maxBodyBytes)
            throw ProviderError::upstream(limitText(m_maxBodyBytes));
        m_state = m_remaining == 0 ? State::Done : State::Fixed;
    } else {
        m_state = State::UntilClose;
    }
    return true;
}

void HTTPReplyParser::parse()
{
    for (;;) {
        switch (m_state) {
        case State::Head:
            if (!parseHead())
                return;
            break;
        case State::Fixed:
            if (!takeRemaining())
                return;
            m_state = State::Done;
            break;
        case State::ChunkSize: {
            const auto line = takeLine(1024);
            if (!line)
                return;
            const QByteArray size = line->split(';').first().trimmed();
            bool ok = false;
            m_remaining = size.toLongLong(&ok, 16);
            if (!ok || m_remaining < 0 || size.size() > 15)
                throw broken();
            if (m_body.size() + m_remaining > m_maxBodyBytes)
                throw ProviderError::upstream(limitText(m_maxBodyBytes));
            m_state = m_remaining == 0 ? State::Trailers : State::ChunkData;
            break;
        }
        case State::ChunkData:
            if (!takeRemaining())
                return;
            m_state = State::ChunkEnd;
            break;
        case State::ChunkEnd: {
            const auto line = takeLine(2);
            if (!line)
                return;
            if (!line->isEmpty())
                throw broken();
            m_state = State::ChunkSize;
            break;
        }
        case State::Trailers: {
            const auto line = takeLine(maxHeadBytes);
            if (!line)
                return;
            if (line->isEmpty())
                m_state = State::Done;
            break;
        }
        case State::UntilClose:
            appendBody(m_buffer);
            m_buffer.clear();
            return;
        case State::Done:
            return;
        }
    }
}

} // namespace tw
