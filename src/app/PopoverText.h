#pragma once

#include "kit/model/OverallStatus.h"
#include "kit/monitor/AlertGate.h"

#include <QDateTime>
#include <QString>

// The words the popover and the tray use for the state of the estate. Pure, so that they are tested
// without a display.
namespace tw::PopoverText {

// "All systems up", "No sources yet", …
QString headline(OverallStatus status, qsizetype sourceCount);
// "Healthy", "Not configured", …
QString chipText(OverallStatus status, qsizetype sourceCount);
// Why failures are not alerts right now; empty when they are.
QString hushBanner(AlertGate::Hush hush);
// The header's words while failures are not trusted: "You're offline" and "Offline"; empty otherwise.
QString hushHeadline(AlertGate::Hush hush);
QString hushChip(AlertGate::Hush hush);
// "just now", "59s ago", "1h ago", "1d ago"; a date in the future reads "just now".
QString relativeTime(const QDateTime &date, const QDateTime &now);
// The age of readings that can no longer be trusted: "under a minute old", "5 min old", "2 h old",
// "3 days old".
QString ageText(const QDateTime &date, const QDateTime &now);

} // namespace tw::PopoverText
