#pragma once

#include <QCoroTask>
#include <QString>

#include <optional>

namespace tw {

// Where secrets live: a configuration holds only a secret's name. Every operation may throw
// CredentialError; reading a name that holds nothing yields nothing rather than failing.
class CredentialStore
{
public:
    virtual ~CredentialStore() = default;

    virtual QCoro::Task<std::optional<QString>> read(QString name) = 0;
    virtual QCoro::Task<> write(QString name, QString value) = 0;
    // Removing a name that holds nothing succeeds.
    virtual QCoro::Task<> remove(QString name) = 0;
};

} // namespace tw
