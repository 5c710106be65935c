#pragma once

#include <QStringView>

namespace tw {

// How a kind of source presents itself, declared once beside its configuration.
struct SourceKindInfo
{
    QStringView key; // in sources.json, credential names and on the command line: "tlsCertificate"
    QStringView title; // "TLS Certificate"
    QStringView symbol; // the symbol of its tile and chooser row
    QStringView purpose; // what the chooser says it watches: "Certificate expiry"
};

} // namespace tw
