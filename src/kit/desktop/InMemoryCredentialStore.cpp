#include "InMemoryCredentialStore.h"

namespace tw {

QCoro::Task<std::optional<QString>> InMemoryCredentialStore::read(QString name)
{
    const auto it = m_secrets.constFind(name);
    if (it == m_secrets.constEnd())
        co_return std::nullopt;
    co_return *it;
}

QCoro::Task<> InMemoryCredentialStore::write(QString name, QString value)
{
    m_secrets.insert(name, value);
    co_return;
}

QCoro::Task<> InMemoryCredentialStore::remove(QString name)
{
    m_secrets.remove(name);
    co_return;
}

} // namespace tw
