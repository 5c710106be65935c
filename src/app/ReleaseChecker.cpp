#include "ReleaseChecker.h"

#include "kit/base/ProviderError.h"
#include "kit/model/DecodeError.h"

#ifndef TW_RELEASE_MANIFEST_URL
#define TW_RELEASE_MANIFEST_URL "https://ostrel.dev/downloads/tidewatch/latest.json"
#endif

using namespace Qt::StringLiterals;

namespace tw {

namespace {

ProviderError invalidManifest()
{
    return ProviderError::upstream(QString::fromLatin1(ReleaseChecker::invalidManifestText));
}

bool isHTTPS(const QUrl &url)
{
    return url.scheme() == u"https"_s;
}

std::optional<qint64> signedDecimal(QStringView piece)
{
    // The whole piece must be the number: no blanks, no other base, no suffix.
    const QStringView digits = piece.startsWith(u'-') || piece.startsWith(u'+') ? piece.mid(1) : piece;
    if (digits.isEmpty())
        return std::nullopt;
    for (const QChar c : digits) {
        if (c < u'0' || c > u'9')
            return std::nullopt;
    }
    bool ok = false;
    const qint64 value = piece.toLongLong(&ok, 10);
    return ok ? std::optional(value) : std::nullopt;
}

} // namespace

QUrl ReleaseChecker::defaultEndpoint()
{
    return QUrl(QStringLiteral(TW_RELEASE_MANIFEST_URL));
}

std::optional<ReleaseChecker::Version> ReleaseChecker::parseVersion(QStringView text)
{
    const QList<QStringView> pieces = text.split(u'.', Qt::KeepEmptyParts);
    if (pieces.size() != 3)
        return std::nullopt;
    Version version{};
    for (qsizetype i = 0; i < 3; ++i) {
        const std::optional<qint64> number = signedDecimal(pieces[i]);
        if (!number)
            return std::nullopt;
        version[std::size_t(i)] = *number;
    }
    return version;
}

bool ReleaseChecker::isNewer(const Version &remote, const Version &current)
{
    return remote > current;
}

QCoro::Task<ReleaseCheckResult> ReleaseChecker::check(QString currentVersion, StopToken stop) const
{
    // Copies: the checker may be a temporary of the caller's.
    const QUrl address = endpoint;
    const std::shared_ptr<HTTPClient> client = http;
    HTTPRequest request;
    request.url = address;
    const HTTPResult result = co_await client->data(request, stop);
    requireHTTPSuccess(result.response);
    // The scheme is judged on the reply: a build pointed at plain HTTP still asks, and is refused.
    if (!isHTTPS(address))
        throw invalidManifest();
    ReleaseManifest manifest;
    try {
        manifest = ReleaseManifest::fromJson(result.body);
    } catch (const DecodeError &) {
        throw invalidManifest();
    }
    if (!isHTTPS(manifest.downloadURL))
        throw invalidManifest();
    const std::optional<Version> current = parseVersion(currentVersion);
    const std::optional<Version> remote = parseVersion(manifest.version);
    if (!current || !remote)
        throw invalidManifest();
    co_return ReleaseCheckResult{isNewer(*remote, *current) ? ReleaseCheckResult::Kind::UpdateAvailable
                                                            : ReleaseCheckResult::Kind::UpToDate,
                                 manifest};
}

} // namespace tw
