#include "SourceFormState.h"

#include "kit/model/PollInterval.h"
#include "kit/transport/Nameserver.h"

#include <QHostAddress>
#include <QRegularExpression>
#include <QUrl>

#include <cmath>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

using CredentialUse = GameDefinition::CredentialUse;
using Engine = GameDefinition::Engine;

QString trimmedOfBlanks(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    const auto blank = [](QChar c) {
        return c.isSpace() && c != u'\n' && c != u'\r';
    };
    while (begin < end && blank(text.at(begin)))
        ++begin;
    while (end > begin && blank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

bool hasWhiteSpace(const QString &text)
{
    return std::any_of(text.begin(), text.end(), [](QChar c) { return c.isSpace(); });
}

// A base-10 integer with an optional sign and nothing else: no blanks, no fraction, no "0x".
std::optional<qint64> strictInteger(QStringView text)
{
    if (text.startsWith(u'+') || text.startsWith(u'-')) {
        if (text.size() == 1)
            return std::nullopt;
    }
    const QStringView digits = (text.startsWith(u'+') || text.startsWith(u'-')) ? text.mid(1) : text;
    if (digits.isEmpty() || digits.size() > 18)
        return std::nullopt;
    for (QChar c : digits) {
        if (c < u'0' || c > u'9')
            return std::nullopt;
    }
    const qint64 value = digits.toLongLong();
    return text.startsWith(u'-') ? -value : value;
}

std::optional<qint64> portNumber(QStringView text)
{
    const auto value = strictInteger(text);
    if (!value || *value < 1 || *value > 65535)
        return std::nullopt;
    return value;
}

QUrl parsedURL(const QString &text)
{
    return QUrl(text, QUrl::StrictMode);
}

bool beginsWithHTTP(const QString &text)
{
    const QString lower = text.toLower();
    return lower.startsWith(u"http://"_s) || lower.startsWith(u"https://"_s);
}

// Nothing for an id without a row: two unknown games count as one engine.
std::optional<Engine> engineOf(const std::optional<GameDefinition> &game)
{
    return game ? std::optional(game->engine) : std::nullopt;
}

CredentialUse credentialUseOf(const std::optional<GameDefinition> &game)
{
    return game ? game->credentialUse() : CredentialUse::None;
}

std::optional<QString> nonEmpty(const QString &text)
{
    if (text.isEmpty())
        return std::nullopt;
    return text;
}

bool present(const std::optional<QString> &ref)
{
    return ref && !ref->isEmpty();
}

// A bare name: no blanks, no scheme, no port, no path.
bool isPlainName(const QString &text)
{
    static const QRegularExpression forbidden(u"[\\s:/@]"_s);
    return !text.isEmpty() && !forbidden.match(text).hasMatch();
}

bool isIPv6Literal(const QString &text)
{
    return QHostAddress(text).protocol() == QAbstractSocket::IPv6Protocol;
}

} // namespace

SourceFormState::SourceFormState(SourceType kind)
    : type(kind)
    , gameID(QString::fromLatin1(GameRegistry::defaultGameID))
    , pingCount(QString::number(ICMPPingConfig::defaultCount))
    , recordType(toText(DNSRecordType::A))
    , warningDays(QString::number(TLSCertificateConfig::defaultWarningDays))
    , pollSeconds(kind == SourceType::Beszel ? u"30"_s : u"60"_s)
{
    const auto game = GameRegistry::definition(gameID);
    port = QString::number(kind == SourceType::TLSCertificate ? TLSCertificateConfig::defaultPort
                                                              : (game ? game->defaultPort : 0));
}

SourceFormState::SourceFormState(Example example)
    : SourceFormState(example == Example::StatusPage    ? SourceType::Kuma
                          : example == Example::Website ? SourceType::HTTPPing
                                                        : SourceType::GameServer)
{
    switch (example) {
    case Example::StatusPage:
        displayName = u"Status Page"_s;
        baseURL = QString::fromLatin1(exampleServiceURL);
        statusPageSlug = u"public"_s;
        break;
    case Example::Website:
        displayName = u"Website"_s;
        baseURL = QString::fromLatin1(exampleWebsiteURL);
        break;
    case Example::Minecraft:
        displayName = u"Minecraft Server"_s;
        host = QString::fromLatin1(exampleMinecraftHost);
        break;
    }
}

SourceFormState::SourceFormState(const AnySourceConfig &config)
    : SourceFormState(config.kind())
{
    const SourceConfig &common = config.common();
    displayName = common.displayName;
    alertsEnabled = common.alertsEnabled;
    // An edited source keeps its port whatever game is chosen later.
    portEdited = true;
    pollSeconds = QString::number(static_cast<qint64>(PollInterval::clamp(common.pollInterval)));
    alertThreshold = std::clamp<qint64>(common.alertThreshold, 1, 10);

    std::visit(
        [this](const auto &c) {
            using T = std::decay_t<decltype(c)>;
            if constexpr (std::is_same_v<T, KumaConfig>) {
                baseURL = c.baseURL;
                username = c.username.value_or(QString());
                statusPageSlug = c.statusPageSlug.value_or(QString());
                hasStoredSecret = present(c.passwordRef);
            } else if constexpr (std::is_same_v<T, BeszelConfig>) {
                baseURL = c.baseURL;
                hasStoredSecret = !c.tokenRef.isEmpty();
            } else if constexpr (std::is_same_v<T, GameServerConfig>) {
                gameID = c.gameID;
                host = c.host;
                port = QString::number(c.port);
                gameQueryPort = c.queryPort ? QString::number(*c.queryPort) : QString();
                useTLS = c.useTLS;
                hasStoredSecret = present(c.credentialRef);
            } else if constexpr (std::is_same_v<T, HTTPPingConfig>) {
                baseURL = c.url;
            } else if constexpr (std::is_same_v<T, TCPPortConfig>) {
                host = c.host;
                port = QString::number(c.port);
            } else if constexpr (std::is_same_v<T, JSONWidgetConfig>) {
                baseURL = c.url;
                jsonFields = c.fields;
                hasStoredSecret = present(c.bearerTokenRef);
            } else if constexpr (std::is_same_v<T, ICMPPingConfig>) {
                host = c.host;
                pingCount = QString::number(c.count);
            } else if constexpr (std::is_same_v<T, DNSRecordConfig>) {
                recordName = c.name;
                recordType = toText(c.recordType);
                expectedValue = c.expectedValue.value_or(QString());
                nameserver = c.nameserver.value_or(QString());
            } else if constexpr (std::is_same_v<T, TLSCertificateConfig>) {
                host = c.host;
                port = QString::number(c.port);
                sniName = c.sniName.value_or(QString());
                warningDays = QString::number(c.warningDays);
            }
        },
        config.payload());
}

std::optional<double> SourceFormState::parsedPollSeconds() const
{
    const auto value = strictInteger(pollSeconds.trimmed());
    if (!value || *value < PollInterval::minimum || *value > PollInterval::maximum)
        return std::nullopt;
    return static_cast<double>(*value);
}

std::optional<QString> SourceFormState::normalizedBaseURL() const
{
    if (baseURL.trimmed().isEmpty() || beginsWithHTTP(baseURL))
        return std::nullopt;
    if (!parsedURL(baseURL).host().isEmpty())
        return std::nullopt;
    const QUrl completed = parsedURL(u"https://"_s + baseURL);
    if (!completed.isValid() || completed.host().isEmpty() || !completed.userName().isEmpty()
        || !completed.password().isEmpty())
        return std::nullopt;
    return u"https://"_s + baseURL;
}

std::optional<std::pair<QString, QString>> SourceFormState::parsedHostPort() const
{
    const QString text = host.trimmed();
    if (text.isEmpty() || hasWhiteSpace(text))
        return std::nullopt;
    const QStringList pieces = text.split(u':');
    if (pieces.size() != 2 || pieces[0].isEmpty() || pieces[1].isEmpty())
        return std::nullopt;
    const QStringView portText = pieces[1].startsWith(u'+') ? QStringView(pieces[1]).mid(1) : QStringView(pieces[1]);
    if (portText.startsWith(u'-'))
        return std::nullopt;
    const auto number = portNumber(portText);
    if (!number)
        return std::nullopt;
    return std::pair{pieces[0], QString::number(*number)};
}

std::optional<qint64> SourceFormState::parsedQueryPort() const
{
    return portNumber(gameQueryPort.trimmed());
}

bool SourceFormState::urlHasCredentials() const
{
    if (baseURL.isEmpty())
        return false;
    const QUrl url = parsedURL(baseURL);
    return url.isValid() && (!url.userName().isEmpty() || !url.password().isEmpty());
}

bool SourceFormState::urlHasWrongScheme() const
{
    if (baseURL.isEmpty())
        return false;
    const QUrl url = parsedURL(baseURL);
    if (!url.isValid() || url.scheme().isEmpty())
        return false;
    const QString scheme = url.scheme().toLower();
    return scheme != u"http" && scheme != u"https" && !normalizedBaseURL();
}

bool SourceFormState::urlHasNoHost() const
{
    if (baseURL.isEmpty() || !beginsWithHTTP(baseURL) || normalizedBaseURL())
        return false;
    return parsedURL(baseURL).host().isEmpty();
}

bool SourceFormState::hostIsBad() const
{
    if (host.isEmpty())
        return false;
    // A ping has no port, and an IPv6 address is as plain as a host gets.
    if (type == SourceType::ICMPPing)
        return !isPlainName(host.trimmed()) && !isIPv6Literal(host.trimmed());
    if (parsedHostPort())
        return false;
    static const QRegularExpression scheme(u"^[a-zA-Z][a-zA-Z0-9+.-]*://"_s);
    const QString text = host.trimmed();
    return text.isEmpty() || hasWhiteSpace(text) || scheme.match(text).hasMatch() || text.contains(u':');
}

bool SourceFormState::queryPortIsBad() const
{
    return type == SourceType::GameServer && !gameQueryPort.trimmed().isEmpty() && !parsedQueryPort();
}

std::optional<qint64> SourceFormState::parsedPingCount() const
{
    const auto value = strictInteger(pingCount.trimmed());
    if (!value || *value < ICMPPingConfig::minCount || *value > ICMPPingConfig::maxCount)
        return std::nullopt;
    return value;
}

std::optional<qint64> SourceFormState::parsedWarningDays() const
{
    const auto value = strictInteger(warningDays.trimmed());
    if (!value || *value < 1 || *value > maxWarningDays)
        return std::nullopt;
    return value;
}

bool SourceFormState::pingCountIsBad() const
{
    return type == SourceType::ICMPPing && !parsedPingCount();
}

bool SourceFormState::recordNameIsBad() const
{
    return type == SourceType::DNSRecord && !recordName.isEmpty() && !isPlainName(recordName.trimmed());
}

bool SourceFormState::nameserverIsBad() const
{
    return type == SourceType::DNSRecord && !nameserver.trimmed().isEmpty() && !Nameserver::parse(nameserver);
}

bool SourceFormState::sniNameIsBad() const
{
    return type == SourceType::TLSCertificate && !sniName.trimmed().isEmpty() && !isPlainName(sniName.trimmed());
}

bool SourceFormState::warningDaysIsBad() const
{
    return type == SourceType::TLSCertificate && !parsedWarningDays();
}

std::optional<QString> SourceFormState::validationMessage() const
{
    if (urlHasCredentials())
        return u"The URL contains a username/password. Remove it and use the username/token field(s) below instead."_s;
    if (urlHasWrongScheme())
        return u"Enter a full URL starting with http:// or https://."_s;
    if (urlHasNoHost())
        return u"Enter a full URL including a host, e.g. "_s + QString::fromLatin1(exampleServiceURL) + u"."_s;
    if (hostIsBad())
        return u"Enter a plain host or IP, like "_s + QString::fromLatin1(exampleHostName) + u" or "_s
            + QString::fromLatin1(examplePrivateAddress) + u" — no spaces, line breaks, or scheme."_s;
    if (!parsedPollSeconds())
        return u"Enter a check interval between "_s + QString::number(PollInterval::minimum) + u" and "_s
            + QString::number(PollInterval::maximum) + u" seconds."_s;
    if (queryPortIsBad())
        return u"Enter a query port between 1 and 65535, or leave it blank."_s;
    if (pingCountIsBad())
        return u"Enter a ping count between %1 and %2."_s.arg(ICMPPingConfig::minCount).arg(ICMPPingConfig::maxCount);
    if (recordNameIsBad())
        return u"Enter a DNS name like "_s + QString::fromLatin1(exampleHostName) + u" — no spaces, scheme, or port."_s;
    if (type == SourceType::DNSRecord && !dnsRecordTypeFromString(recordType))
        return u"Choose a record type: A, AAAA, CNAME, MX, TXT or SRV."_s;
    if (nameserverIsBad())
        return u"Enter the nameserver as an IP address, like "_s + QString::fromLatin1(exampleNameserver)
            + u" (a port after a colon if it is not 53), or leave it blank."_s;
    if (sniNameIsBad())
        return u"Enter the certificate name as a plain host name, or leave it blank."_s;
    if (warningDaysIsBad())
        return u"Enter a warning period between 1 and %1 days."_s.arg(maxWarningDays);
    return std::nullopt;
}

std::optional<std::pair<QString, qint64>> SourceFormState::hostAndPort() const
{
    if (const auto split = parsedHostPort())
        return std::pair{split->first, split->second.toLongLong()};
    const QString name = host.trimmed();
    const auto number = portNumber(port.trimmed());
    if (name.isEmpty() || !number)
        return std::nullopt;
    return std::pair{name, *number};
}

bool SourceFormState::isComplete() const
{
    if (displayName.trimmed().isEmpty() || !parsedPollSeconds())
        return false;
    if (urlHasCredentials() || urlHasWrongScheme() || urlHasNoHost() || hostIsBad())
        return false;
    switch (type) {
    case SourceType::Kuma:
        return !baseURL.isEmpty() && ((!username.isEmpty() && hasSecret()) || !statusPageSlug.isEmpty());
    case SourceType::Beszel:
        return !baseURL.isEmpty() && hasSecret();
    case SourceType::GameServer:
        return hostAndPort() && !queryPortIsBad() && (credentialUse() != CredentialUse::Required || hasSecret());
    case SourceType::HTTPPing:
        return !baseURL.isEmpty();
    case SourceType::TCPPort:
        return hostAndPort().has_value();
    case SourceType::JSONWidget:
        return !baseURL.isEmpty() && !jsonFields.isEmpty();
    case SourceType::ICMPPing:
        return !host.trimmed().isEmpty() && parsedPingCount().has_value();
    case SourceType::DNSRecord:
        return !recordName.trimmed().isEmpty() && !recordNameIsBad() && dnsRecordTypeFromString(recordType)
            && !nameserverIsBad();
    case SourceType::TLSCertificate:
        return hostAndPort() && !sniNameIsBad() && parsedWarningDays();
    }
    return false;
}

std::optional<GameDefinition> SourceFormState::game() const
{
    return GameRegistry::definition(gameID);
}

GameDefinition::CredentialUse SourceFormState::credentialUse() const
{
    if (type != SourceType::GameServer)
        return CredentialUse::None;
    return credentialUseOf(game());
}

std::optional<QString> SourceFormState::credentialRef(const QUuid &id) const
{
    if (!hasSecret())
        return std::nullopt;
    switch (type) {
    case SourceType::HTTPPing:
    case SourceType::TCPPort:
    case SourceType::ICMPPing:
    case SourceType::DNSRecord:
    case SourceType::TLSCertificate:
        return std::nullopt;
    case SourceType::GameServer:
        // Only the engines that send a secret get a name for one; a typed secret for any other
        // game is never stored.
        if (const auto engine = engineOf(game()); engine != Engine::PalworldREST && engine != Engine::FiveMHTTP)
            return std::nullopt;
        break;
    default:
        break;
    }
    return AnySourceConfig::credentialName(type, id);
}

std::optional<QString> SourceFormState::emptyTestHint() const
{
    switch (type) {
    case SourceType::Kuma:
        // A user with a secret reads the metrics page first; otherwise the status page is read, and a
        // page that lists no monitor at all already fails with its own text.
        if (!username.isEmpty() && hasSecret())
            return u"Check that Uptime Kuma has monitors set up."_s;
        return u"Check that the status page's monitors are active and have run a check."_s;
    case SourceType::Beszel:
        // Only a reply that is not the hub's record list reads as nothing.
        return u"Check that the URL is the Beszel hub itself, not a page in front of it."_s;
    case SourceType::GameServer:
    case SourceType::HTTPPing:
    case SourceType::TCPPort:
    case SourceType::JSONWidget:
    case SourceType::ICMPPing:
    case SourceType::DNSRecord:
    case SourceType::TLSCertificate:
        break;
    }
    return std::nullopt;
}

std::optional<AnySourceConfig> SourceFormState::makeConfig(const QUuid &id) const
{
    const auto interval = parsedPollSeconds();
    if (!isComplete() || !interval)
        return std::nullopt;
    const QString url = normalizedBaseURL().value_or(baseURL);
    const QString name = displayName.trimmed();
    const auto common = [&](SourceConfig &c) {
        c.pollInterval = *interval;
        c.alertsEnabled = alertsEnabled;
        c.alertThreshold = alertThreshold;
    };
    switch (type) {
    case SourceType::Kuma: {
        KumaConfig c(id, name, url);
        common(c);
        c.username = nonEmpty(username);
        c.passwordRef = credentialRef(id);
        c.statusPageSlug = nonEmpty(statusPageSlug);
        return c;
    }
    case SourceType::Beszel: {
        BeszelConfig c(id, name, url, credentialRef(id).value_or(QString()));
        common(c);
        return c;
    }
    case SourceType::GameServer: {
        const auto [h, p] = *hostAndPort();
        GameServerConfig c(id, name, gameID, h, p);
        common(c);
        c.queryPort = parsedQueryPort();
        c.credentialRef = credentialRef(id);
        c.useTLS = useTLS;
        return c;
    }
    case SourceType::HTTPPing: {
        HTTPPingConfig c(id, name, url);
        common(c);
        return c;
    }
    case SourceType::TCPPort: {
        const auto [h, p] = *hostAndPort();
        TCPPortConfig c(id, name, h, p);
        common(c);
        return c;
    }
    case SourceType::JSONWidget: {
        JSONWidgetConfig c(id, name, url, jsonFields);
        common(c);
        c.bearerTokenRef = credentialRef(id);
        return c;
    }
    case SourceType::ICMPPing: {
        ICMPPingConfig c(id, name, host.trimmed(), *parsedPingCount());
        common(c);
        return c;
    }
    case SourceType::DNSRecord: {
        DNSRecordConfig c(id, name, recordName.trimmed(), *dnsRecordTypeFromString(recordType));
        common(c);
        c.expectedValue = nonEmpty(expectedValue.trimmed());
        c.nameserver = nonEmpty(nameserver.trimmed());
        return c;
    }
    case SourceType::TLSCertificate: {
        const auto [h, p] = *hostAndPort();
        TLSCertificateConfig c(id, name, h, p);
        common(c);
        c.sniName = nonEmpty(sniName.trimmed());
        c.warningDays = *parsedWarningDays();
        return c;
    }
    }
    return std::nullopt;
}

void SourceFormState::chooseGame(const QString &id)
{
    const auto before = game();
    const auto after = GameRegistry::definition(id);
    gameID = id;
    if (!portEdited)
        port = QString::number(after ? after->defaultPort : 0);
    // A secret belongs to one query engine: FiveM's token works for RedM, not for Palworld.
    if (credentialUseOf(before) != credentialUseOf(after) || engineOf(before) != engineOf(after)) {
        secret.clear();
        hasStoredSecret = false;
    }
}

void SourceFormState::editPort(const QString &text)
{
    port = text;
    portEdited = true;
}

QString SourceFormState::fieldsText(const QList<JSONWidgetConfig::FieldMapping> &fields)
{
    QStringList lines;
    for (const auto &field : fields)
        lines.append(field.label + u" = "_s + field.path);
    return lines.join(u'\n');
}

QList<JSONWidgetConfig::FieldMapping> SourceFormState::parseFields(const QString &text)
{
    QList<JSONWidgetConfig::FieldMapping> fields;
    for (const QString &line : text.split(u'\n', Qt::SkipEmptyParts)) {
        const qsizetype equals = line.indexOf(u'=');
        if (equals < 0)
            continue;
        fields.append({trimmedOfBlanks(line.left(equals)), trimmedOfBlanks(line.mid(equals + 1))});
    }
    return fields;
}

QList<SourceFormState::SourceType> SourceFormState::allTypes()
{
    QList<SourceType> types;
    for (std::size_t i = 0; i < std::variant_size_v<AnySourceConfig::Payload>; ++i)
        types.append(static_cast<SourceType>(i));
    return types;
}

QList<SourceFormState::Example> SourceFormState::allExamples()
{
    return {Example::StatusPage, Example::Website, Example::Minecraft};
}

QString SourceFormState::title(SourceType type)
{
    switch (type) {
    case SourceType::Kuma:
        return u"Uptime Kuma"_s;
    case SourceType::Beszel:
        return u"Beszel"_s;
    case SourceType::GameServer:
        return u"Game Server"_s;
    case SourceType::HTTPPing:
        return u"HTTP Ping"_s;
    case SourceType::TCPPort:
        return u"TCP Port"_s;
    case SourceType::JSONWidget:
        return u"Custom JSON"_s;
    case SourceType::ICMPPing:
        return u"ICMP Ping"_s;
    case SourceType::DNSRecord:
        return u"DNS Record"_s;
    case SourceType::TLSCertificate:
        return u"TLS Certificate"_s;
    }
    return {};
}

QString SourceFormState::icon(SourceType type)
{
    switch (type) {
    case SourceType::Kuma:
        return u"waveform.path.ecg"_s;
    case SourceType::Beszel:
        return u"gauge.with.dots.needle.33percent"_s;
    case SourceType::GameServer:
        return u"gamecontroller"_s;
    case SourceType::HTTPPing:
        return u"globe"_s;
    case SourceType::TCPPort:
        return u"network"_s;
    case SourceType::JSONWidget:
        return u"curlybraces"_s;
    case SourceType::ICMPPing:
        return u"dot.radiowaves.left.and.right"_s;
    case SourceType::DNSRecord:
        return u"signpost.right"_s;
    case SourceType::TLSCertificate:
        return u"lock.shield"_s;
    }
    return {};
}

QString SourceFormState::exampleLine(SourceType type)
{
    switch (type) {
    case SourceType::Kuma:
        return u"Service state"_s;
    case SourceType::Beszel:
        return u"Server stats"_s;
    case SourceType::GameServer:
        return QString::number(GameRegistry::all().size()) + u" games"_s;
    case SourceType::HTTPPing:
        return u"Web checks"_s;
    case SourceType::TCPPort:
        return u"Port listener"_s;
    case SourceType::JSONWidget:
        return u"API endpoint"_s;
    case SourceType::ICMPPing:
        return u"Host reachability"_s;
    case SourceType::DNSRecord:
        return u"Name resolution"_s;
    case SourceType::TLSCertificate:
        return u"Certificate expiry"_s;
    }
    return {};
}

QString SourceFormState::exampleIcon(Example example)
{
    switch (example) {
    case Example::StatusPage:
        return u"checkmark.seal"_s;
    case Example::Website:
        return u"globe"_s;
    case Example::Minecraft:
        return u"cube"_s;
    }
    return {};
}

QString SourceFormState::exampleLabel(Example example)
{
    return SourceFormState(example).displayName + u" example"_s;
}

QString toText(SourceFormState::Example example)
{
    switch (example) {
    case SourceFormState::Example::StatusPage:
        return u"statusPage"_s;
    case SourceFormState::Example::Website:
        return u"website"_s;
    case SourceFormState::Example::Minecraft:
        return u"minecraft"_s;
    }
    return {};
}

std::optional<SourceFormState::Example> exampleFromText(QStringView text)
{
    for (auto example : SourceFormState::allExamples()) {
        if (toText(example) == text)
            return example;
    }
    return std::nullopt;
}

} // namespace tw
