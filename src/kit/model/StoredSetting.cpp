#include "StoredSetting.h"

namespace tw::StoredSetting {

std::optional<bool> boolean(const PreferenceStore &settings, const QString &key)
{
    const QVariant value = settings.value(key);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text == QLatin1String("true"))
            return true;
        if (text == QLatin1String("false"))
            return false;
    }
    return std::nullopt;
}

bool flag(const PreferenceStore &settings, const Flag &which)
{
    return boolean(settings, QString::fromLatin1(which.key)).value_or(which.fallback);
}

} // namespace tw::StoredSetting
