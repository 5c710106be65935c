#include "SRVRData.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace tw::SRVRData {

namespace {

constexpr qsizetype maxLabel = 63;

std::optional<SRVRecord> record(quint16 port, const QStringList &labels)
{
    if (port == 0 || labels.isEmpty())
        return std::nullopt;
    return SRVRecord{labels.join(u'.'), port};
}

} // namespace

std::optional<SRVRecord> parse(const QByteArray &rdata)
{
    const qsizetype size = rdata.size();
    if (size < 7)
        return std::nullopt;
    const auto byte = [&rdata](qsizetype at) {
        return quint8(rdata.at(at));
    };
    const auto port = quint16(byte(4) << 8 | byte(5));
    if (port == 0)
        return std::nullopt;
    QStringList labels;
    qsizetype position = 6;
    while (position < size) {
        const qsizetype length = byte(position);
        if (length == 0)
            break;
        // 64 and above are the compression and extended forms, which this reader does not follow.
        if (length > maxLabel || position + length >= size)
            return std::nullopt;
        auto decode = QStringDecoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString label = decode(rdata.sliced(position + 1, length));
        if (decode.hasError())
            return std::nullopt;
        labels.append(label);
        position += 1 + length;
    }
    return record(port, labels);
}

std::optional<SRVRecord> accept(quint16 port, const QString &target)
{
    QString name = target;
    if (name.endsWith(u'.'))
        name.chop(1);
    const QStringList labels = name.isEmpty() ? QStringList() : name.split(u'.');
    for (const QString &label : labels) {
        if (label.isEmpty() || label.toUtf8().size() > maxLabel)
            return std::nullopt;
    }
    return record(port, labels);
}

} // namespace tw::SRVRData
