#include "kit/desktop/KeychainCredentialStore.h"

#include "kit/base/CredentialError.h"
#include "kit/desktop/SecretServiceStatus.h"
#include "kit/model/SourcesStore.h"
#include "support/Await.h"
#include "support/CliProcess.h"
#include "support/Files.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// Against the real Secret Service of the test session (gnome-keyring, unlocked), as the store and
// the settings window's keyring state read it.
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

    void keyringState()
    {
        QCOMPARE(await(SecretServiceStatus().read()), SecretServiceStatus::State::Unlocked);
        QCOMPARE(await(SecretServiceStatus(QDBusConnection(u"not-connected"_s)).read()),
                 SecretServiceStatus::State::Missing);
    }

    // A keyring that cannot be used is told in words. Each row runs the command line in a session
    // of its own (libsecret keeps the first bus it meets for the life of a process): a bus with no
    // Secret Service, no bus at all, and a keyring that is locked with no prompt to unlock it.
    void unusableKeyringIsToldInWords_data()
    {
        QTest::addColumn<QString>("session");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("expected");
        const QString noService = u"no Secret Service is running — install gnome-keyring or KWallet"_s;
        const QString locked = u"the keyring is locked — unlock it (for example in Passwords and Keys) and try again"_s;
        QTest::newRow("no Secret Service, store")
            << u"noService"_s << QStringList{u"secret"_s, u"set"_s, u"K"_s} << noService;
        QTest::newRow("no session bus") << u"noBus"_s << QStringList{u"secret"_s, u"set"_s, u"K"_s}
                                        << u"no D-Bus session bus, so no keyring can be reached"_s;
        QTest::newRow("locked, store") << u"locked"_s << QStringList{u"secret"_s, u"set"_s, u"K2"_s} << locked;
        QTest::newRow("locked, delete") << u"locked"_s << QStringList{u"secret"_s, u"delete"_s, u"K"_s} << locked;
        QTest::newRow("locked, read by a poll")
            << u"locked"_s << QStringList{u"check"_s, u"--sources"_s, u"SOURCES"_s} << locked;
    }
    void unusableKeyringIsToldInWords()
    {
        QFETCH(QString, session);
        QFETCH(QStringList, arguments);
        QFETCH(QString, expected);
        QTemporaryDir home;
        const QString sources = SourcesStore::sourcesPath(home.path());
        SourcesStore::save({BeszelConfig(QUuid::createUuid(), u"Hub"_s, u"http://127.0.0.1:9"_s, u"K"_s)}, home.path());
        arguments.replaceInStrings(u"SOURCES"_s, sources);

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY"})
            environment.remove(QString::fromLatin1(name));
        environment.insert(u"HOME"_s, home.path());
        environment.insert(u"XDG_DATA_HOME"_s, home.filePath(u"data"_s));
        environment.insert(u"XDG_CONFIG_HOME"_s, home.filePath(u"config"_s));
        environment.insert(u"XDG_RUNTIME_DIR"_s, home.path());
        const QString config = writeBusConfig(home.path());
        const QString lockedKeyring = uR"(
            printf pw | gnome-keyring-daemon --unlock --components=secrets >/dev/null 2>&1
            # The daemon detaches before it owns its name on the bus.
            for i in $(seq 100); do
                dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus /org/freedesktop/DBus \
                    org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets | grep -q true && break
                sleep 0.05
            done
            printf old | secret-tool store --label=t server dev.ostrel.tidewatch user K type plaintext || exit 90
            dbus-send --session --print-reply --dest=org.freedesktop.secrets /org/freedesktop/secrets \
                org.freedesktop.Secret.Service.Lock array:objpath:/org/freedesktop/secrets/collection/login \
                >/dev/null || exit 91
            KEYRING=$(dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus /org/freedesktop/DBus \
                org.freedesktop.DBus.GetConnectionUnixProcessID string:org.freedesktop.secrets | awk '{print $2}')
            "$@"; rc=$?
            kill $KEYRING
            exit $rc)"_s;
        QStringList command;
        if (session == u"noBus"_s)
            command = QStringList{cliPath()} + arguments;
        else
            command = QStringList{u"dbus-run-session"_s,
                                  u"--config-file=%1"_s.arg(config),
                                  u"--"_s,
                                  u"sh"_s,
                                  u"-c"_s,
                                  session == u"locked"_s ? lockedKeyring : u"\"$@\""_s,
                                  u"sh"_s,
                                  cliPath()}
                + arguments;
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(command.takeFirst(), command);
        process.write("a-secret\n");
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(30'000));
        const QString said = QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
        QVERIFY2(process.exitCode() != 0 && process.exitCode() < 90, qPrintable(said));
        QVERIFY2(said.contains(u"credential unavailable: "_s + expected), qPrintable(said));
        QVERIFY2(!said.contains(u"Keychain error"_s), qPrintable(said));
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
        const auto failure = [](KeychainCredentialStore &s, QString name, QString &text) -> QCoro::Task<> {
            try {
                co_await s.read(name);
            } catch (const CredentialError &error) {
                text = error.description();
            }
        };
        auto firstTask = failure(store, u"blocked-1"_s, first);
        auto secondTask = failure(store, u"blocked-2"_s, second);
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
