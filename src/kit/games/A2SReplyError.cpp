#include "A2SReplyError.h"

namespace tw {

A2SReplyError::A2SReplyError(const QString &reason)
    : m_reason(reason)
    , m_utf8(reason.toUtf8())
{ }

} // namespace tw
