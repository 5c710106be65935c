#include "KeychainCredentialStore.h"

#include "kit/base/CredentialError.h"
#include "kit/base/Wakeup.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QPointer>
#include <qt6keychain/keychain.h>

namespace tw {

namespace {

// libsecret answers a read of a locked item with nothing at all when it cannot show its unlock
// prompt, and a delete of one with a quiet no-op. The Secret Service itself still lists the item
// among its locked ones, which tells "locked" from "never stored".
QCoro::Task<bool> lockedItemExists(QString service, QString name, std::chrono::milliseconds limit)
{
    using Attributes = QMap<QString, QString>;
    static const QMetaType registered = qDBusRegisterMetaType<Attributes>();
    Q_UNUSED(registered);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        co_return false;
    QDBusMessage search = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.secrets"),
                                                         QStringLiteral("/org/freedesktop/secrets"),
                                                         QStringLiteral("org.freedesktop.Secret.Service"),
                                                         QStringLiteral("SearchItems"));
    // The attributes QtKeychain stores its items under.
    search << QVariant::fromValue(Attributes{{QStringLiteral("server"), service}, {QStringLiteral("user"), name}});
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(search, int(limit.count())));
    std::unique_ptr<QDBusPendingCallWatcher, void (*)(QDBusPendingCallWatcher *)> owner(
        watcher,
        [](QDBusPendingCallWatcher *w) { w->deleteLater(); });
    Wakeup wakeup(limit);
    wakeup.on(watcher, &QDBusPendingCallWatcher::finished, 0);
    if (!watcher->isFinished() && co_await wakeup == Wakeup::Timeout)
        co_return false;
    const QDBusMessage reply = watcher->reply();
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() < 2)
        co_return false;
    const auto locked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().at(1));
    co_return !locked.isEmpty();
}

// The longest the locked-item question may take; it only refines an answer already given.
constexpr std::chrono::milliseconds lockCheckLimit(5000);

} // namespace

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
    // Copied before the wait: the store may be gone when it ends.
    const QString service = m_service;
    const auto lockCheck = std::min(m_limit, lockCheckLimit);
    request = co_await submit(request);
    if (request->error == QKeychain::EntryNotFound) {
        if (co_await lockedItemExists(service, name, lockCheck))
            throw CredentialError::ofKind(CredentialError::Kind::Locked);
        co_return std::nullopt;
    }
    if (request->error != QKeychain::NoError)
        throw CredentialError::fromKeychain(int(request->error), request->errorText);
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
        throw CredentialError::fromKeychain(int(request->error), request->errorText);
}

QCoro::Task<> KeychainCredentialStore::remove(QString name)
{
    auto request = std::make_shared<Request>();
    request->operation = Request::Operation::Remove;
    request->name = name;
    const QString service = m_service;
    const auto lockCheck = std::min(m_limit, lockCheckLimit);
    request = co_await submit(request);
    if (request->error != QKeychain::NoError && request->error != QKeychain::EntryNotFound)
        throw CredentialError::fromKeychain(int(request->error), request->errorText);
    if (co_await lockedItemExists(service, name, lockCheck))
        throw CredentialError::ofKind(CredentialError::Kind::Locked);
}

} // namespace tw

#include "KeychainCredentialStore.moc"
