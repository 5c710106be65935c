#pragma once

#include <QString>

#include <stdexcept>

namespace tw {

// A file that could not be saved, with the text the user reads: "Could not save sources.json: No
// space left on device". Whatever lay at the path before is still there, unchanged.
class FileWriteError : public std::runtime_error
{
public:
    FileWriteError(const QString &path, const QString &reason);

    QString path() const { return m_path; }
    QString reason() const { return m_reason; }
    QString text() const { return QString::fromUtf8(what()); }

private:
    QString m_path;
    QString m_reason;
};

} // namespace tw
