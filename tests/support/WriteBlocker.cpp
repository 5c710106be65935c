#include "WriteBlocker.h"

#include <QFile>

#include <csignal>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tw::test {

namespace {

constexpr quint32 overrideCapabilities = (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH) | (1u << CAP_FOWNER);

// Clears or sets the permission overrides in the effective set of this thread only; the permitted
// set keeps them, so they can be taken back.
bool setOverrides(bool on)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    if (::syscall(SYS_capget, &header, data) != 0)
        return false;
    if (!(data[0].permitted & overrideCapabilities))
        return false;
    data[0].effective =
        on ? data[0].effective | (data[0].permitted & overrideCapabilities) : data[0].effective & ~overrideCapabilities;
    return ::syscall(SYS_capset, &header, data) == 0;
}

} // namespace

WriteBlocker::WriteBlocker(Kind kind, QString folder)
    : m_kind(kind)
    , m_folder(std::move(folder))
{
    switch (m_kind) {
    case Kind::FileSizeLimit:
        m_xfsz = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_limit);
        {
            // Smaller than any file a test saves, so that every write of one fails.
            const rlimit tiny{4, m_limit.rlim_max};
            ::setrlimit(RLIMIT_FSIZE, &tiny);
        }
        break;
    case Kind::ReadOnlyFolder:
        QFile::setPermissions(m_folder, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup);
        m_droppedCapabilities = setOverrides(false);
        break;
    }
}

WriteBlocker::~WriteBlocker()
{
    switch (m_kind) {
    case Kind::FileSizeLimit:
        ::setrlimit(RLIMIT_FSIZE, &m_limit);
        std::signal(SIGXFSZ, m_xfsz);
        break;
    case Kind::ReadOnlyFolder:
        if (m_droppedCapabilities)
            setOverrides(true);
        QFile::setPermissions(m_folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        break;
    }
}

QString WriteBlocker::reason() const
{
    return m_kind == Kind::FileSizeLimit ? QStringLiteral("File too large") : QStringLiteral("Permission denied");
}

} // namespace tw::test
