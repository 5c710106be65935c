#include "ExportCommand.h"

#include "cli/CliSupport.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/SourcesStore.h"

#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace tw::ExportCommand {

QString synopsis()
{
    return u"export [--sources FILE] [--force] FILE                write the sources to FILE (- for stdout)"_s;
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Writes the sources to FILE for import on another machine. The file holds\n"
                                     "no secrets: they must be entered again after an import."_s);
    parser.addHelpOption();
    parser.addOption({u"sources"_s, u"The sources file (default: Tidewatch's own)."_s, u"FILE"_s});
    parser.addOption({u"force"_s, u"Replace FILE if it exists."_s});
    parser.addPositionalArgument(u"FILE"_s, u"Where to write; - writes to standard output."_s);
    if (!parser.parse(QStringList{u"tidewatch-cli export"_s} + arguments)) {
        err << "tidewatch-cli export: " << parser.errorText() << '\n';
        return 64;
    }
    if (parser.isSet(u"help"_s)) {
        out << parser.helpText();
        return 0;
    }
    if (parser.positionalArguments().size() != 1) {
        err << "usage: tidewatch-cli " << synopsis() << '\n';
        return 64;
    }
    const QString target = parser.positionalArguments().first();
    const auto sources = CliSupport::readSources(parser.value(u"sources"_s), err);
    if (!sources)
        return 66; // EX_NOINPUT
    const QByteArray bytes = SourcesStore::encode(*sources);

    if (target == u"-"_s) {
        QFile stdoutFile;
        if (!stdoutFile.open(stdout, QIODevice::WriteOnly) || stdoutFile.write(bytes) != bytes.size())
            return 74; // EX_IOERR
        return 0;
    }
    if (QFileInfo::exists(target) && !parser.isSet(u"force"_s)) {
        err << "tidewatch-cli export: " << target << " exists; pass --force to replace it\n";
        return 73; // EX_CANTCREAT
    }
    try {
        JSONFileStore::write(bytes, target);
    } catch (const std::exception &error) {
        err << "tidewatch-cli export: could not write " << target << ": " << error.what() << '\n';
        return 73;
    }
    out << "Exported " << sources->size() << (sources->size() == 1 ? " source" : " sources") << " to " << target
        << ".\n";
    return 0;
}

} // namespace tw::ExportCommand
