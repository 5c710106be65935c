#pragma once

#include "kit/base/CredentialStore.h"

#include <QHash>

namespace tw {

// Secrets held for the life of the object only: for tests, for trying a source before it is saved,
// and for the command line's credentials file.
class InMemoryCredentialStore : public CredentialStore
{
public:
    InMemoryCredentialStore() = default;
    explicit InMemoryCredentialStore(QHash<QString, QString> secrets)
        : m_secrets(std::move(secrets))
    { }

    QCoro::Task<std::optional<QString>> read(QString name) override;
    QCoro::Task<> write(QString name, QString value) override;
    QCoro::Task<> remove(QString name) override;

private:
    QHash<QString, QString> m_secrets;
};

} // namespace tw
