#pragma once

#include <QtGlobal>

namespace tw {

// Tells a connection that the peer reset from one it closed. Qt reads a reset as an ordinary end of
// the stream and closes its descriptor at once, so this holds a duplicate of the descriptor: the
// kernel's socket outlives Qt's close and still says how it ended. A reply whose body runs until
// the connection ends is whole only after a close; after a reset it was cut short, as curl says.
class PeerResetWatch
{
public:
    PeerResetWatch() = default;
    ~PeerResetWatch();
    PeerResetWatch(const PeerResetWatch &) = delete;
    PeerResetWatch &operator=(const PeerResetWatch &) = delete;

    // Starts watching a connected socket's descriptor; later calls change nothing.
    void watch(qintptr descriptor);
    // Whether the connection ended in a reset; false when it was closed, is still open, or was never
    // watched.
    bool wasReset() const;

private:
    int m_descriptor = -1;
};

} // namespace tw
