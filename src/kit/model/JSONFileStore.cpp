#include "JSONFileStore.h"

#include "kit/model/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace tw::JSONFileStore {

std::optional<QByteArray> readBounded(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    // A regular file says its size: refuse a large one unread, and allocate no more than it holds.
    if (file.size() > maxFileBytes)
        return std::nullopt;
    QByteArray bytes;
    // One byte past the limit tells a file of exactly the limit from a larger one (a file that grew
    // meanwhile, or one without a size) without an unbounded read.
    while (bytes.size() <= maxFileBytes) {
        const QByteArray chunk = file.read(std::min<qint64>(64 * 1024, maxFileBytes + 1 - bytes.size()));
        if (chunk.isEmpty())
            break;
        bytes.append(chunk);
    }
    if (file.error() != QFileDevice::NoError || bytes.size() > maxFileBytes)
        return std::nullopt;
    return bytes;
}

void quarantine(const QString &path, const QString &corruptPath)
{
    QFile::remove(corruptPath);
    QFile::rename(path, corruptPath);
}

void write(const QByteArray &data, const QString &path)
{
    const QString dir = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(dir))
        throw FileWriteError(path, QStringLiteral("cannot create the folder %1").arg(QDir::toNativeSeparators(dir)));
    AtomicFile::write(path, data);
}

} // namespace tw::JSONFileStore
