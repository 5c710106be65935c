#include "AtomicFile.h"

#include "kit/model/FileWriteError.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace tw::AtomicFile {

namespace {

// A temporary older than this is stale even when its process number is in use again.
constexpr qint64 staleAfterSeconds = 3600;
// QSaveFile's leftovers: nothing of ours writes them any more, but a minute spares a save in flight
// by an older version still running.
constexpr qint64 legacyStaleAfterSeconds = 60;

QString resolved(const QString &path)
{
    // A symbolic link stays a link: the file it names is the one replaced, as an editor would.
    QString target = QFileInfo(path).absoluteFilePath();
    for (int depth = 0; depth < 16; ++depth) {
        const QFileInfo info(target);
        if (!info.isSymLink())
            break;
        target = info.symLinkTarget();
    }
    return target;
}

mode_t modeOf(QFileDevice::Permissions permissions)
{
    mode_t mode = 0;
    mode |= permissions & QFileDevice::ReadOwner ? S_IRUSR : 0;
    mode |= permissions & QFileDevice::WriteOwner ? S_IWUSR : 0;
    mode |= permissions & QFileDevice::ExeOwner ? S_IXUSR : 0;
    mode |= permissions & QFileDevice::ReadGroup ? S_IRGRP : 0;
    mode |= permissions & QFileDevice::WriteGroup ? S_IWGRP : 0;
    mode |= permissions & QFileDevice::ExeGroup ? S_IXGRP : 0;
    mode |= permissions & QFileDevice::ReadOther ? S_IROTH : 0;
    mode |= permissions & QFileDevice::WriteOther ? S_IWOTH : 0;
    mode |= permissions & QFileDevice::ExeOther ? S_IXOTH : 0;
    return mode;
}

// The temporary copy: closed and removed on every way out, unless it became the file.
class Temporary
{
public:
    Temporary() = default;
    Temporary(const Temporary &) = delete;
    Temporary &operator=(const Temporary &) = delete;
    ~Temporary()
    {
        if (fd >= 0)
            ::close(fd);
        if (!name.isEmpty())
            ::unlink(name.constData());
    }

    int fd = -1;
    QByteArray name;
};

[[noreturn]] void fail(const QString &path, int error)
{
    throw FileWriteError(path, qt_error_string(error));
}

bool processIsGone(qint64 pid)
{
    if (pid <= 0 || pid > std::numeric_limits<pid_t>::max())
        return true;
    return ::kill(pid_t(pid), 0) != 0 && errno == ESRCH;
}

bool olderThan(const QFileInfo &info, qint64 seconds)
{
    return info.lastModified().secsTo(QDateTime::currentDateTime()) > seconds;
}

} // namespace

QString temporaryPrefix(const QString &path)
{
    return u'.' + QFileInfo(path).fileName() + u".tmp-"_s;
}

void removeStaleTemporaries(const QString &path)
{
    const QFileInfo target(path);
    const QString name = target.fileName();
    const QString prefix = temporaryPrefix(path);
    const QDir dir = target.absoluteDir();
    const QFileInfoList candidates =
        dir.entryInfoList({prefix + u'*', name + u".??????"_s}, QDir::Files | QDir::Hidden | QDir::System);
    for (const QFileInfo &candidate : candidates) {
        const QString candidateName = candidate.fileName();
        bool stale = false;
        if (candidateName.startsWith(prefix)) {
            // ".name.tmp-PID-RANDOM"
            const QString rest = candidateName.mid(prefix.size());
            bool ok = false;
            const qint64 pid = rest.section(u'-', 0, 0).toLongLong(&ok);
            stale = !ok || olderThan(candidate, staleAfterSeconds) || (pid != ::getpid() && processIsGone(pid));
        } else {
            const QString suffix = candidateName.mid(name.size() + 1);
            const bool looksRandom = std::all_of(suffix.cbegin(), suffix.cend(), [](QChar c) {
                return c.isLetterOrNumber() && c.unicode() < 128;
            });
            stale = looksRandom && olderThan(candidate, legacyStaleAfterSeconds);
        }
        if (stale)
            QFile::remove(candidate.absoluteFilePath());
    }
}

void write(const QString &path, const QByteArray &bytes, std::optional<QFileDevice::Permissions> permissions)
{
    const QString target = resolved(path);
    removeStaleTemporaries(target);
    const QByteArray targetName = QFile::encodeName(target);

    std::optional<mode_t> mode;
    if (permissions) {
        mode = modeOf(*permissions);
    } else if (struct stat existing{}; ::stat(targetName.constData(), &existing) == 0) {
        mode = existing.st_mode & 07777;
    }

    Temporary temporary;
    const QString base = QFileInfo(target).absoluteDir().filePath(temporaryPrefix(target));
    for (int attempt = 0; temporary.fd < 0; ++attempt) {
        const QString name =
            base + QString::number(::getpid()) + u'-' + QString::number(QRandomGenerator::global()->generate(), 36);
        const QByteArray encoded = QFile::encodeName(name);
        // Never wider than asked, not even for a moment: a secrets file starts out private.
        const int fd = ::open(encoded.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode ? 0600 : 0666);
        if (fd >= 0) {
            temporary.fd = fd;
            temporary.name = encoded;
        } else if (errno != EEXIST || attempt > 100) {
            fail(target, errno);
        }
    }
    if (mode && ::fchmod(temporary.fd, *mode) != 0)
        fail(target, errno);

    const char *data = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(temporary.fd, data, size_t(std::min<qsizetype>(left, 1 << 20)));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            fail(target, errno);
        }
        if (written == 0)
            fail(target, EIO);
        data += written;
        left -= written;
    }
    // The data must be on the disk before the name points at it, or a power cut could leave an
    // empty file under the real name.
    if (::fsync(temporary.fd) != 0)
        fail(target, errno);
    const int fd = std::exchange(temporary.fd, -1);
    if (::close(fd) != 0)
        fail(target, errno);
    if (::rename(temporary.name.constData(), targetName.constData()) != 0)
        fail(target, errno);
    temporary.name.clear();

    // The rename itself reaches the disk with the folder; a filesystem that cannot sync a folder has
    // nothing to offer here, and the file is already in place.
    const QByteArray folder = QFile::encodeName(QFileInfo(target).absolutePath());
    if (const int dirFd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
}

} // namespace tw::AtomicFile
