#include "FileWriteError.h"

#include <QFileInfo>

namespace tw {

FileWriteError::FileWriteError(const QString &path, const QString &reason)
    : std::runtime_error(QStringLiteral("Could not save %1: %2").arg(QFileInfo(path).fileName(), reason).toStdString())
    , m_path(path)
    , m_reason(reason)
{ }

} // namespace tw
