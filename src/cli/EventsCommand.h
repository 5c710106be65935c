#pragma once

#include <QStringList>

#include <optional>

// `tidewatch-cli events [--since AGE] [--json]`: what Tidewatch recorded in the past week (outages,
// recoveries, snoozes), newest first, read from events.json beside the sources file.
namespace tw::EventsCommand {

QString synopsis();
int run(const QStringList &arguments);

// "30m", "24h", "7d", "2w", "90s" in seconds; nothing for anything else, zero included.
std::optional<qint64> parseAge(const QString &text);

} // namespace tw::EventsCommand
