#pragma once

#include <QCoroTask>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

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

// A web address a service reported, if a browser can open it: http or https with a host. Uptime
// Kuma reports "https://" alone, or "null", for monitors that have none.
std::optional<QString> browsable(const QString &text);

} // namespace ProviderSupport

} // namespace tw
