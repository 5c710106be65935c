#include "AlertEvent.h"

namespace tw {

QString toText(AlertEvent::Kind kind)
{
    return kind == AlertEvent::Kind::Down ? QStringLiteral("down") : QStringLiteral("recovered");
}

} // namespace tw
