#include "SettingsText.h"

#include "app/PopoverRows.h"

using namespace Qt::StringLiterals;

namespace tw::SettingsText {

QString kindLabel(AnySourceConfig::Kind kind)
{
    switch (kind) {
    case AnySourceConfig::Kind::Kuma:
        return u"Uptime Kuma"_s;
    case AnySourceConfig::Kind::Beszel:
        return u"Beszel"_s;
    case AnySourceConfig::Kind::GameServer:
        return u"Game Server"_s;
    case AnySourceConfig::Kind::HTTPPing:
        return u"HTTP Ping"_s;
    case AnySourceConfig::Kind::TCPPort:
        return u"TCP Port"_s;
    case AnySourceConfig::Kind::JSONWidget:
        return u"Custom JSON"_s;
    case AnySourceConfig::Kind::ICMPPing:
        return u"ICMP Ping"_s;
    case AnySourceConfig::Kind::DNSRecord:
        return u"DNS Record"_s;
    case AnySourceConfig::Kind::TLSCertificate:
        return u"TLS Certificate"_s;
    }
    return {};
}

QString kindSymbol(AnySourceConfig::Kind kind)
{
    switch (kind) {
    case AnySourceConfig::Kind::Kuma:
        return u"waveform.path.ecg"_s;
    case AnySourceConfig::Kind::Beszel:
        return u"gauge.with.dots.needle.33percent"_s;
    case AnySourceConfig::Kind::GameServer:
        return u"gamecontroller"_s;
    case AnySourceConfig::Kind::HTTPPing:
        return u"globe"_s;
    case AnySourceConfig::Kind::TCPPort:
        return u"network"_s;
    case AnySourceConfig::Kind::JSONWidget:
        return u"curlybraces"_s;
    case AnySourceConfig::Kind::ICMPPing:
        return u"dot.radiowaves.left.and.right"_s;
    case AnySourceConfig::Kind::DNSRecord:
        return u"signpost.right"_s;
    case AnySourceConfig::Kind::TLSCertificate:
        return u"lock.shield"_s;
    }
    return {};
}

QString targetText(const AnySourceConfig &source)
{
    if (const auto *kuma = source.as<KumaConfig>())
        return kuma->baseURL;
    if (const auto *beszel = source.as<BeszelConfig>())
        return beszel->baseURL;
    if (const auto *ping = source.as<HTTPPingConfig>())
        return ping->url;
    if (const auto *json = source.as<JSONWidgetConfig>())
        return json->url;
    if (const auto *game = source.as<GameServerConfig>())
        return game->host + u':' + QString::number(game->port);
    if (const auto *port = source.as<TCPPortConfig>())
        return port->host + u':' + QString::number(port->port);
    if (const auto *ping = source.as<ICMPPingConfig>())
        return ping->host;
    if (const auto *dns = source.as<DNSRecordConfig>())
        return toText(dns->recordType) + u' ' + dns->name;
    if (const auto *tls = source.as<TLSCertificateConfig>())
        return tls->host + u':' + QString::number(tls->port);
    return {};
}

ServiceStatus
sourceStatus(const QUuid &id, const QHash<QUuid, SourceSnapshot> &snapshots, const QHash<QUuid, QString> &errors)
{
    if (errors.contains(id))
        return ServiceStatus::Down;
    const auto snapshot = snapshots.constFind(id);
    if (snapshot != snapshots.cend())
        return PopoverRows::worstStatus(snapshot->widgets);
    return ServiceStatus::Unknown;
}

QString countText(qsizetype count)
{
    return count == 1 ? u"1 source"_s : u"%1 sources"_s.arg(count);
}

QString replaceConfirmation(qsizetype current, qsizetype pending)
{
    return u"Tidewatch deletes %1 and adds %2 from the file."_s.arg(countText(current), countText(pending));
}

QString importSummary(qsizetype count, const QStringList &missingSecrets)
{
    QString text = u"Tidewatch now polls %1."_s.arg(countText(count));
    if (!missingSecrets.isEmpty()) {
        text += u" Open each of these sources and enter its password or token again: %1."_s.arg(
            missingSecrets.join(u", "_s));
    }
    return text;
}

QString sourcesAdded(qsizetype count)
{
    return count == 1 ? u"1 source added"_s : u"%1 sources added"_s.arg(count);
}

QString permissionText(std::optional<AlertCenter::Authorization> status)
{
    if (!status)
        return u"Tidewatch asks for permission when you add your first source."_s;
    switch (*status) {
    case AlertCenter::Authorization::Denied:
        return u"Alerts are blocked. Tidewatch cannot tell you when a service goes down."_s;
    case AlertCenter::Authorization::Authorized:
        return u"Tidewatch can show alerts."_s;
    }
    return u"The permission state is unknown."_s;
}

QString upToDateBody(const QString &version)
{
    return u"You have the latest version, %1."_s.arg(version);
}

QString updateAvailableTitle(const QString &version)
{
    return u"Tidewatch %1 Is Available"_s.arg(version);
}

QString updateAvailableBody(const QString &domain)
{
    return u"Download the latest release from %1."_s.arg(domain);
}

} // namespace tw::SettingsText
