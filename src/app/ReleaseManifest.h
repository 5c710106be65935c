#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

namespace tw {

// The maker's latest.json: the released version and where to download it. Further keys are ignored.
struct ReleaseManifest
{
    QString version;
    QUrl downloadURL;

    bool operator==(const ReleaseManifest &) const = default;

    // Throws DecodeError when the body is not an object with both keys as text, or the address is
    // not a URL at all.
    static ReleaseManifest fromJson(const QByteArray &bytes);
};

} // namespace tw
