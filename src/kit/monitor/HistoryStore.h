#pragma once

#include "kit/monitor/HistorySample.h"

// history.json beside sources.json: {"samples":{"<key>":[{"time":…,"latencyMs":…,"status":…}]}} with
// times as seconds since 2001-01-01 UTC, so the file moves between machines unchanged.
namespace tw::HistoryStore {

QString historyPath(const QString &directory);
QString corruptPath(const QString &directory);

// Empty when the file is missing or too large; a corrupt file is moved aside first.
PollHistory load(const QString &directory);
// Throws JSONFileStore::FileWriteError.
void save(const PollHistory &history, const QString &directory);

QByteArray encode(const PollHistory &history);
// Throws DecodeError.
PollHistory decode(const QByteArray &bytes);

// Seconds since 2001-01-01 00:00:00 UTC, and back.
double referenceSeconds(const QDateTime &time);
QDateTime fromReferenceSeconds(double seconds);

} // namespace tw::HistoryStore
