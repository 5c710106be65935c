#include "ReleaseManifest.h"

#include "kit/model/JsonRead.h"

using namespace Qt::StringLiterals;

namespace tw {

ReleaseManifest ReleaseManifest::fromJson(const QByteArray &bytes)
{
    const QJsonDocument document = JsonRead::document(bytes);
    if (!document.isObject())
        throw DecodeError(u"The manifest is not a JSON object."_s);
    const QJsonObject object = document.object();
    ReleaseManifest manifest;
    manifest.version = JsonRead::string(object, u"version");
    const QString address = JsonRead::string(object, u"downloadURL");
    manifest.downloadURL = QUrl(address, QUrl::StrictMode);
    if (address.isEmpty() || !manifest.downloadURL.isValid())
        throw DecodeError(u"downloadURL is not a URL."_s);
    return manifest;
}

} // namespace tw
