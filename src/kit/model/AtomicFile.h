#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QString>

#include <optional>

// The one way Tidewatch replaces a file: the new bytes go to a temporary file beside it, every
// write is checked, the data reaches the disk (fsync), and only then is it renamed over the old
// one. A full disk, a file-size limit, a read-only folder or a kill at any moment leave either the
// old file untouched or the new one whole. QSaveFile is not used: on Qt 6.4 a buffered write that
// fails inside commit() still renames the empty temporary over the real file.
namespace tw::AtomicFile {

// Replaces `path` (or the file a symbolic link at `path` points to) by `bytes`. The file keeps the
// permissions it had, a new one gets the usual ones (0666 less the umask) unless `permissions` are
// given, which then apply in every case and from the first byte. Throws FileWriteError.
void write(const QString &path, const QByteArray &bytes, std::optional<QFileDevice::Permissions> permissions = {});

// Removes the temporary copies of `path` that a killed writer left: ours, once the process that made
// one is gone, and those of earlier versions (QSaveFile's "name.XXXXXX"). Failures are ignored.
void removeStaleTemporaries(const QString &path);

// The name a temporary copy of `path` starts with.
QString temporaryPrefix(const QString &path);

} // namespace tw::AtomicFile
