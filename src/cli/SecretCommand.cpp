#include "SecretCommand.h"

#include "cli/CliSupport.h"
#include "kit/monitor/CredentialError.h"
#include "kit/monitor/KeychainCredentialStore.h"

#include <QCommandLineParser>
#include <QStringDecoder>

#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tw::SecretCommand {

namespace {

// Far beyond any token or password, and small enough that a mistaken pipe of a large file ends
// with a message rather than a keyring item of megabytes.
constexpr qsizetype maxSecretBytes = 64 * 1024;

// Reads standard input to its end, or one line without echo when a person types at a terminal.
// Nothing when the input is longer than maxSecretBytes.
std::optional<QByteArray> readInput(const QString &name, QTextStream &err)
{
    const bool terminal = ::isatty(STDIN_FILENO) == 1;
    termios saved{};
    if (terminal) {
        err << "Secret for " << name << ": " << Qt::flush;
        if (::tcgetattr(STDIN_FILENO, &saved) == 0) {
            termios quiet = saved;
            quiet.c_lflag &= ~tcflag_t(ECHO);
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
        }
    }
    QByteArray bytes;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0)
            break;
        bytes.append(buffer, n);
        if (bytes.size() > maxSecretBytes || (terminal && bytes.endsWith('\n')))
            break;
    }
    if (terminal) {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        err << '\n';
    }
    if (bytes.size() > maxSecretBytes)
        return std::nullopt;
    return bytes;
}

// QCoro 0.8's waitFor() never returns from a task that throws, so the error becomes a value here.
std::optional<QString> failureOf(QCoro::Task<> task)
{
    return QCoro::waitFor([](QCoro::Task<> inner) -> QCoro::Task<std::optional<QString>> {
        try {
            co_await inner;
        } catch (const CredentialError &error) {
            co_return error.description();
        } catch (const std::exception &error) {
            co_return QString::fromUtf8(error.what());
        }
        co_return std::nullopt;
    }(std::move(task)));
}

// The secret in the bytes read: one trailing line break dropped, nothing for empty input or bytes
// that are no valid UTF-8.
std::optional<QString> secretFromInput(const QByteArray &bytes)
{
    QByteArray trimmed = bytes;
    if (trimmed.endsWith('\n'))
        trimmed.chop(1);
    if (trimmed.endsWith('\r'))
        trimmed.chop(1);
    if (trimmed.isEmpty())
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(trimmed);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

int usage(QTextStream &err)
{
    err << "usage: tidewatch-cli secret set NAME      (the secret is read from standard input)\n"
           "       tidewatch-cli secret delete NAME\n";
    return 64;
}

} // namespace

QString synopsis()
{
    return u"secret set NAME | secret delete NAME                 store or remove a secret that sources name"_s;
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    if (arguments.value(0) == u"--help"_s || arguments.value(0) == u"-h"_s) {
        out << "Stores secrets in the desktop's credential store under the names that sources refer to,\n"
               "such as kuma-<UUID> (see `tidewatch-cli import`). `set` reads the secret from standard input:\n"
               "typed without echo at a terminal, or piped, with one trailing line break dropped.\n";
        return 0;
    }
    if (arguments.size() != 2 || arguments.at(1).isEmpty())
        return usage(err);
    const QString &action = arguments.at(0);
    const QString &name = arguments.at(1);
    KeychainCredentialStore store;

    if (action == u"delete"_s) {
        if (const auto failure = failureOf(store.remove(name))) {
            err << "tidewatch-cli secret: could not delete " << name << ": " << *failure << '\n';
            return 1;
        }
        out << "Deleted the secret " << name << ".\n";
        return 0;
    }
    if (action != u"set"_s)
        return usage(err);

    const std::optional<QByteArray> input = readInput(name, err);
    if (!input) {
        err << "tidewatch-cli secret: the input is longer than " << maxSecretBytes / 1024
            << " KiB; nothing was stored\n";
        return 65;
    }
    const std::optional<QString> secret = secretFromInput(*input);
    if (!secret) {
        err << "tidewatch-cli secret: the input is empty or not UTF-8 text; nothing was stored\n";
        return 65;
    }
    if (const auto failure = failureOf(store.write(name, *secret))) {
        err << "tidewatch-cli secret: could not store " << name << ": " << *failure << '\n';
        return 1;
    }
    out << "Stored the secret " << name << ".\n";
    return 0;
}

} // namespace tw::SecretCommand
