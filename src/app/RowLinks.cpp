#include "RowLinks.h"

#include "kit/model/Overloaded.h"
#include "kit/providers/ProviderSupport.h"

#include <QUrl>

using namespace Qt::StringLiterals;

namespace tw::RowLinks {

namespace {

// The hub's address with `path` under it, whatever path the hub itself is served at.
std::optional<QString> under(const QString &base, const QString &path)
{
    const auto root = ProviderSupport::browsable(base);
    if (!root)
        return std::nullopt;
    QString joined = *root;
    while (joined.endsWith(u'/'))
        joined.chop(1);
    return ProviderSupport::browsable(joined + path);
}

} // namespace

std::optional<QString> widgetPage(const AnySourceConfig &source, const WidgetData &widget)
{
    return std::visit(
        Overloaded{
            [](const ServiceRow &row) { return row.url ? ProviderSupport::browsable(*row.url) : std::nullopt; },
            [](const CheckResult &check) { return check.url ? ProviderSupport::browsable(*check.url) : std::nullopt; },
            [&source](const HostStats &host) -> std::optional<QString> {
                const auto *beszel = source.as<BeszelConfig>();
                if (!beszel)
                    return std::nullopt;
                return under(beszel->baseURL, u"/system/"_s + QString::fromUtf8(QUrl::toPercentEncoding(host.name)));
            },
            [&source](const KeyValues &) { return sourcePage(source); },
            [](const GameServerStatus &) { return std::optional<QString>(); },
        },
        widget.payload);
}

std::optional<QString> sourcePage(const AnySourceConfig &source)
{
    if (const auto *kuma = source.as<KumaConfig>()) {
        // Without a metrics user, the status page is what the user reads too.
        if (kuma->statusPageSlug && !kuma->username)
            return under(kuma->baseURL,
                         u"/status/"_s + QString::fromUtf8(QUrl::toPercentEncoding(*kuma->statusPageSlug)));
        return ProviderSupport::browsable(kuma->baseURL);
    }
    if (const auto *beszel = source.as<BeszelConfig>())
        return ProviderSupport::browsable(beszel->baseURL);
    if (const auto *json = source.as<JSONWidgetConfig>())
        return ProviderSupport::browsable(json->url);
    if (const auto *http = source.as<HTTPPingConfig>())
        return ProviderSupport::browsable(http->url);
    return std::nullopt;
}

} // namespace tw::RowLinks
