#include "CliSupport.h"

#include "kit/desktop/InMemoryCredentialStore.h"
#include "kit/desktop/KeychainCredentialStore.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/SourcesStore.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace tw::CliSupport {

QString defaultSourcesPath()
{
    return SourcesStore::sourcesPath(SourcesStore::defaultDirectory());
}

namespace {

// Through symbolic links, and whether or not the file exists yet.
QString resolved(const QString &path)
{
    const QFileInfo file(path);
    const QString folder = QFileInfo(file.absolutePath()).canonicalFilePath();
    return folder.isEmpty() ? file.absoluteFilePath() : folder + u'/' + file.fileName();
}

} // namespace

SourcesWriter sourcesWriter(const QString &path)
{
    RunningApplication application = RunningApplication::find();
    switch (application.status()) {
    case RunningApplication::Status::NotRunning:
        return {};
    case RunningApplication::Status::Running:
        // A Tidewatch that keeps another file (another data folder) leaves this one to the command.
        if (resolved(application.sourcesFile()) == resolved(path))
            return {std::move(application), std::nullopt};
        return {};
    case RunningApplication::Status::Unreachable:
        if (resolved(path) != resolved(defaultSourcesPath()))
            return {};
        return {
            std::nullopt,
            u"Tidewatch is running but does not answer (%1), so nothing was changed: it would overwrite a "
            "change made behind it. Make the change in Tidewatch's settings, or quit Tidewatch and try again."_s.arg(
                application.problem())};
    }
    return {};
}

void addSourceOptions(QCommandLineParser &parser)
{
    parser.addOption({u"sources"_s, u"The sources file (default: Tidewatch's own)."_s, u"FILE"_s});
    parser.addOption(
        {u"credentials"_s, u"Secrets as a JSON object of name to secret, readable by you alone."_s, u"FILE"_s});
}

std::optional<int> parse(QCommandLineParser &parser,
                         const QString &command,
                         const QStringList &arguments,
                         QTextStream &out,
                         QTextStream &err)
{
    parser.addHelpOption();
    if (!parser.parse(QStringList{u"tidewatch-cli "_s + command} + arguments)) {
        err << "tidewatch-cli " << command << ": " << parser.errorText() << '\n';
        return 64;
    }
    if (parser.isSet(u"help"_s)) {
        out << parser.helpText();
        return 0;
    }
    return std::nullopt;
}

std::optional<QList<AnySourceConfig>> readSources(const QString &path, QTextStream &err)
{
    const QString file = path.isEmpty() ? defaultSourcesPath() : path;
    if (!QFileInfo::exists(file)) {
        err << "tidewatch-cli: no sources file at " << file
            << (path.isEmpty() ? " (add sources in Tidewatch, or pass --sources FILE)\n" : "\n");
        return std::nullopt;
    }
    const std::optional<QByteArray> bytes = JSONFileStore::readBounded(file);
    if (!bytes) {
        err << "tidewatch-cli: cannot read " << file << " (unreadable, or larger than 8 MiB)\n";
        return std::nullopt;
    }
    try {
        return SourcesStore::decode(*bytes);
    } catch (const std::exception &error) {
        err << "tidewatch-cli: " << file << " is not a valid sources file: " << error.what() << '\n';
        return std::nullopt;
    }
}

std::shared_ptr<CredentialStore> credentials(const QString &path, QTextStream &err, bool *ok)
{
    *ok = true;
    if (path.isEmpty())
        return std::make_shared<KeychainCredentialStore>();
    QFile file(path);
    const QFileDevice::Permissions shared = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup
        | QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;
    if (file.exists() && (file.permissions() & shared)) {
        err << "tidewatch-cli: " << path << " may be read by other users; refusing to use its secrets (run: chmod 600 "
            << path << ")\n";
        *ok = false;
        return nullptr;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        err << "tidewatch-cli: cannot read " << path << ": " << file.errorString() << '\n';
        *ok = false;
        return nullptr;
    }
    QJsonParseError parse{};
    const QJsonDocument document = QJsonDocument::fromJson(file.read(JSONFileStore::maxFileBytes), &parse);
    if (!document.isObject()) {
        err << "tidewatch-cli: " << path << " must hold a JSON object of secret names to secrets\n";
        *ok = false;
        return nullptr;
    }
    QHash<QString, QString> secrets;
    const QJsonObject object = document.object();
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (!it.value().isString()) {
            err << "tidewatch-cli: the secret " << it.key() << " in " << path << " is not a string\n";
            *ok = false;
            return nullptr;
        }
        secrets.insert(it.key(), it.value().toString());
    }
    return std::make_shared<InMemoryCredentialStore>(secrets);
}

} // namespace tw::CliSupport
