#pragma once

#include "kit/desktop/RunningApplication.h"
#include "kit/model/AnySourceConfig.h"

#include <QCommandLineParser>
#include <QStringList>
#include <QTextStream>

#include <memory>
#include <optional>

namespace tw {

class CredentialStore;

// What the commands share: reading the user's files without ever changing them, and choosing the
// credential store. Failures are reported on `err` with a message a user can act on.
namespace CliSupport {

// The sources of `path` (or of the application's own file), or nothing after a message. The file
// is only read: a corrupt file is left where it is, for the application to deal with.
std::optional<QList<AnySourceConfig>> readSources(const QString &path, QTextStream &err);

// Secrets from a JSON object of name to secret, refused when others may read the file; without a
// file, the desktop's credential store.
std::shared_ptr<CredentialStore> credentials(const QString &path, QTextStream &err, bool *ok);

// The application's sources file.
QString defaultSourcesPath();

// Who may write the sources file at `path`. While Tidewatch runs on that file it is the one writer,
// and the change is handed to it; when it runs but does not answer, the command must refuse, since
// a file written behind it is overwritten at its next save.
struct SourcesWriter
{
    std::optional<RunningApplication> application; // set: hand the change over
    std::optional<QString> refusal; // set: change nothing, say this
};
SourcesWriter sourcesWriter(const QString &path);
// The exit status of a change refused or not taken by the running application (EX_TEMPFAIL).
constexpr int applicationBusy = 75;

// Adds --sources FILE and --credentials FILE, the options of every command that polls.
void addSourceOptions(QCommandLineParser &parser);
// Parses a command's arguments. An exit status when the command ends here: after its help (0) or
// a usage error (64); nothing when it should run.
std::optional<int> parse(QCommandLineParser &parser,
                         const QString &command,
                         const QStringList &arguments,
                         QTextStream &out,
                         QTextStream &err);

} // namespace CliSupport

} // namespace tw
