#pragma once

#include "kit/model/AnySourceConfig.h"

#include <QList>

// The list of sources on disk (sources.json) and as an exported file. Neither holds a secret: a
// configuration names its secret, so nothing needs stripping on export.
namespace tw::SourcesStore {

// ~/.local/share/Tidewatch (the XDG data home), shared by the application and the command line.
QString defaultDirectory();
QString sourcesPath(const QString &directory);
QString corruptPath(const QString &directory);

// The sources in file order; empty when the file is missing, too large or corrupt (a corrupt file is
// moved to sources.json.corrupt for the user to repair).
QList<AnySourceConfig> load(const QString &directory);

// Pretty-printed JSON with sorted keys: exactly the bytes of an exported file.
QByteArray encode(const QList<AnySourceConfig> &sources);
QList<AnySourceConfig> decode(const QByteArray &bytes);

// Throws JSONFileStore::FileWriteError.
void save(const QList<AnySourceConfig> &sources, const QString &directory);

// Reads an exported file for import: duplicates of an id are dropped, every source gets a new id and
// every secret a new name, so an import can never collide with a source or reach another's secret.
// Throws ImportError with the user's text.
QList<AnySourceConfig> importFile(const QString &path);
// The same for bytes already read; throws DecodeError.
QList<AnySourceConfig> importBytes(const QByteArray &bytes);

class ImportError : public std::runtime_error
{
public:
    explicit ImportError(const QString &text);
    QString text() const { return QString::fromUtf8(what()); }
};

} // namespace tw::SourcesStore
