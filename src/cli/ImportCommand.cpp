#include "ImportCommand.h"

#include "cli/CliSupport.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/SourcesStore.h"

#include <QCommandLineParser>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace tw::ImportCommand {

QString synopsis()
{
    return u"import [--sources FILE] FILE                          add the sources of an exported file"_s;
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Adds the sources of an exported FILE to the sources file. Each gets a new id and new secret\n"
        "names, so importing never touches the sources already there or their secrets.\n"
        "Tidewatch reads its sources at start and writes them on every change: quit it first."_s);
    parser.addHelpOption();
    parser.addOption({u"sources"_s, u"The sources file to add to (default: Tidewatch's own)."_s, u"FILE"_s});
    parser.addPositionalArgument(u"FILE"_s, u"An exported sources file."_s);
    if (!parser.parse(QStringList{u"tidewatch-cli import"_s} + arguments)) {
        err << "tidewatch-cli import: " << parser.errorText() << '\n';
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

    QList<AnySourceConfig> imported;
    try {
        imported = SourcesStore::importFile(parser.positionalArguments().first());
    } catch (const SourcesStore::ImportError &error) {
        err << "tidewatch-cli import: " << error.text() << '\n';
        return 65; // EX_DATAERR
    }

    const QString target = parser.isSet(u"sources"_s) ? parser.value(u"sources"_s) : CliSupport::defaultSourcesPath();
    QList<AnySourceConfig> sources;
    if (QFileInfo::exists(target)) {
        // A file we cannot read is left alone: writing the import over it would lose its sources.
        const auto existing = CliSupport::readSources(target, err);
        if (!existing) {
            err << "tidewatch-cli import: nothing was imported\n";
            return 65;
        }
        sources = *existing;
    }
    if (imported.isEmpty()) {
        out << "The file holds no sources; nothing was imported.\n";
        return 0;
    }
    try {
        JSONFileStore::write(SourcesStore::encode(sources + imported), target);
    } catch (const std::exception &error) {
        err << "tidewatch-cli import: could not write " << target << ": " << error.what() << '\n';
        return 73; // EX_CANTCREAT
    }

    out << "Imported " << imported.size() << (imported.size() == 1 ? " source" : " sources") << " into " << target
        << ".\n";
    QList<const AnySourceConfig *> needSecrets;
    for (const AnySourceConfig &source : std::as_const(imported)) {
        if (!source.credentialNames().isEmpty())
            needSecrets.append(&source);
    }
    if (!needSecrets.isEmpty()) {
        out << "Secrets are not part of an export. Enter these again (tidewatch-cli secret set NAME, or in "
               "Tidewatch's settings):\n";
        for (const AnySourceConfig *source : std::as_const(needSecrets))
            out << "  " << source->common().displayName << " (" << toText(source->kind())
                << "): " << source->credentialNames().join(u", "_s) << '\n';
    }
    return 0;
}

} // namespace tw::ImportCommand
