#include "DecodeError.h"

namespace tw {

DecodeError::DecodeError(const QString &text)
    : std::runtime_error(text.toStdString())
{ }

} // namespace tw
