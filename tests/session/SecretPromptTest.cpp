#include "kit/desktop/KeychainCredentialStore.h"
#include "support/Await.h"
#include "support/CliProcess.h"
#include "support/Files.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
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

// A secret typed at a terminal never shows on it, whichever command asks for it, and the terminal
// echoes again afterwards, even when the command is interrupted at the prompt.
class SecretPromptTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_name = u"kuma-prompt-%1"_s.arg(QCoreApplication::applicationPid());

    std::optional<QString> stored(const QString &command)
    {
        if (command == u"secret"_s) {
            KeychainCredentialStore store(QString::fromLatin1(KeychainCredentialStore::productionService), 10s);
            return await(store.read(m_name));
        }
        const QJsonObject secrets = QJsonDocument::fromJson(contents(m_dir.filePath(u"secrets.json"_s))).object();
        if (secrets.size() != 1)
            return std::nullopt;
        return secrets.constBegin().value().toString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        QVERIFY2(bus && bus->isServiceRegistered(u"org.freedesktop.secrets"_s),
                 "needs the Secret Service of scripts/with-session");
    }

    void typedSecretIsNotEchoed_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("typed");
        QTest::addColumn<bool>("stores"); // false: interrupted at the prompt
        QTest::newRow("secret set") << u"secret"_s << QByteArray("hunter2-typed\r") << true;
        QTest::newRow("add --secret-stdin") << u"add"_s << QByteArray("hub-token-typed\r") << true;
        QTest::newRow("secret set, Ctrl-C") << u"secret"_s << QByteArray("half-typed\x03") << false;
        QTest::newRow("add, Ctrl-C") << u"add"_s << QByteArray("half-typed\x03") << false;
    }
    void typedSecretIsNotEchoed()
    {
        QFETCH(QString, command);
        QFETCH(QByteArray, typed);
        QFETCH(bool, stores);
        QFile::remove(m_dir.filePath(u"secrets.json"_s));
        const QStringList arguments = command == u"secret"_s
            ? QStringList{u"secret"_s, u"set"_s, m_name}
            : QProcess::splitCommand(
                u"add beszel --name Hub --url beszel.lan:8090 --secret-stdin --sources %1 "
                "--credentials %2"_s.arg(m_dir.filePath(u"sources.json"_s), m_dir.filePath(u"secrets.json"_s)));
        const QByteArray secret = typed.left(typed.size() - 1);

        const TerminalRun run = runAtTerminal(arguments, typed);
        QVERIFY2(run.screen.contains("Secret: "), run.screen.constData());
        QVERIFY2(!run.screen.contains(secret), run.screen.constData());
        QVERIFY2(!run.screen.contains(secret.left(4)), run.screen.constData());
        QVERIFY(run.echoAfter);
        if (stores) {
            QVERIFY2(WIFEXITED(run.status) && WEXITSTATUS(run.status) == 0, run.screen.constData());
            QCOMPARE(stored(command), std::optional<QString>(QString::fromUtf8(secret)));
        } else {
            QVERIFY2(WIFSIGNALED(run.status) && WTERMSIG(run.status) == SIGINT, run.screen.constData());
        }
    }

    void cleanupTestCase()
    {
        KeychainCredentialStore store(QString::fromLatin1(KeychainCredentialStore::productionService), 10s);
        await(store.remove(m_name));
    }
};

QTEST_GUILESS_MAIN(SecretPromptTest)
#include "SecretPromptTest.moc"
