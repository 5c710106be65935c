#include "HTTPClient.h"

#include "kit/base/ProviderError.h"

namespace tw {

QByteArray HTTPResponse::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

int requireHTTPSuccess(const HTTPResponse &response)
{
    if (response.statusCode >= 200 && response.statusCode <= 299)
        return response.statusCode;
    throw ProviderError::upstream(QStringLiteral("HTTP %1").arg(response.statusCode));
}

} // namespace tw
