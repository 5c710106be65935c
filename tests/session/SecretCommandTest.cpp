#include "kit/base/CredentialError.h"
#include "kit/desktop/KeychainCredentialStore.h"
#include "kit/desktop/SecretServiceStatus.h"
#include "kit/model/SourcesStore.h"
#include "support/Await.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>
#include <vector>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// The command at a real pseudo-terminal, as a person at a shell runs it: everything the terminal
// shows (echo included) is collected from the master side.
struct TerminalRun
{
    QByteArray screen;
    int status = -1; // as waitpid gives it
    bool echoAfter = false; // the terminal echoes again once the command is gone
};

bool readUntil(int master, QByteArray &screen, const QByteArray &wanted, QDeadlineTimer deadline)
{
    while (!screen.contains(wanted)) {
        pollfd fd{master, POLLIN, 0};
        if (::poll(&fd, 1, int(std::max<qint64>(0, deadline.remainingTime()))) <= 0)
            return false;
        char buffer[512];
        const ssize_t n = ::read(master, buffer, sizeof buffer);
        if (n <= 0)
            return false;
        screen.append(buffer, n);
    }
    return true;
}

TerminalRun runAtTerminal(const QStringList &arguments, const QByteArray &typed)
{
    TerminalRun run;
    int master = -1;
    int slave = -1;
    if (::openpty(&master, &slave, nullptr, nullptr, nullptr) != 0)
        return run;
    QList<QByteArray> storage{cliPath().toLocal8Bit()};
    for (const QString &argument : arguments)
        storage.append(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &part : storage)
        argv.push_back(part.data());
    argv.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(master);
        // A session of its own, with the terminal as its controlling one and its standard streams.
        ::login_tty(slave);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    // The test keeps the slave side open, so the terminal's settings can be read after the command.
    const QDeadlineTimer deadline(20s);
    if (readUntil(master, run.screen, "Secret: ", deadline)) {
        (void)!::write(master, typed.constData(), size_t(typed.size()));
        // Whatever the command still prints, up to its end.
        for (;;) {
            pollfd fd{master, POLLIN, 0};
            if (::poll(&fd, 1, 100) > 0) {
                char buffer[512];
                const ssize_t n = ::read(master, buffer, sizeof buffer);
                if (n > 0)
                    run.screen.append(buffer, n);
                continue;
            }
            if (::waitpid(pid, &run.status, WNOHANG) == pid || deadline.hasExpired())
                break;
        }
    }
    if (run.status == -1) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &run.status, 0);
    }
    termios after{};
    run.echoAfter = ::tcgetattr(slave, &after) == 0 && (after.c_lflag & ECHO);
    ::close(master);
    ::close(slave);
    return run;
}

} // namespace

// The commands that keep secrets and the application's own store, against the real Secret Service
// of the test session (gnome-keyring, unlocked). A secret typed at a terminal never shows on it,
// whichever command asks for it, and the terminal echoes again afterwards, even when the command is
// interrupted at the prompt.
class SecretCommandTest : public QObject
{
    Q_OBJECT

    QString m_name = u"kuma-cli-%1"_s.arg(QCoreApplication::applicationPid());
    KeychainCredentialStore m_store{QString::fromLatin1(KeychainCredentialStore::productionService), 10s};

    QTemporaryDir m_dir;

    std::optional<QString> stored(const QString &name) { return await(m_store.read(name)); }
    // Where the command run at the terminal put the secret: under its own name, or under the name
    // the source `add` saved refers to.
    std::optional<QString> storedBy(const QString &command)
    {
        if (command == u"secret"_s)
            return stored(m_name);
        const QList<AnySourceConfig> saved = SourcesStore::load(m_dir.path());
        if (saved.size() != 1 || saved.first().credentialNames().size() != 1)
            return std::nullopt;
        const QString name = saved.first().credentialNames().first();
        const std::optional<QString> secret = stored(name);
        await(m_store.remove(name));
        return secret;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        QVERIFY2(bus && bus->isServiceRegistered(u"org.freedesktop.secrets"_s),
                 "needs the Secret Service of scripts/with-session");
    }

    void setReadsStandardInput_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("expected"); // what the store holds afterwards
        QTest::newRow("line break dropped") << QByteArray("s3cret pass\n") << 0 << u"s3cret pass"_s;
        QTest::newRow("overwrites, CRLF dropped") << QByteArray("tökën ✓\r\n") << 0 << u"tökën ✓"_s;
        QTest::newRow("empty input keeps the old secret") << QByteArray("\n") << 65 << u"tökën ✓"_s;
        QTest::newRow("no UTF-8 keeps the old secret") << QByteArray("\xff\xfe\n") << 65 << u"tökën ✓"_s;
    }
    void setReadsStandardInput()
    {
        QFETCH(int, exitCode);
        const CliRun run = runCli({u"secret"_s, u"set"_s, m_name}, TW_DATA(QByteArray, input));
        QVERIFY2(run.exitCode == exitCode, run.err.constData());
        QCOMPARE(stored(m_name), std::optional<QString>(TW_DATA(QString, expected)));
        QVERIFY(!run.out.contains("s3cret") && !run.err.contains("s3cret")); // never echoed
    }

    void deleteRemovesAndToleratesNothing()
    {
        for (int i = 0; i < 2; ++i) {
            const CliRun run = runCli({u"secret"_s, u"delete"_s, m_name});
            QVERIFY2(run.exitCode == 0, run.err.constData());
            QCOMPARE(stored(m_name), std::nullopt);
        }
    }

    void secretsNeverComeFromTheCommandLine()
    {
        const CliRun run = runCli({u"secret"_s, u"set"_s, m_name, u"hunter2"_s}, "typed\n");
        QCOMPARE(run.exitCode, 64);
        QCOMPARE(stored(m_name), std::nullopt);
    }

    // `import` deletes the secrets only the old sources named, and none when the new sources.json
    // cannot be written (the other ways a save fails are TransferCommandTest's).
    void importDeletesTheOldSecretsOnlyOnceSaved()
    {
        QTemporaryDir dir;
        const QUuid id = QUuid::createUuid();
        GameServerConfig palworld(id, u"Palworld"_s, u"palworld"_s, u"127.0.0.1"_s, 8212);
        palworld.credentialRef = AnySourceConfig::credentialName(AnySourceConfig::Kind::GameServer, id);
        const QString name = *palworld.credentialRef;
        const QList<AnySourceConfig> sources{palworld,
                                             TCPPortConfig(QUuid::createUuid(), u"Router"_s, u"192.0.2.1"_s, 22)};
        SourcesStore::save(sources, dir.path());
        const QString exported = dir.filePath(u"exported.json"_s);
        put(exported, SourcesStore::encode(sources.mid(1)));
        await(m_store.write(name, u"admin password"_s));
        const QStringList arguments{cliPath(), u"import"_s, exported, u"--sources"_s, dir.filePath(u"sources.json"_s)};

        QVERIFY(QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::ExeOwner));
        QProcess process;
        // Root passes by permission bits unless it gives up the right to.
        if (::geteuid() == 0)
            process.start(u"setpriv"_s,
                          QStringList{u"--bounding-set=-dac_override,-dac_read_search,-fowner"_s} + arguments);
        else
            process.start(arguments.first(), arguments.mid(1));
        QVERIFY(process.waitForFinished(150000));
        QVERIFY(QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        const QByteArray err = process.readAllStandardError();
        QCOMPARE(process.exitCode(), 73);
        QVERIFY2(err.trimmed().endsWith("Could not save sources.json: Permission denied; nothing was changed"),
                 err.constData());
        QCOMPARE(stored(name), std::optional<QString>(u"admin password"_s));
        QCOMPARE(SourcesStore::load(dir.path()), sources);

        const CliRun run = runCli(arguments.mid(1));
        QVERIFY2(run.exitCode == 0, run.err.constData());
        QCOMPARE(stored(name), std::nullopt);
        QCOMPARE(SourcesStore::load(dir.path()).size(), 1);
    }

    void typedSecretIsNotEchoed_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("typed");
        QTest::addColumn<bool>("stores"); // false: interrupted at the prompt
        QTest::newRow("secret set") << u"secret"_s << QByteArray("hunter2-typed\r") << true;
        QTest::newRow("add, into the keyring") << u"add"_s << QByteArray("hub-token-typed\r") << true;
        QTest::newRow("secret set, Ctrl-C") << u"secret"_s << QByteArray("half-typed\x03") << false;
    }
    void typedSecretIsNotEchoed()
    {
        QFETCH(QString, command);
        QFETCH(QByteArray, typed);
        QFETCH(bool, stores);
        QFile::remove(m_dir.filePath(u"sources.json"_s));
        const QStringList arguments = command == u"secret"_s
            ? QStringList{u"secret"_s, u"set"_s, m_name}
            : QProcess::splitCommand(u"add beszel --name Hub --url beszel.lan:8090 --secret-stdin --sources %1"_s.arg(
                m_dir.filePath(u"sources.json"_s)));
        const QByteArray secret = typed.left(typed.size() - 1);

        const TerminalRun run = runAtTerminal(arguments, typed);
        QVERIFY2(run.screen.contains("Secret: "), run.screen.constData());
        QVERIFY2(!run.screen.contains(secret), run.screen.constData());
        QVERIFY2(!run.screen.contains(secret.left(4)), run.screen.constData());
        QVERIFY(run.echoAfter);
        if (stores) {
            QVERIFY2(WIFEXITED(run.status) && WEXITSTATUS(run.status) == 0, run.screen.constData());
            QCOMPARE(storedBy(command), std::optional<QString>(QString::fromUtf8(secret)));
        } else {
            QVERIFY2(WIFSIGNALED(run.status) && WTERMSIG(run.status) == SIGINT, run.screen.constData());
        }
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
        KeychainCredentialStore store(QString::fromLatin1(KeychainCredentialStore::productionService), 400ms);
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
        await(m_store.write(m_name, u"ok"_s));
        QCOMPARE(stored(m_name), std::optional<QString>(u"ok"_s));
    }

    void cleanupTestCase() { await(m_store.remove(m_name)); }
};

QTEST_GUILESS_MAIN(SecretCommandTest)
#include "SecretCommandTest.moc"
