#pragma once

#include "kit/desktop/AlertCenter.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/ServiceStatus.h"
#include "kit/model/SourceSnapshot.h"

#include <QHash>
#include <QStringList>

#include <optional>

// The words and small rules of the settings window and the welcome window. Pure, so that they are
// tested without a display.
namespace tw::SettingsText {

// A current error wins over the last snapshot; hidden widgets count too; unknown before any poll.
ServiceStatus
sourceStatus(const QUuid &id, const QHash<QUuid, SourceSnapshot> &snapshots, const QHash<QUuid, QString> &errors);

// "1 source", otherwise "0 sources", "2 sources".
QString countText(qsizetype count);
// The body of "Replace Your Sources?".
QString replaceConfirmation(qsizetype current, qsizetype pending);
// The body of "Import Complete": what is polled now, and whose secret must be entered again.
QString importSummary(qsizetype count, const QStringList &missingSecrets);
// "1 source added", "2 sources added".
QString sourcesAdded(qsizetype count);

// The permission row; nothing means the state has not been read yet.
QString permissionText(std::optional<AlertCenter::Authorization> status);

// The alert after a successful update check.
QString upToDateBody(const QString &version);
QString updateAvailableTitle(const QString &version);
QString updateAvailableBody(const QString &domain);

} // namespace tw::SettingsText
