#pragma once

#include <QMetaType>
#include <QString>

#include <sys/resource.h>

namespace tw::test {

// Makes every save into a folder fail for as long as it lives, the way a user's disk can: a
// file-size limit (`ulimit -f`, with SIGXFSZ ignored so that a write fails with EFBIG instead of
// killing the process), or a read-only folder. Root passes by permission bits, so the read-only
// folder also drops the calling thread's right to override them, and gets it back at the end.
class WriteBlocker
{
public:
    enum class Kind { FileSizeLimit, ReadOnlyFolder };

    WriteBlocker(Kind kind, QString folder);
    ~WriteBlocker();
    WriteBlocker(const WriteBlocker &) = delete;
    WriteBlocker &operator=(const WriteBlocker &) = delete;

    // The reason a save gives, as the user reads it.
    QString reason() const;

private:
    Kind m_kind;
    QString m_folder;
    rlimit m_limit{};
    void (*m_xfsz)(int) = nullptr;
    bool m_droppedCapabilities = false;
};

} // namespace tw::test

// A data-table column in tests that run a case per way of failing.
Q_DECLARE_METATYPE(tw::test::WriteBlocker::Kind)
