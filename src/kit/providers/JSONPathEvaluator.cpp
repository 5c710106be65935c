#include "JSONPathEvaluator.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <cmath>

namespace tw::JSONPathEvaluator {

namespace {

// Walks the reply's own text along the same path, for the few values whose written form says more
// than a double can hold. The reply is known to be valid JSON by the time this runs.
class RawWalker
{
public:
    explicit RawWalker(QByteArrayView json)
        : m_json(json)
    { }

    std::optional<QByteArrayView> find(const QStringList &pieces)
    {
        for (const QString &piece : pieces) {
            skipSpace();
            if (peek() == '{') {
                if (!enterMember(piece))
                    return std::nullopt;
            } else if (peek() == '[') {
                bool ok = false;
                const qlonglong index = piece.toLongLong(&ok, 10);
                if (!ok || index < 0 || !enterElement(index))
                    return std::nullopt;
            } else {
                return std::nullopt;
            }
        }
        skipSpace();
        const qsizetype start = m_at;
        if (!skipValue())
            return std::nullopt;
        return m_json.sliced(start, m_at - start);
    }

private:
    char peek() const { return m_at < m_json.size() ? m_json.at(m_at) : '\0'; }
    void skipSpace()
    {
        while (m_at < m_json.size() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r'))
            ++m_at;
    }

    // The member of that name; the last one, as the parser keeps when a key repeats.
    bool enterMember(const QString &key)
    {
        ++m_at; // {
        std::optional<qsizetype> found;
        for (;;) {
            skipSpace();
            if (peek() == '}')
                break;
            const std::optional<QString> name = readString();
            skipSpace();
            if (!name || peek() != ':')
                return false;
            ++m_at;
            skipSpace();
            if (*name == key)
                found = m_at;
            if (!skipValue())
                return false;
            skipSpace();
            if (peek() == ',')
                ++m_at;
        }
        if (!found)
            return false;
        m_at = *found;
        return true;
    }

    bool enterElement(qlonglong index)
    {
        ++m_at; // [
        for (qlonglong at = 0;; ++at) {
            skipSpace();
            if (peek() == ']')
                return false;
            if (at == index)
                return true;
            if (!skipValue())
                return false;
            skipSpace();
            if (peek() == ',')
                ++m_at;
        }
    }

    std::optional<QString> readString()
    {
        if (peek() != '"')
            return std::nullopt;
        ++m_at;
        QString text;
        qsizetype run = m_at;
        while (m_at < m_json.size()) {
            const char c = m_json.at(m_at);
            if (c == '"') {
                text += QString::fromUtf8(m_json.sliced(run, m_at - run));
                ++m_at;
                return text;
            }
            if (c != '\\') {
                ++m_at;
                continue;
            }
            text += QString::fromUtf8(m_json.sliced(run, m_at - run));
            const char escaped = m_at + 1 < m_json.size() ? m_json.at(m_at + 1) : '\0';
            m_at += 2;
            switch (escaped) {
            case 'b':
                text += u'\b';
                break;
            case 'f':
                text += u'\f';
                break;
            case 'n':
                text += u'\n';
                break;
            case 'r':
                text += u'\r';
                break;
            case 't':
                text += u'\t';
                break;
            case 'u': {
                bool ok = false;
                const ushort unit =
                    QByteArrayView(m_json.sliced(m_at, std::min<qsizetype>(4, m_json.size() - m_at))).toUShort(&ok, 16);
                if (!ok)
                    return std::nullopt;
                text += QChar(unit); // surrogate halves join up in the UTF-16 text
                m_at += 4;
                break;
            }
            default:
                text += QLatin1Char(escaped);
                break;
            }
            run = m_at;
        }
        return std::nullopt;
    }

    bool skipValue()
    {
        int depth = 0;
        do {
            skipSpace();
            const char c = peek();
            if (c == '"') {
                if (!readString())
                    return false;
            } else if (c == '{' || c == '[') {
                ++depth;
                ++m_at;
            } else if (c == '}' || c == ']') {
                --depth;
                ++m_at;
            } else if (c == ',' || c == ':') {
                if (depth == 0)
                    return false;
                ++m_at;
            } else if (c == '\0') {
                return false;
            } else {
                while (m_at < m_json.size() && !QByteArrayView(",:]} \t\n\r").contains(peek()))
                    ++m_at;
            }
        } while (depth > 0);
        return true;
    }

    QByteArrayView m_json;
    qsizetype m_at = 0;
};

bool isIntegerLiteral(QByteArrayView text)
{
    const QByteArrayView digits = text.startsWith('-') ? text.sliced(1) : text;
    return !digits.isEmpty() && std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

std::optional<QString> evaluate(const QString &path, const QByteArray &data)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || document.isNull())
        return std::nullopt;
    const QStringList pieces = path.split(u'.', Qt::SkipEmptyParts);
    QJsonValue current = document.isObject() ? QJsonValue(document.object()) : QJsonValue(document.array());
    for (const QString &piece : pieces) {
        if (current.isObject() && current.toObject().contains(piece)) {
            current = current.toObject().value(piece);
        } else if (current.isArray()) {
            bool ok = false;
            const qlonglong index = piece.toLongLong(&ok, 10);
            const QJsonArray array = current.toArray();
            if (!ok || piece.trimmed() != piece || index < 0 || index >= array.size())
                return std::nullopt;
            current = array.at(qsizetype(index));
        } else {
            return std::nullopt;
        }
    }
    switch (current.type()) {
    case QJsonValue::String:
        return current.toString();
    case QJsonValue::Bool:
        return current.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Double: {
        const double value = current.toDouble();
        // Whole numbers print without a fraction or an exponent: 42, not 42.0 or 4.2e+01. Below 2^53
        // a double holds every one of them exactly.
        constexpr double exactUpTo = 9007199254740992.0;
        if (value == std::floor(value) && std::abs(value) < exactUpTo)
            return QString::number(qint64(value));
        // Beyond, an id or a byte count written as digits is shown as written, not as the nearest
        // double.
        if (value == std::floor(value)) {
            const std::optional<QByteArrayView> raw = RawWalker(data).find(pieces);
            if (raw && isIntegerLiteral(*raw))
                return QString::fromLatin1(*raw);
            // Written another way (1e20): its digits, up to where JavaScript too turns to exponents.
            if (std::abs(value) < 1e21)
                return QString::number(value, 'f', 0);
        }
        return QString::number(value, 'g', QLocale::FloatingPointShortest);
    }
    default:
        return std::nullopt;
    }
}

} // namespace tw::JSONPathEvaluator
