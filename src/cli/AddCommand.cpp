#include "AddCommand.h"

#include "cli/CliSupport.h"
#include "cli/SecretInput.h"
#include "kit/desktop/KeychainCredentialStore.h"
#include "kit/model/AtomicFile.h"
#include "kit/model/Dependencies.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/PollInterval.h"
#include "kit/model/SourcesStore.h"

#include <QCoroTask>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace tw::AddCommand {

namespace {

// The options every kind takes; each kind adds its own (SourceKindForm::options).
const QStringList commonValueFlags{u"--name"_s,
                                   u"--interval"_s,
                                   u"--alert-after"_s,
                                   u"--sources"_s,
                                   u"--credentials"_s,
                                   u"--depends-on"_s};

// "kuma, beszel, … or tlsCertificate"
QString kindList(const QString &lastJoin)
{
    QStringList keys;
    for (const auto kind : AnySourceConfig::allKinds())
        keys.append(toText(kind));
    const QString last = keys.takeLast();
    return keys.join(u", "_s) + lastJoin + last;
}

QCoro::Task<std::optional<QString>> writeToKeyring(QString name, QString secret)
{
    KeychainCredentialStore store;
    try {
        co_await store.write(name, secret);
        co_return std::nullopt;
    } catch (const std::exception &error) {
        co_return u"Could not store the secret: "_s + QString::fromUtf8(error.what());
    }
}

QCoro::Task<> removeFromKeyring(QString name)
{
    KeychainCredentialStore store;
    try {
        co_await store.remove(name);
    } catch (const std::exception &) {
        // A stray secret that names nothing; there is nothing more to do about it here.
    }
}

// The secret goes into the JSON file of names to secrets that `check` and `watch` read, created
// readable by the user alone.
std::optional<QString> writeToFile(const QString &path, const QString &name, const QString &secret)
{
    QJsonObject secrets;
    if (QFile::exists(path)) {
        QTextStream quiet(stderr);
        bool ok = false;
        // Refuses a file others may read, as the commands that use it do.
        CliSupport::credentials(path, quiet, &ok);
        if (!ok)
            return u"Cannot use "_s + path;
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return file.errorString();
        secrets = QJsonDocument::fromJson(file.read(JSONFileStore::maxFileBytes)).object();
    }
    secrets.insert(name, secret);
    try {
        AtomicFile::write(path, QJsonDocument(secrets).toJson(), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    } catch (const FileWriteError &error) {
        return error.text();
    }
    return std::nullopt;
}

} // namespace

QString synopsis()
{
    return u"add KIND --name NAME [flags]   add a source (kinds: "_s + kindList(u" "_s).replace(u", "_s, u" "_s) + u')';
}

std::variant<Request, QString> parse(const QStringList &arguments)
{
    if (arguments.isEmpty() || arguments.first().startsWith(u'-'))
        return u"the kind of source comes first: "_s + kindList(u" or "_s);
    const auto type = sourceKindFromString(arguments.first());
    if (!type)
        return u"unknown kind '"_s + arguments.first() + u"'; use "_s + kindList(u" or "_s);

    Request request;
    request.form = SourceFormState(*type);
    SourceFormState &form = request.form;
    const QList<SourceKindForm::Option> options = form.kindForm().options();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString flag = arguments.at(i);
        if (flag == u"--no-alerts"_s) {
            form.alertsEnabled = false;
            continue;
        }
        if (flag == u"--secret-stdin"_s) {
            request.secretFromStdin = true;
            continue;
        }
        const auto option = std::find_if(options.begin(), options.end(), [&flag](const SourceKindForm::Option &o) {
            return o.flag == flag;
        });
        if (option == options.end() && !commonValueFlags.contains(flag))
            return u"unknown option '"_s + flag + u"' for "_s + arguments.first();
        const bool takesValue = option == options.end() || option->takesValue;
        if (takesValue && i + 1 >= arguments.size())
            return flag + u" needs a value"_s;
        const QString value = takesValue ? arguments.at(++i) : QString();
        if (option != options.end()) {
            if (const auto wrong = option->apply(form, value))
                return *wrong;
        } else if (flag == u"--name"_s) {
            form.displayName = value;
        } else if (flag == u"--interval"_s) {
            form.pollSeconds = value;
        } else if (flag == u"--sources"_s) {
            request.sourcesFile = value;
        } else if (flag == u"--credentials"_s) {
            request.credentialsFile = value;
        } else if (flag == u"--depends-on"_s) {
            request.dependsOn = value;
        } else if (flag == u"--alert-after"_s) {
            bool ok = false;
            const int count = value.toInt(&ok);
            if (!ok || count < 1 || count > 10)
                return u"--alert-after takes a whole number from 1 to 10"_s;
            form.alertThreshold = count;
        }
    }
    return request;
}

std::optional<QString> problem(const SourceFormState &form)
{
    if (const auto message = form.validationMessage())
        return message;
    if (form.isComplete())
        return std::nullopt;
    if (form.displayName.trimmed().isEmpty())
        return u"Give the source a name with --name."_s;
    return form.kindForm().missing(form);
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    if (arguments.value(0) == u"--help"_s || arguments.value(0) == u"-h"_s || arguments.value(1) == u"--help"_s) {
        out << "usage: tidewatch-cli add KIND --name NAME [flags]\n";
        for (const auto kind : AnySourceConfig::allKinds())
            out << "  " << toText(kind).leftJustified(11) << ' ' << SourceKindForm::of(kind).usage() << '\n';
        out << "common: --interval SECONDS (" << PollInterval::minimum << '-' << PollInterval::maximum
            << ") --alert-after N (1-10) --no-alerts\n"
               "        --sources FILE (a sources.json other than the application's)\n"
               "        --credentials FILE (keep the secret in this JSON file instead of the keyring)\n"
               "        --depends-on NAME|ID (the source this one sits behind, like the router it is reached\n"
               "          through: while that one is down, this one's failures are put down to it)\n"
               "A URL without a scheme gets https:// in front. The secret is read from standard input, one line.\n";
        if (arguments.value(0) == u"gameServer"_s) {
            out << "\ngames:\n";
            for (const auto &game : GameRegistry::all())
                out << "  " << game.id << "  " << game.displayName << '\n';
        }
        return 0;
    }
    const auto parsed = parse(arguments);
    if (const auto *usage = std::get_if<QString>(&parsed)) {
        err << "tidewatch-cli add: " << *usage << '\n';
        return 64;
    }
    Request request = std::get<Request>(parsed);
    if (request.secretFromStdin) {
        const auto secret = SecretInput::readLine(err);
        if (!secret || secret->isEmpty()) {
            err << "tidewatch-cli add: no secret, or one that is not UTF-8 text, on standard input; nothing added\n";
            return 65;
        }
        request.form.secret = *secret;
    }
    if (const auto why = problem(request.form)) {
        err << "tidewatch-cli add: " << *why << '\n';
        return 65;
    }

    const QString directory = request.sourcesFile.isEmpty()
        ? SourcesStore::defaultDirectory()
        : QFileInfo(request.sourcesFile).absoluteDir().absolutePath();
    if (!request.sourcesFile.isEmpty() && QFileInfo(request.sourcesFile).fileName() != u"sources.json"_s) {
        err << "tidewatch-cli add: --sources must name a file called sources.json\n";
        return 64;
    }
    const QString path = SourcesStore::sourcesPath(directory);
    const CliSupport::SourcesWriter writer = CliSupport::sourcesWriter(path);
    if (writer.refusal) {
        err << "tidewatch-cli add: " << *writer.refusal << '\n';
        return CliSupport::applicationBusy;
    }
    QList<AnySourceConfig> sources;
    if (!writer.application && QFile::exists(path)) {
        // A file that cannot be read is left alone: adding to nothing would lose its sources.
        const auto existing = CliSupport::readSources(path, err);
        if (!existing)
            return 65;
        sources = *existing;
    }

    const QUuid id = QUuid::createUuid();
    QString parentName;
    if (!request.dependsOn.isEmpty()) {
        // While Tidewatch runs, its file is still the list a parent is named from.
        QList<AnySourceConfig> known = sources;
        if (writer.application && QFile::exists(path)) {
            const auto existing = CliSupport::readSources(path, err);
            if (!existing)
                return 65;
            known = *existing;
        }
        const auto found = Dependencies::find(known, request.dependsOn);
        if (const auto *why = std::get_if<QString>(&found)) {
            err << "tidewatch-cli add: --depends-on: " << *why << " Nothing added.\n";
            return 65;
        }
        const QUuid parent = std::get<QUuid>(found);
        if (const auto why = Dependencies::refusal(known, id, parent)) {
            err << "tidewatch-cli add: --depends-on: " << *why << " Nothing added.\n";
            return 65;
        }
        request.form.dependsOn = parent;
        for (const AnySourceConfig &source : std::as_const(known)) {
            if (source.id() == parent)
                parentName = source.common().displayName;
        }
    }
    const auto config = request.form.makeConfig(id);
    if (!config) {
        err << "tidewatch-cli add: the source is not complete\n";
        return 65;
    }
    // The secret first: a source that names a secret that is not there would only fail its polls.
    const auto name = request.form.credentialRef(id);
    if (name && !request.form.secret.isEmpty()) {
        const std::optional<QString> error = request.credentialsFile.isEmpty()
            ? QCoro::waitFor(writeToKeyring(*name, request.form.secret))
            : writeToFile(request.credentialsFile, *name, request.form.secret);
        if (error) {
            err << "tidewatch-cli add: " << *error << "; nothing added\n";
            return 69;
        }
    }
    if (writer.application) {
        const RunningApplication::Reply reply = writer.application->addSource(*config);
        if (!reply.accepted) {
            if (name && !request.form.secret.isEmpty() && request.credentialsFile.isEmpty())
                QCoro::waitFor(removeFromKeyring(*name)); // no source names it
            err << "tidewatch-cli add: Tidewatch is running and did not take the source (" << reply.text
                << "); nothing was added\n";
            return CliSupport::applicationBusy;
        }
        out << "Added " << config->common().displayName << " (" << toText(config->kind()) << ") as "
            << id.toString(QUuid::WithoutBraces).toUpper() << " through Tidewatch, which is running and keeps " << path
            << "; it " << reply.text << ".\n";
        if (const auto target = request.form.normalizedBaseURL())
            out << "Using " << *target << ".\n";
        if (!parentName.isEmpty())
            out << "It sits behind " << parentName << ".\n";
        return 0;
    }
    sources.append(*config);
    try {
        SourcesStore::save(sources, directory);
    } catch (const std::exception &error) {
        err << "tidewatch-cli add: " << QString::fromUtf8(error.what()) << "; nothing added\n";
        return 73;
    }
    out << "Added " << config->common().displayName << " (" << toText(config->kind()) << ") as "
        << id.toString(QUuid::WithoutBraces).toUpper() << " to " << path << ".\n";
    if (const auto target = request.form.normalizedBaseURL())
        out << "Using " << *target << ".\n";
    if (!parentName.isEmpty())
        out << "It sits behind " << parentName << ".\n";
    return 0;
}

} // namespace tw::AddCommand
