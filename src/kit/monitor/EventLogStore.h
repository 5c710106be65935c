#pragma once

#include "kit/monitor/RecentEvent.h"

#include <QList>

// events.json beside history.json: {"events":[{"detail":…,"kind":…,"sourceID":…,"time":…,"title":…}]},
// newest first, with times as seconds since 2001-01-01 UTC as the history has them.
namespace tw::EventLogStore {

QString eventsPath(const QString &directory);
QString corruptPath(const QString &directory);

// Empty when the file is missing or too large; a corrupt file is moved aside first.
QList<RecentEvent> load(const QString &directory);
// Throws JSONFileStore::FileWriteError.
void save(const QList<RecentEvent> &events, const QString &directory);

QByteArray encode(const QList<RecentEvent> &events);
// Throws DecodeError.
QList<RecentEvent> decode(const QByteArray &bytes);

} // namespace tw::EventLogStore
