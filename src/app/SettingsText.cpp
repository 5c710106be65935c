#include "SettingsText.h"

#include "app/PopoverRows.h"

using namespace Qt::StringLiterals;

namespace tw::SettingsText {

ServiceStatus
sourceStatus(const QUuid &id, const QHash<QUuid, SourceSnapshot> &snapshots, const QHash<QUuid, QString> &errors)
{
    if (errors.contains(id))
        return ServiceStatus::Down;
    const auto snapshot = snapshots.constFind(id);
    if (snapshot != snapshots.cend())
        return PopoverRows::worstStatus(snapshot->widgets);
    return ServiceStatus::Unknown;
}

QString countText(qsizetype count)
{
    return count == 1 ? u"1 source"_s : u"%1 sources"_s.arg(count);
}

QString replaceConfirmation(qsizetype current, qsizetype pending)
{
    return u"Tidewatch deletes %1 and adds %2 from the file."_s.arg(countText(current), countText(pending));
}

QString importSummary(qsizetype count, const QStringList &missingSecrets)
{
    QString text = u"Tidewatch now polls %1."_s.arg(countText(count));
    if (!missingSecrets.isEmpty()) {
        text += u" Open each of these sources and enter its password or token again: %1."_s.arg(
            missingSecrets.join(u", "_s));
    }
    return text;
}

QString sourcesAdded(qsizetype count)
{
    return count == 1 ? u"1 source added"_s : u"%1 sources added"_s.arg(count);
}

QString permissionText(std::optional<AlertCenter::Authorization> status)
{
    if (!status)
        return u"Tidewatch asks for permission when you add your first source."_s;
    switch (*status) {
    case AlertCenter::Authorization::Denied:
        return u"Alerts are blocked. Tidewatch cannot tell you when a service goes down."_s;
    case AlertCenter::Authorization::Authorized:
        return u"Tidewatch can show alerts."_s;
    }
    return u"The permission state is unknown."_s;
}

QString upToDateBody(const QString &version)
{
    return u"You have the latest version, %1."_s.arg(version);
}

QString updateAvailableTitle(const QString &version)
{
    return u"Tidewatch %1 Is Available"_s.arg(version);
}

QString updateAvailableBody(const QString &domain)
{
    return u"Download the latest release from %1."_s.arg(domain);
}

} // namespace tw::SettingsText
