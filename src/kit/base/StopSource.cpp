#include "StopSource.h"

namespace tw {

void StopSource::requestStop()
{
    if (m_stopped)
        return;
    m_stopped = true;
    Q_EMIT stopped();
}

} // namespace tw
