#include "SourceFormState.h"

#include "kit/forms/FormText.h"
#include "kit/model/PollInterval.h"

#include <QRegularExpression>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

using CredentialUse = GameDefinition::CredentialUse;

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

using FormText::isIPv6Literal;
using FormText::isPlainName;
using FormText::portNumber;

QUrl parsedURL(const QString &text)
{
    return QUrl(text, QUrl::StrictMode);
}

bool beginsWithHTTP(const QString &text)
{
    const QString lower = text.toLower();
    return lower.startsWith(u"http://"_s) || lower.startsWith(u"https://"_s);
}

CredentialUse credentialUseOf(const std::optional<GameDefinition> &game)
{
    return game ? game->credentialUse() : CredentialUse::None;
}

// Nothing for an id without a row: two unknown games count as one engine.
std::optional<GameDefinition::Engine> engineOf(const std::optional<GameDefinition> &game)
{
    return game ? std::optional(game->engine) : std::nullopt;
}

} // namespace

SourceFormState::SourceFormState(SourceType kind)
    : type(kind)
    , gameID(QString::fromLatin1(GameRegistry::defaultGameID))
    , pollSeconds(QString::number(static_cast<qint64>(PollInterval::defaultSeconds)))
{
    // The default game's port stands in every kind that has a port, unless the kind starts elsewhere.
    const auto defaultGame = game();
    port = QString::number(defaultGame ? defaultGame->defaultPort : 0);
    kindForm().start(*this);
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
    dependsOn = common.dependsOn;

    kindForm().load(config, *this);
}

std::optional<double> SourceFormState::parsedPollSeconds() const
{
    const auto value = FormText::integerIn(pollSeconds, PollInterval::minimum, PollInterval::maximum);
    return value ? std::optional(static_cast<double>(*value)) : std::nullopt;
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
    if (!kindForm().hostTakesPort())
        return !isPlainName(host.trimmed()) && !isIPv6Literal(host.trimmed());
    if (parsedHostPort())
        return false;
    static const QRegularExpression scheme(u"^[a-zA-Z][a-zA-Z0-9+.-]*://"_s);
    const QString text = host.trimmed();
    return text.isEmpty() || hasWhiteSpace(text) || scheme.match(text).hasMatch() || text.contains(u':');
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
    return kindForm().problem(*this);
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
    return !kindForm().problem(*this) && kindForm().filled(*this);
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
    if (!kindForm().storesSecret(*this))
        return std::nullopt;
    return AnySourceConfig::credentialName(type, id);
}

std::optional<QString> SourceFormState::emptyTestHint() const
{
    return kindForm().emptyTestHint(*this);
}

std::optional<AnySourceConfig> SourceFormState::makeConfig(const QUuid &id) const
{
    const auto interval = parsedPollSeconds();
    if (!isComplete() || !interval)
        return std::nullopt;
    SourceConfig common;
    common.id = id;
    common.displayName = displayName.trimmed();
    common.pollInterval = *interval;
    common.alertsEnabled = alertsEnabled;
    common.alertThreshold = alertThreshold;
    common.dependsOn = dependsOn;
    return kindForm().make(*this, common);
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

QList<SourceFormState::Example> SourceFormState::allExamples()
{
    return {Example::StatusPage, Example::Website, Example::Minecraft};
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
