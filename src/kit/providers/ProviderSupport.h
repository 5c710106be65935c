#pragma once

#include <QCoroTask>
#include <QString>
#include <QUrl>

#include <memory>

namespace tw {

class CredentialStore;

// Small steps the service providers share.
namespace ProviderSupport {

// The secret stored under `name`; ProviderError::missingCredential(name) when nothing is stored.
// A failing store fails with its own error.
QCoro::Task<QString> requiredSecret(std::shared_ptr<CredentialStore> credentials, QString name);

// `baseURL` with every "/" cut from both ends, then `path`, as a URL; a text that does not parse
// fails with "bad base URL: " and the configured text.
QUrl buildURL(const QString &baseURL, const QString &path);

} // namespace ProviderSupport

} // namespace tw
