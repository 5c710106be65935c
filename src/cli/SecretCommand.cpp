#include "SecretCommand.h"

#include "cli/SecretInput.h"
#include "kit/desktop/KeychainCredentialStore.h"

#include <QCoroTask>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace tw::SecretCommand {

namespace {

struct Result
{
    bool ok = false;
    QString error;
};

QCoro::Task<Result> apply(QString action, QString name, QString secret)
{
    KeychainCredentialStore store;
    try {
        if (action == u"set"_s)
            co_await store.write(name, secret);
        else
            co_await store.remove(name);
        co_return Result{true, {}};
    } catch (const std::exception &error) {
        co_return Result{false, QString::fromUtf8(error.what())};
    }
}

} // namespace

QString synopsis()
{
    return u"secret set NAME | secret delete NAME   store a source's secret (read from stdin) or remove it"_s;
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    if (arguments.value(0) == u"--help"_s || arguments.value(0) == u"-h"_s) {
        out << "usage: tidewatch-cli secret set NAME     (the secret is read from standard input)\n"
               "       tidewatch-cli secret delete NAME\n"
               "NAME is the credential name of a source, as in sources.json (for example kuma-<id>).\n";
        return 0;
    }
    const QString action = arguments.value(0);
    const QString name = arguments.value(1);
    if ((action != u"set"_s && action != u"delete"_s) || name.isEmpty() || arguments.size() != 2) {
        err << "usage: tidewatch-cli secret set NAME | tidewatch-cli secret delete NAME\n";
        if (action == u"set"_s && arguments.size() > 2)
            err << "The secret is read from standard input, never from the command line.\n";
        return 64;
    }
    QString secret;
    if (action == u"set"_s) {
        const std::optional<QString> read = SecretInput::readLine(err);
        if (!read || read->isEmpty()) {
            err << "tidewatch-cli secret: no secret, or one that is not UTF-8 text, on standard input; nothing "
                   "stored\n";
            return 65;
        }
        secret = *read;
    }
    const Result result = QCoro::waitFor(apply(action, name, secret));
    if (!result.ok) {
        err << "tidewatch-cli secret: " << result.error << '\n';
        return 69;
    }
    out << (action == u"set"_s ? "Stored the secret " : "Deleted the secret ") << name << '\n';
    return 0;
}

} // namespace tw::SecretCommand
