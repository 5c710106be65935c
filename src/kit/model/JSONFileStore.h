#pragma once

#include "kit/model/FileWriteError.h"

#include <QByteArray>
#include <QString>

#include <optional>

// The one place the application's own JSON files are read and written. A crash mid-write leaves the
// old file whole, and a file that cannot be read is moved aside rather than overwritten.
namespace tw::JSONFileStore {

constexpr qint64 maxFileBytes = 8 * 1024 * 1024;

// The bytes of a file, or nothing when it is missing, unreadable or larger than maxFileBytes.
std::optional<QByteArray> readBounded(const QString &path);

// Replaces whatever lies at `corruptPath` with the file at `path`. Failures are ignored: there is
// nothing better to do with a file that cannot be moved.
void quarantine(const QString &path, const QString &corruptPath);

// Reads and decodes a file. `decode` throws on bytes of the wrong shape, in which case the file is
// quarantined to `corruptPath` and nothing is returned. Never throws.
template<typename Decode>
auto load(const QString &path, const QString &corruptPath, Decode decode)
    -> std::optional<decltype(decode(std::declval<const QByteArray &>()))>
{
    const std::optional<QByteArray> bytes = readBounded(path);
    if (!bytes)
        return std::nullopt;
    try {
        return decode(*bytes);
    } catch (...) {
        quarantine(path, corruptPath);
        return std::nullopt;
    }
}

using FileWriteError = tw::FileWriteError;

// Writes atomically (AtomicFile), creating missing parent directories. Throws FileWriteError.
void write(const QByteArray &data, const QString &path);

} // namespace tw::JSONFileStore
