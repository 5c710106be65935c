#include "kit/monitor/KeychainCredentialStore.h"

#include "kit/monitor/CredentialError.h"
#include "support/Await.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QTest>

#include <csignal>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// Against the real Secret Service of the test session (gnome-keyring, unlocked).
class KeychainCredentialStoreTest : public QObject
{
    Q_OBJECT

    QString m_service = u"dev.ostrel.tidewatch.test-%1"_s.arg(QCoreApplication::applicationPid());

private Q_SLOTS:
    void initTestCase()
    {
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        QVERIFY2(bus && bus->isServiceRegistered(u"org.freedesktop.secrets"_s),
                 "needs the Secret Service of scripts/with-session");
    }

    void writeOverwriteReadDelete()
    {
        KeychainCredentialStore store(m_service, 10s);
        const QString name = u"kuma-round-trip"_s;
        QCOMPARE(await(store.read(name)), std::nullopt);
        await(store.write(name, u"first"_s));
        await(store.write(name, u"sëcond ✓"_s));
        QCOMPARE(await(store.read(name)), std::optional<QString>(u"sëcond ✓"_s));
        await(store.remove(name));
        QCOMPARE(await(store.read(name)), std::nullopt);
        await(store.remove(name)); // deleting nothing is no failure
    }

    void blockedKeyringTimesOutAndQueuedRequestsToo()
    {
        const uint keyring = QDBusConnection::sessionBus().interface()->servicePid(u"org.freedesktop.secrets"_s);
        QVERIFY(keyring > 0);
        KeychainCredentialStore store(m_service, 400ms);
        QVERIFY(::kill(pid_t(keyring), SIGSTOP) == 0);
        auto resume = qScopeGuard([&] { ::kill(pid_t(keyring), SIGCONT); });

        QElapsedTimer clock;
        clock.start();
        QString first, second;
        auto firstTask = [](KeychainCredentialStore &s, QString &text) -> QCoro::Task<> {
            try {
                co_await s.read(u"blocked-1"_s);
            } catch (const CredentialError &error) {
                text = error.description();
            }
        }(store, first);
        auto secondTask = [](KeychainCredentialStore &s, QString &text) -> QCoro::Task<> {
            try {
                co_await s.read(u"blocked-2"_s);
            } catch (const CredentialError &error) {
                text = error.description();
            }
        }(store, second);
        await(std::move(firstTask));
        await(std::move(secondTask));
        const QString expected =
            u"credential unavailable: keychain request timed out (a system prompt may be waiting for a response)"_s;
        QCOMPARE(first, expected);
        QCOMPARE(second, expected);
        QVERIFY(clock.elapsed() < 3000);

        // Once the keyring answers again the queue drains and the store works.
        resume.dismiss();
        ::kill(pid_t(keyring), SIGCONT);
        KeychainCredentialStore fresh(m_service, 10s);
        await(fresh.write(u"after"_s, u"ok"_s));
        QCOMPARE(await(fresh.read(u"after"_s)), std::optional<QString>(u"ok"_s));
        await(fresh.remove(u"after"_s));
    }
};

QTEST_GUILESS_MAIN(KeychainCredentialStoreTest)
#include "KeychainCredentialStoreTest.moc"
