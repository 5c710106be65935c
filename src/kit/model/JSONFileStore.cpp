#include "JSONFileStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace tw::JSONFileStore {

FileWriteError::FileWriteError(const QString &text)
    : std::runtime_error(text.toStdString())
{ }

std::optional<QByteArray> readBounded(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    // One byte past the limit tells a file of exactly the limit from a larger one without an
    // unbounded read.
    QByteArray bytes = file.read(maxFileBytes + 1);
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
        throw FileWriteError(QStringLiteral("could not create %1").arg(dir));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        throw FileWriteError(file.errorString());
    if (file.write(data) != data.size() || !file.commit())
        throw FileWriteError(file.errorString());
}

} // namespace tw::JSONFileStore
