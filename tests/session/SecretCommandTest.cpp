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
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/wait.h>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// The command at a real pseudo-terminal, as a person at a shell runs it: the secret is typed once
// the prompt shows. Prints the wait status, whether the terminal echoes once the command is gone
// (the slave side stays open for that), and then everything the terminal showed, echo included.
const char *const terminalScript = R"py(
import os, select, sys, termios, time
typed = sys.stdin.buffer.read()
master, slave = os.openpty()
pid = os.fork()
if pid == 0:
    os.close(master)
    os.login_tty(slave)
    os.execv(sys.argv[1], sys.argv[1:])
screen, status, deadline = b"", None, time.monotonic() + 20
while status is None and time.monotonic() < deadline:
    if select.select([master], [], [], 0.1)[0]:
        screen += os.read(master, 512)
        if typed and b"Secret: " in screen:
            os.write(master, typed)
            typed = b""
    elif not typed:
        done, code = os.waitpid(pid, os.WNOHANG)
        status = code if done else None
if status is None:
    os.kill(pid, 9)
    status = os.waitpid(pid, 0)[1]
echo = termios.tcgetattr(slave)[3] & termios.ECHO != 0
sys.stdout.buffer.write(b"%d %d\n" % (status, echo) + screen)
)py";

struct TerminalRun
{
    QByteArray screen;
    int status = -1; // as waitpid gives it
    bool echoAfter = false;
};

TerminalRun runAtTerminal(const QStringList &arguments, const QByteArray &typed)
{
    QProcess python;
    python.start(u"/usr/bin/python3"_s, QStringList{u"-c"_s, QString::fromUtf8(terminalScript), cliPath()} + arguments);
    python.write(typed);
    python.closeWriteChannel();
    python.waitForFinished(30000);
    const QByteArray out = python.readAllStandardOutput();
    const QList<QByteArray> head = out.left(out.indexOf('\n')).split(' ');
    return {out.mid(out.indexOf('\n') + 1), head.value(0, "-1").toInt(), head.value(1) == "1"};
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

    void secretCommand_data()
    {
        QTest::addColumn<QString>("arguments"); // the name goes after the first word
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("expected"); // what the store holds afterwards; null: nothing
        QTest::newRow("line break dropped") << u"set"_s << QByteArray("s3cret pass\n") << 0 << u"s3cret pass"_s;
        QTest::newRow("overwrites, CRLF dropped") << u"set"_s << QByteArray("tökën ✓\r\n") << 0 << u"tökën ✓"_s;
        QTest::newRow("empty input keeps the old secret") << u"set"_s << QByteArray("\n") << 65 << u"tökën ✓"_s;
        QTest::newRow("no UTF-8 keeps the old secret") << u"set"_s << QByteArray("\xff\xfe\n") << 65 << u"tökën ✓"_s;
        QTest::newRow("delete") << u"delete"_s << QByteArray() << 0 << QString();
        QTest::newRow("delete what is not there") << u"delete"_s << QByteArray() << 0 << QString();
        QTest::newRow("never from the command line") << u"set hunter2"_s << QByteArray("typed\n") << 64 << QString();
    }
    void secretCommand()
    {
        QStringList arguments = TW_DATA(QString, arguments).split(u' ');
        arguments.insert(1, m_name);
        const CliRun run = runCli(QStringList{u"secret"_s} + arguments, TW_DATA(QByteArray, input));
        QVERIFY2(run.exitCode == TW_DATA(int, exitCode), run.err.constData());
        const QString expected = TW_DATA(QString, expected);
        QCOMPARE(stored(m_name), expected.isNull() ? std::nullopt : std::optional<QString>(expected));
        QVERIFY(!run.out.contains("s3cret") && !run.err.contains("s3cret")); // never echoed
    }

    // `import` deletes the secrets only the old sources named, and none when the new sources.json
    // cannot be written (the other ways a save fails are TransferCommandTest's).
    void importDeletesTheOldSecretsOnlyOnceSaved()
    {
        QTemporaryDir dir;
        const QUuid id = QUuid::createUuid();
        const QString name = AnySourceConfig::credentialName(AnySourceConfig::Kind::Beszel, id);
        const QList<AnySourceConfig> sources{BeszelConfig(id, u"Hub"_s, u"http://127.0.0.1:9"_s, name),
                                             TCPPortConfig(QUuid::createUuid(), u"Router"_s, u"192.0.2.1"_s, 22)};
        SourcesStore::save(sources, dir.path());
        const QString exported = dir.filePath(u"exported.json"_s);
        put(exported, SourcesStore::encode(sources.mid(1)));
        await(m_store.write(name, u"admin password"_s));
        const QStringList arguments{u"import"_s, exported, u"--sources"_s, dir.filePath(u"sources.json"_s)};
        {
            // A folder it may not write; root passes by permission bits unless it gives up the right to.
            QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::ExeOwner);
            QProcess refused;
            refused.start(u"setpriv"_s,
                          QStringList{u"--bounding-set=-dac_override,-dac_read_search,-fowner"_s, cliPath()}
                              + arguments);
            QVERIFY(refused.waitForFinished(150000));
            QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            const QByteArray err = refused.readAllStandardError().trimmed();
            QCOMPARE(refused.exitCode(), 73);
            QVERIFY2(err.endsWith("Could not save sources.json: Permission denied; nothing was changed"),
                     err.constData());
        }
        QCOMPARE(stored(name), std::optional<QString>(u"admin password"_s));
        QCOMPARE(SourcesStore::load(dir.path()), sources);

        const CliRun run = runCli(arguments);
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
        QTest::newRow("no Secret Service, delete")
            << u"noService"_s << QStringList{u"secret"_s, u"delete"_s, u"K"_s} << noService;
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
        QStringList command{u"sh"_s, u"-c"_s, session == u"locked"_s ? lockedKeyring : u"\"$@\""_s, u"sh"_s, cliPath()};
        if (session != u"noBus"_s)
            command = QStringList{u"dbus-run-session"_s, u"--config-file="_s + config, u"--"_s} + command;
        QProcess process;
        process.setProcessEnvironment(environment);
        command += arguments;
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
