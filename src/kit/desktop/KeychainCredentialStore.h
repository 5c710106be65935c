#pragma once

#include "kit/base/CredentialStore.h"

#include <QObject>

#include <chrono>
#include <deque>
#include <memory>

namespace tw {

// Secrets in the desktop's credential store (the Secret Service on Linux, through QtKeychain).
// The store can block on a prompt for as long as the user ignores it, so requests run one at a
// time, in order, and every caller gets an answer within the time limit: a request stuck behind a
// blocked one times out in its turn instead of hanging a poll.
class KeychainCredentialStore : public QObject, public CredentialStore
{
    Q_OBJECT
public:
    static constexpr auto productionService = "dev.ostrel.tidewatch";

    explicit KeychainCredentialStore(QString service = QString::fromLatin1(productionService),
                                     std::chrono::milliseconds limit = std::chrono::seconds(60),
                                     QObject *parent = nullptr);
    ~KeychainCredentialStore() override;

    QCoro::Task<std::optional<QString>> read(QString name) override;
    QCoro::Task<> write(QString name, QString value) override;
    QCoro::Task<> remove(QString name) override;

    struct Request;

private:
    QCoro::Task<std::shared_ptr<Request>> submit(std::shared_ptr<Request> request);
    void startNext();

    QString m_service;
    std::chrono::milliseconds m_limit;
    std::deque<std::shared_ptr<Request>> m_queue;
    bool m_running = false;
};

} // namespace tw
