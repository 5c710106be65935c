#pragma once

#include "kit/transport/SRVResolver.h"

#include <QByteArray>
#include <QStringList>

// The record data of one DNS SRV answer: priority, weight and port (two bytes each, big-endian),
// then the target as length-prefixed labels.
namespace tw::SRVRData {

// The target and port, or nothing for data too short, a port of 0, a compressed or over-long label,
// a label that is not UTF-8, or the bare root name. Priority and weight are not read. A name that
// runs to the end of the data without its closing zero byte is taken as it stands.
std::optional<SRVRecord> parse(const QByteArray &rdata);

// The same acceptance rules for a record that something else already decoded: a port other than 0
// and a name of at least one label, none longer than 63 bytes. A trailing root dot is dropped.
std::optional<SRVRecord> accept(quint16 port, const QString &target);

} // namespace tw::SRVRData
