#include "HTTPClient.h"

namespace tw {

QByteArray HTTPResponse::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

} // namespace tw
