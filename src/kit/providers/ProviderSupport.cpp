#include "ProviderSupport.h"

#include "kit/base/CredentialStore.h"
#include "kit/base/ProviderError.h"

namespace tw::ProviderSupport {

QCoro::Task<QString> requiredSecret(std::shared_ptr<CredentialStore> credentials, QString name)
{
    const std::optional<QString> secret = co_await credentials->read(name);
    if (!secret)
        throw ProviderError::missingCredential(name);
    co_return *secret;
}

QUrl buildURL(const QString &baseURL, const QString &path)
{
    QString base = baseURL;
    while (base.startsWith(u'/'))
        base.remove(0, 1);
    while (base.endsWith(u'/'))
        base.chop(1);
    const QUrl url(base + path, QUrl::StrictMode);
    if (base.isEmpty() || !url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        throw ProviderError::misconfigured(QStringLiteral("bad base URL: ") + baseURL);
    return url;
}

std::optional<QString> browsable(const QString &text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || (scheme != u"http" && scheme != u"https") || url.host().isEmpty())
        return std::nullopt;
    return url.toString(QUrl::FullyEncoded);
}

} // namespace tw::ProviderSupport
