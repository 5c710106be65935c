#include "TransferCommand.h"

#include "cli/CliSupport.h"
#include "kit/base/CredentialStore.h"
#include "kit/desktop/KeychainCredentialStore.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/SourcesStore.h"
#include "kit/monitor/AppState.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace tw::TransferCommand {

namespace {

// "--sources FILE" anywhere among the arguments; the rest are returned.
QString takeSourcesOption(QStringList &arguments)
{
    const qsizetype at = arguments.indexOf(u"--sources"_s);
    if (at < 0 || at + 1 >= arguments.size())
        return {};
    const QString value = arguments.at(at + 1);
    arguments.remove(at, 2);
    return value;
}

} // namespace

QString exportSynopsis()
{
    return u"export FILE [--sources FILE] [--force]   write the sources to a file (- for stdout; no secret)"_s;
}

QString importSynopsis()
{
    return u"import FILE [--sources FILE]   replace the sources by those of an exported file"_s;
}

int runExport(const QStringList &given)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList arguments = given;
    const QString sourcesFile = takeSourcesOption(arguments);
    const bool force = arguments.removeAll(u"--force"_s) > 0;
    if (arguments.size() != 1 || (arguments.first().startsWith(u'-') && arguments.first() != u"-"_s)) {
        err << "usage: tidewatch-cli " << exportSynopsis() << '\n';
        return 64;
    }
    const auto sources = CliSupport::readSources(sourcesFile, err);
    if (!sources)
        return 3;
    if (arguments.first() == u"-"_s) {
        QFile standardOutput;
        const QByteArray bytes = SourcesStore::encode(*sources);
        return standardOutput.open(stdout, QIODevice::WriteOnly) && standardOutput.write(bytes) == bytes.size() ? 0
                                                                                                                : 74;
    }
    // An export never replaces a file unasked: it may be an earlier export, or anything else.
    if (QFileInfo::exists(arguments.first()) && !force) {
        err << "tidewatch-cli export: " << arguments.first() << " exists; pass --force to replace it\n";
        return 73;
    }
    try {
        JSONFileStore::write(SourcesStore::encode(*sources), arguments.first());
    } catch (const std::exception &error) {
        err << "tidewatch-cli export: " << error.what() << '\n';
        return 73;
    }
    out << "Exported " << sources->size() << (sources->size() == 1 ? " source" : " sources") << " to "
        << arguments.first() << ". The file holds no password and no token.\n";
    return 0;
}

int runImport(const QStringList &given)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList arguments = given;
    const QString sourcesFile = takeSourcesOption(arguments);
    if (arguments.size() != 1 || arguments.first().startsWith(u'-')) {
        err << "usage: tidewatch-cli " << importSynopsis() << '\n';
        return 64;
    }
    QList<AnySourceConfig> imported;
    try {
        imported = SourcesStore::importFile(arguments.first());
    } catch (const SourcesStore::ImportError &error) {
        err << "tidewatch-cli import: " << error.text() << '\n';
        return 65;
    }
    if (imported.isEmpty()) {
        // Replacing the sources with none would only lose them.
        err << "tidewatch-cli import: " << arguments.first() << " holds no source; nothing was changed\n";
        return 65;
    }
    const QString directory =
        sourcesFile.isEmpty() ? SourcesStore::defaultDirectory() : QFileInfo(sourcesFile).absoluteDir().absolutePath();
    if (!sourcesFile.isEmpty() && QFileInfo(sourcesFile).fileName() != u"sources.json"_s) {
        err << "tidewatch-cli import: --sources must name a file called sources.json\n";
        return 64;
    }

    const auto reportSecrets = [&out, &imported] {
        QStringList needSecrets;
        for (const AnySourceConfig &source : imported) {
            for (const QString &name : source.credentialNames())
                needSecrets.append(u"  "_s + source.common().displayName + u"  (tidewatch-cli secret set "_s + name
                                   + u')');
        }
        if (!needSecrets.isEmpty())
            out << "These sources need their secret entered again:\n" << needSecrets.join(u'\n') << '\n';
    };
    const QString path = SourcesStore::sourcesPath(directory);
    const CliSupport::SourcesWriter writer = CliSupport::sourcesWriter(path);
    if (writer.refusal) {
        err << "tidewatch-cli import: " << *writer.refusal << '\n';
        return CliSupport::applicationBusy;
    }
    if (writer.application) {
        // It replaces, saves and deletes the secrets no source names now, as its own import does.
        const RunningApplication::Reply reply = writer.application->replaceSources(imported);
        if (!reply.accepted) {
            err << "tidewatch-cli import: Tidewatch is running and did not take the sources (" << reply.text
                << "); nothing was changed\n";
            return CliSupport::applicationBusy;
        }
        out << "Imported " << imported.size() << (imported.size() == 1 ? " source" : " sources")
            << " through Tidewatch, which is running and keeps " << path << "; it uses them now.\n";
        reportSecrets();
        return 0;
    }

    // The same steps as the application: replace, save, and delete the secrets no source names now.
    AppState::Environment environment;
    environment.credentials = std::make_shared<KeychainCredentialStore>();
    environment.sourcesDirectory = directory;
    environment.defaults = PreferenceStore::openDefault();
    environment.makeProvider = [](const AnySourceConfig &,
                                  std::shared_ptr<CredentialStore>) -> std::unique_ptr<SourceProvider> {
        return nullptr;
    };
    environment.testHost = true;
    AppState state(environment);
    state.replaceSources(imported);
    if (!state.sourcesSaveError().isEmpty()) {
        // Nothing was deleted either: the secrets of the sources still on the disk stay.
        err << "tidewatch-cli import: " << state.sourcesSaveError() << "; nothing was changed\n";
        return 73;
    }
    state.flushHistory();
    if (state.pendingCredentialDeletions() > 0) {
        // The old sources' secrets go too; the credential store bounds each request.
        QObject::connect(&state,
                         &AppState::orphanedCredentialsDeleted,
                         QCoreApplication::instance(),
                         &QCoreApplication::quit);
        QTimer::singleShot(130'000, QCoreApplication::instance(), &QCoreApplication::quit);
        QCoreApplication::exec();
    }

    out << "Imported " << imported.size() << (imported.size() == 1 ? " source" : " sources") << " into "
        << SourcesStore::sourcesPath(directory) << ".\n";
    reportSecrets();
    return 0;
}

} // namespace tw::TransferCommand
