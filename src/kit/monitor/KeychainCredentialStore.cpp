#include "KeychainCredentialStore.h"

#include "kit/monitor/CredentialError.h"
#include "kit/transport/Wakeup.h"

#include <QPointer>
#include <qt6keychain/keychain.h>

namespace tw {

// One queued job and, once it ran, its outcome. Shared between the queue and the waiting caller, so
// a caller that gave up leaves nothing dangling.
struct KeychainCredentialStore::Request : QObject
{
    Q_OBJECT
public:
    enum class Operation { Read, Write, Remove };
    Operation operation = Operation::Read;
    QString name;
    QString value;
    QKeychain::Error error = QKeychain::NoError;
    QString errorText;
    QString result;
    bool done = false;

Q_SIGNALS:
    void finished();
};

KeychainCredentialStore::KeychainCredentialStore(QString service, std::chrono::milliseconds limit, QObject *parent)
    : QObject(parent)
    , m_service(std::move(service))
    , m_limit(limit)
{ }

KeychainCredentialStore::~KeychainCredentialStore() = default;

QCoro::Task<std::shared_ptr<KeychainCredentialStore::Request>>
KeychainCredentialStore::submit(std::shared_ptr<Request> request)
{
    m_queue.push_back(request);
    startNext();
    Wakeup wakeup(m_limit);
    wakeup.on(request.get(), &Request::finished, 0);
    if (!request->done && co_await wakeup == Wakeup::Timeout)
        throw CredentialError::timedOut();
    co_return request;
}

void KeychainCredentialStore::startNext()
{
    if (m_running || m_queue.empty())
        return;
    std::shared_ptr<Request> request = m_queue.front();
    m_queue.pop_front();
    m_running = true;

    QKeychain::Job *job = nullptr;
    switch (request->operation) {
    case Request::Operation::Read:
        job = new QKeychain::ReadPasswordJob(m_service);
        break;
    case Request::Operation::Write: {
        auto *write = new QKeychain::WritePasswordJob(m_service);
        write->setTextData(request->value);
        job = write;
        break;
    }
    case Request::Operation::Remove:
        job = new QKeychain::DeletePasswordJob(m_service);
        break;
    }
    job->setKey(request->name);
    job->setAutoDelete(true);
    QPointer<KeychainCredentialStore> self(this);
    connect(job, &QKeychain::Job::finished, job, [self, request](QKeychain::Job *finished) {
        request->error = finished->error();
        request->errorText = finished->errorString();
        if (auto *read = qobject_cast<QKeychain::ReadPasswordJob *>(finished))
            request->result = read->textData();
        request->done = true;
        Q_EMIT request->finished();
        if (self) {
            self->m_running = false;
            self->startNext();
        }
    });
    job->start();
}

QCoro::Task<std::optional<QString>> KeychainCredentialStore::read(QString name)
{
    auto request = std::make_shared<Request>();
    request->operation = Request::Operation::Read;
    request->name = name;
    request = co_await submit(request);
    if (request->error == QKeychain::EntryNotFound)
        co_return std::nullopt;
    if (request->error != QKeychain::NoError)
        throw CredentialError::unexpectedStatus(int(request->error));
    co_return request->result;
}

QCoro::Task<> KeychainCredentialStore::write(QString name, QString value)
{
    auto request = std::make_shared<Request>();
    request->operation = Request::Operation::Write;
    request->name = name;
    request->value = value;
    request = co_await submit(request);
    if (request->error != QKeychain::NoError)
        throw CredentialError::unexpectedStatus(int(request->error));
}

QCoro::Task<> KeychainCredentialStore::remove(QString name)
{
    auto request = std::make_shared<Request>();
    request->operation = Request::Operation::Remove;
    request->name = name;
    request = co_await submit(request);
    if (request->error != QKeychain::NoError && request->error != QKeychain::EntryNotFound)
        throw CredentialError::unexpectedStatus(int(request->error));
}

} // namespace tw

#include "KeychainCredentialStore.moc"
