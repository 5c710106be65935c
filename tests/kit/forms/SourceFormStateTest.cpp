#include "kit/forms/SourceFormState.h"

#include "support/TestData.h"

#include <QTest>

#include <cmath>
#include <functional>
#include <limits>

using namespace tw;
using namespace Qt::StringLiterals;

using Type = SourceFormState::SourceType;
Q_DECLARE_METATYPE(Type)
Q_DECLARE_METATYPE(tw::SourceFormState)
Q_DECLARE_METATYPE(tw::AnySourceConfig)

namespace {

const QString none = u"<none>"_s;

QString orNone(const std::optional<QString> &value)
{
    return value.value_or(none);
}

QString orNone(const std::optional<double> &value)
{
    return value ? QString::number(*value) : none;
}

QString orNone(const std::optional<qint64> &value)
{
    return value ? QString::number(*value) : none;
}

const QUuid fixedID(u"{6F2C1D0E-9A3B-4C5D-8E7F-0123456789AB}"_s);

SourceFormState named(Type type)
{
    SourceFormState form(type);
    form.displayName = u"Thing"_s;
    return form;
}

// Which of the seven outcomes a message is, so the tables name the rule rather than repeat text.
QString messageKey(const std::optional<QString> &message)
{
    if (!message)
        return u"ok"_s;
    if (message->startsWith(u"The URL contains a username/password."_s))
        return u"credentials"_s;
    if (*message == u"Enter a full URL starting with http:// or https://."_s)
        return u"scheme"_s;
    if (message->startsWith(u"Enter a full URL including a host, e.g. https://"_s) && message->endsWith(u'.'))
        return u"noHost"_s;
    if (message->startsWith(u"Enter a plain host or IP, like "_s)
        && message->endsWith(u" — no spaces, line breaks, or scheme."_s))
        return u"badHost"_s;
    if (*message == u"Enter a check interval between 5 and 3600 seconds."_s)
        return u"interval"_s;
    if (*message == u"Enter a query port between 1 and 65535, or leave it blank."_s)
        return u"queryPort"_s;
    return u"unexpected: "_s + *message;
}

} // namespace

class SourceFormStateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void examplesAreReadyToSave_data()
    {
        QTest::addColumn<SourceFormState::Example>("example");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("label");
        QTest::newRow("status page") << SourceFormState::Example::StatusPage << u"kuma"_s << u"Status Page example"_s;
        QTest::newRow("website") << SourceFormState::Example::Website << u"httpPing"_s << u"Website example"_s;
        QTest::newRow("minecraft") << SourceFormState::Example::Minecraft << u"gameServer"_s
                                   << u"Minecraft Server example"_s;
    }
    void examplesAreReadyToSave()
    {
        QFETCH(SourceFormState::Example, example);
        const SourceFormState form(example);
        QCOMPARE(toText(form.type), TW_DATA(QString, kind));
        QCOMPARE(SourceFormState::exampleLabel(example), TW_DATA(QString, label));
        QVERIFY2(form.isComplete(), qPrintable(form.validationMessage().value_or(u"incomplete"_s)));
        const auto config = form.makeConfig(fixedID);
        QVERIFY(config);
        if (const auto *kuma = config->as<KumaConfig>()) {
            QVERIFY(kuma->baseURL.startsWith(u"https://"_s));
            QCOMPARE(kuma->statusPageSlug, u"public"_s);
            QCOMPARE(kuma->passwordRef, std::nullopt);
        }
        if (const auto *game = config->as<GameServerConfig>())
            QCOMPARE(game->port, 25565);
    }

    void pollSeconds_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("parsed");
        QTest::newRow("lowest") << u"5"_s << u"5"_s;
        QTest::newRow("highest") << u"3600"_s << u"3600"_s;
        QTest::newRow("below") << u"4"_s << none;
        QTest::newRow("above") << u"3601"_s << none;
        QTest::newRow("blanks around") << u" 60 "_s << u"60"_s;
        QTest::newRow("plus sign") << u"+60"_s << u"60"_s;
        QTest::newRow("minus sign") << u"-60"_s << none;
        QTest::newRow("fraction") << u"60.5"_s << none;
        QTest::newRow("empty") << QString() << none;
        QTest::newRow("overflowing") << u"99999999999999999999999"_s << none;
    }
    void pollSeconds()
    {
        SourceFormState form = named(Type::HTTPPing);
        form.pollSeconds = TW_DATA(QString, typed);
        QCOMPARE(orNone(form.parsedPollSeconds()), TW_DATA(QString, parsed));
    }

    void bareHosts_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("normalized");
        QTest::newRow("host and port") << u"kuma.local:3001"_s << u"https://kuma.local:3001"_s;
        QTest::newRow("plain name") << u"nas"_s << u"https://nas"_s;
        QTest::newRow("address and path") << u"10.0.0.5:8090/api"_s << u"https://10.0.0.5:8090/api"_s;
        QTest::newRow("https") << u"https://kuma.local"_s << none;
        QTest::newRow("upper-case http") << u"HTTP://kuma.local"_s << none;
        QTest::newRow("other scheme with host") << u"ftp://x"_s << none;
        QTest::newRow("user in bare host") << u"me@nas"_s << none;
        QTest::newRow("blank") << u"   "_s << none;
        QTest::newRow("space inside") << u"my nas"_s << none;
    }
    void bareHosts()
    {
        SourceFormState form = named(Type::Kuma);
        form.baseURL = TW_DATA(QString, url);
        QCOMPARE(orNone(form.normalizedBaseURL()), TW_DATA(QString, normalized));
    }

    void hostAndPort_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("split");
        QTest::addColumn<bool>("bad");
        QTest::newRow("plain") << u"nas"_s << none << false;
        QTest::newRow("host:port") << u"nas:25565"_s << u"nas 25565"_s << false;
        QTest::newRow("blanks around") << u"  nas:22 "_s << u"nas 22"_s << false;
        QTest::newRow("port zero") << u"nas:0"_s << none << true;
        QTest::newRow("port too big") << u"nas:65536"_s << none << true;
        QTest::newRow("negative port") << u"nas:-1"_s << none << true;
        QTest::newRow("two colons") << u"a:b:c"_s << none << true;
        QTest::newRow("no port") << u"nas:"_s << none << true;
        QTest::newRow("no host") << u":22"_s << none << true;
        QTest::newRow("named port") << u"nas:ssh"_s << none << true;
        QTest::newRow("scheme") << u"http://nas"_s << none << true;
        QTest::newRow("space") << u"nas local"_s << none << true;
        QTest::newRow("blanks only") << u"   "_s << none << true;
        QTest::newRow("bare IPv6") << u"::1"_s << none << true;
    }
    void hostAndPort()
    {
        SourceFormState form = named(Type::TCPPort);
        form.host = TW_DATA(QString, host);
        const auto split = form.parsedHostPort();
        QCOMPARE(split ? split->first + u' ' + split->second : none, TW_DATA(QString, split));
        QCOMPARE(messageKey(form.validationMessage()) == u"badHost"_s, TW_DATA(bool, bad));
    }

    void queryPort_data()
    {
        QTest::addColumn<Type>("type");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("parsed");
        QTest::addColumn<QString>("message");
        QTest::newRow("blank") << Type::GameServer << u"  "_s << none << u"ok"_s;
        QTest::newRow("given") << Type::GameServer << u"27016"_s << u"27016"_s << u"ok"_s;
        QTest::newRow("blanks around") << Type::GameServer << u" 27016 "_s << u"27016"_s << u"ok"_s;
        QTest::newRow("zero") << Type::GameServer << u"0"_s << none << u"queryPort"_s;
        QTest::newRow("too big") << Type::GameServer << u"65536"_s << none << u"queryPort"_s;
        QTest::newRow("text") << Type::GameServer << u"auto"_s << none << u"queryPort"_s;
        QTest::newRow("other kind ignores it") << Type::TCPPort << u"0"_s << none << u"ok"_s;
    }
    void queryPort()
    {
        SourceFormState form = named(TW_DATA(Type, type));
        form.host = u"nas"_s;
        form.gameQueryPort = TW_DATA(QString, typed);
        QCOMPARE(orNone(form.parsedQueryPort()), TW_DATA(QString, parsed));
        QCOMPARE(messageKey(form.validationMessage()), TW_DATA(QString, message));
    }

    // The first rule that fires speaks, whatever else is wrong.
    void messagesInOrder_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("interval");
        QTest::addColumn<QString>("queryPort");
        QTest::addColumn<QString>("message");
        QTest::newRow("all fine") << u"https://kuma.local"_s << u"nas"_s << u"60"_s << QString() << u"ok"_s;
        QTest::newRow("empty fields say nothing") << QString() << QString() << u"60"_s << QString() << u"ok"_s;
        QTest::newRow("credentials before all")
            << u"https://u:p@x"_s << u"http://nas"_s << u"1"_s << u"0"_s << u"credentials"_s;
        QTest::newRow("user alone") << u"https://u@x"_s << QString() << u"60"_s << QString() << u"credentials"_s;
        QTest::newRow("scheme before host") << u"ftp://x"_s << u"nas local"_s << u"1"_s << QString() << u"scheme"_s;
        QTest::newRow("no host") << u"https://"_s << u"nas local"_s << u"60"_s << QString() << u"noHost"_s;
        QTest::newRow("upper-case scheme, no host")
            << u"HTTPS://"_s << QString() << u"60"_s << QString() << u"noHost"_s;
        QTest::newRow("bad host before interval") << QString() << u"a:b:c"_s << u"1"_s << QString() << u"badHost"_s;
        QTest::newRow("interval before query port") << QString() << u"nas"_s << u"x"_s << u"0"_s << u"interval"_s;
        QTest::newRow("query port last") << QString() << u"nas"_s << u"60"_s << u"70000"_s << u"queryPort"_s;
        QTest::newRow("bare host is no scheme error")
            << u"kuma.local:3001"_s << QString() << u"60"_s << QString() << u"ok"_s;
    }
    void messagesInOrder()
    {
        SourceFormState form = named(Type::GameServer);
        form.baseURL = TW_DATA(QString, url);
        form.host = TW_DATA(QString, host);
        form.pollSeconds = TW_DATA(QString, interval);
        form.gameQueryPort = TW_DATA(QString, queryPort);
        QCOMPARE(messageKey(form.validationMessage()), TW_DATA(QString, message));
    }

    void completeness_data()
    {
        QTest::addColumn<SourceFormState>("form");
        QTest::addColumn<bool>("complete");

        auto kuma = named(Type::Kuma);
        kuma.baseURL = u"kuma.local:3001"_s;
        QTest::newRow("kuma without slug or user") << kuma << false;
        auto slug = kuma;
        slug.statusPageSlug = u"public"_s;
        QTest::newRow("kuma with slug") << slug << true;
        auto userOnly = kuma;
        userOnly.username = u"admin"_s;
        QTest::newRow("kuma user without secret") << userOnly << false;
        auto userSlug = userOnly;
        userSlug.statusPageSlug = u"public"_s;
        QTest::newRow("kuma user and slug, no secret") << userSlug << true;
        auto userStored = userOnly;
        userStored.hasStoredSecret = true;
        QTest::newRow("kuma user with stored secret") << userStored << true;
        auto blankName = slug;
        blankName.displayName = u"  \n"_s;
        QTest::newRow("blank name") << blankName << false;
        auto badInterval = slug;
        badInterval.pollSeconds = u"3"_s;
        QTest::newRow("bad interval") << badInterval << false;
        auto credentials = slug;
        credentials.baseURL = u"https://u:p@kuma.local"_s;
        QTest::newRow("url with credentials") << credentials << false;

        auto beszel = named(Type::Beszel);
        beszel.baseURL = u"https://beszel.lan"_s;
        QTest::newRow("beszel without secret") << beszel << false;
        beszel.secret = u"token"_s;
        QTest::newRow("beszel with secret") << beszel << true;

        auto tcp = named(Type::TCPPort);
        tcp.host = u"nas"_s;
        tcp.port = u"22"_s;
        QTest::newRow("tcp host and port") << tcp << true;
        tcp.port = u"0"_s;
        QTest::newRow("tcp port zero") << tcp << false;
        tcp.port = u"x"_s;
        tcp.host = u"nas:22"_s;
        QTest::newRow("tcp host:port ignores port field") << tcp << true;
        tcp.host = u"http://nas"_s;
        tcp.port = u"22"_s;
        QTest::newRow("tcp host with scheme") << tcp << false;

        auto game = named(Type::GameServer);
        game.host = u"mc.lan"_s;
        QTest::newRow("minecraft default port") << game << true;
        game.gameQueryPort = u"0"_s;
        QTest::newRow("bad query port") << game << false;
        auto palworld = named(Type::GameServer);
        palworld.chooseGame(u"palworld"_s);
        palworld.host = u"pal.lan"_s;
        QTest::newRow("palworld without password") << palworld << false;
        palworld.hasStoredSecret = true;
        QTest::newRow("palworld with stored password") << palworld << true;
        auto fivem = named(Type::GameServer);
        fivem.chooseGame(u"fivem"_s);
        fivem.host = u"fivem.lan"_s;
        QTest::newRow("fivem token is optional") << fivem << true;
        auto unknown = named(Type::GameServer);
        unknown.chooseGame(u"no-such-game"_s);
        unknown.host = u"x.lan"_s;
        QTest::newRow("unknown game has port 0") << unknown << false;
        unknown.editPort(u"1234"_s);
        QTest::newRow("unknown game with a port") << unknown << true;

        auto ping = named(Type::HTTPPing);
        QTest::newRow("ping without url") << ping << false;
        ping.baseURL = u"example.com"_s;
        QTest::newRow("ping bare url") << ping << true;
        ping.baseURL = u"ftp://example.com"_s;
        QTest::newRow("ping ftp") << ping << false;

        auto json = named(Type::JSONWidget);
        json.baseURL = u"https://api.lan/stats"_s;
        QTest::newRow("json without fields") << json << false;
        json.jsonFields = SourceFormState::parseFields(u"Users = data.users"_s);
        QTest::newRow("json with a field") << json << true;
    }
    void completeness()
    {
        QFETCH(SourceFormState, form);
        QCOMPARE(form.isComplete(), TW_DATA(bool, complete));
        QCOMPARE(form.makeConfig(fixedID).has_value(), TW_DATA(bool, complete));
    }

    void credentialNames_data()
    {
        QTest::addColumn<Type>("type");
        QTest::addColumn<QString>("game");
        QTest::addColumn<QString>("secret");
        QTest::addColumn<bool>("stored");
        QTest::addColumn<QString>("name");
        const QString id = u"6F2C1D0E-9A3B-4C5D-8E7F-0123456789AB"_s;
        QTest::newRow("kuma typed") << Type::Kuma << QString() << u"pw"_s << false << u"kuma-"_s + id;
        QTest::newRow("kuma stored") << Type::Kuma << QString() << QString() << true << u"kuma-"_s + id;
        QTest::newRow("kuma none") << Type::Kuma << QString() << QString() << false << none;
        QTest::newRow("beszel") << Type::Beszel << QString() << u"t"_s << false << u"beszel-"_s + id;
        QTest::newRow("json") << Type::JSONWidget << QString() << u"t"_s << false << u"jsonWidget-"_s + id;
        QTest::newRow("ping never") << Type::HTTPPing << QString() << u"t"_s << true << none;
        QTest::newRow("tcp never") << Type::TCPPort << QString() << u"t"_s << true << none;
        QTest::newRow("palworld") << Type::GameServer << u"palworld"_s << u"pw"_s << false << u"gameServer-"_s + id;
        QTest::newRow("palworld without") << Type::GameServer << u"palworld"_s << QString() << false << none;
        QTest::newRow("redm") << Type::GameServer << u"redm"_s << QString() << true << u"gameServer-"_s + id;
        QTest::newRow("tshock takes none") << Type::GameServer << u"terraria-tshock"_s << u"t"_s << true << none;
        QTest::newRow("valheim takes none") << Type::GameServer << u"valheim"_s << u"t"_s << false << none;
        QTest::newRow("unknown game") << Type::GameServer << u"Palworld"_s << u"t"_s << true << none;
    }
    void credentialNames()
    {
        SourceFormState form = named(TW_DATA(Type, type));
        if (!TW_DATA(QString, game).isEmpty())
            form.gameID = TW_DATA(QString, game);
        form.secret = TW_DATA(QString, secret);
        form.hasStoredSecret = TW_DATA(bool, stored);
        QCOMPARE(orNone(form.credentialRef(fixedID)), TW_DATA(QString, name));
    }

    // A test that connects and shows nothing names what to look at for the way in the saved source
    // will take: the metrics page whenever the config carries a user and a secret.
    void emptyTestHints_data()
    {
        QTest::addColumn<Type>("type");
        QTest::addColumn<QString>("username");
        QTest::addColumn<QString>("secret");
        QTest::addColumn<bool>("stored");
        QTest::addColumn<QString>("hint"); // the hint's last word, or <none>
        QTest::newRow("kuma slug only") << Type::Kuma << QString() << QString() << false << u"check."_s;
        QTest::newRow("kuma user with a typed key") << Type::Kuma << u"admin"_s << u"k"_s << false << u"up."_s;
        QTest::newRow("kuma empty user with a stored key")
            << Type::Kuma << QString() << QString() << true << u"check."_s;
        QTest::newRow("kuma user with a stored key") << Type::Kuma << u"admin"_s << QString() << true << u"up."_s;
        QTest::newRow("kuma user without a key reads the page")
            << Type::Kuma << u"admin"_s << QString() << false << u"check."_s;
        QTest::newRow("beszel") << Type::Beszel << QString() << u"t"_s << false << u"it."_s;
        for (const Type type : {Type::GameServer,
                                Type::HTTPPing,
                                Type::TCPPort,
                                Type::JSONWidget,
                                Type::ICMPPing,
                                Type::DNSRecord,
                                Type::TLSCertificate})
            QTest::newRow(qPrintable(toText(type))) << type << QString() << u"t"_s << false << none;
    }
    void emptyTestHints()
    {
        SourceFormState form = named(TW_DATA(Type, type));
        form.baseURL = u"https://svc.lan"_s;
        form.statusPageSlug = u"home"_s;
        form.username = TW_DATA(QString, username);
        form.secret = TW_DATA(QString, secret);
        form.hasStoredSecret = TW_DATA(bool, stored);
        const std::optional<QString> hint = form.emptyTestHint();
        QCOMPARE(hint ? hint->split(u' ').last() : none, TW_DATA(QString, hint));
        if (const auto config = form.makeConfig(fixedID); config && config->as<KumaConfig>()) {
            const auto *kuma = config->as<KumaConfig>();
            QCOMPARE(kuma->username && kuma->passwordRef, hint->contains(u"Uptime Kuma has monitors"_s));
        }
    }

    void makeConfigFields()
    {
        SourceFormState kuma = named(Type::Kuma);
        kuma.displayName = u"  Kuma \n"_s;
        kuma.baseURL = u"kuma.local:3001"_s;
        kuma.username = u"admin"_s;
        kuma.secret = u"pw"_s;
        kuma.pollSeconds = u"+45"_s;
        kuma.alertsEnabled = false;
        kuma.alertThreshold = 7;
        const auto config = kuma.makeConfig(fixedID);
        QVERIFY(config);
        const auto *k = config->as<KumaConfig>();
        QVERIFY(k);
        QCOMPARE(k->displayName, u"Kuma"_s);
        QCOMPARE(k->baseURL, u"https://kuma.local:3001"_s);
        QCOMPARE(k->username, u"admin"_s);
        QCOMPARE(k->statusPageSlug, std::nullopt);
        QCOMPARE(k->passwordRef, u"kuma-6F2C1D0E-9A3B-4C5D-8E7F-0123456789AB"_s);
        QCOMPARE(k->pollInterval, 45.0);
        QCOMPARE(k->alertsEnabled, false);
        QCOMPARE(k->alertThreshold, 7);

        SourceFormState game = named(Type::GameServer);
        game.chooseGame(u"valheim"_s);
        game.host = u" nas:2460 "_s;
        game.gameQueryPort = u"2461"_s;
        game.useTLS = true;
        const auto gameConfig = game.makeConfig(fixedID);
        QVERIFY(gameConfig);
        const auto *g = gameConfig->as<GameServerConfig>();
        QVERIFY(g);
        QCOMPARE(g->host, u"nas"_s);
        QCOMPARE(g->port, 2460);
        QCOMPARE(g->queryPort, 2461);
        QCOMPARE(g->gameID, u"valheim"_s);
        QCOMPARE(g->credentialRef, std::nullopt);
        QVERIFY(g->useTLS);
    }

    // An edited source saved unchanged is the source it was: nothing is lost or rewritten.
    void roundTrip_data()
    {
        QTest::addColumn<AnySourceConfig>("config");
        KumaConfig kuma(fixedID, u"Kuma"_s, u"https://kuma.lan"_s);
        kuma.username = u"admin"_s;
        kuma.passwordRef = u"kuma-"_s + fixedID.toString(QUuid::WithoutBraces).toUpper();
        kuma.statusPageSlug = u"home"_s;
        kuma.pollInterval = 120;
        kuma.alertThreshold = 5;
        QTest::newRow("kuma") << AnySourceConfig(kuma);
        QTest::newRow("beszel") << AnySourceConfig(
            BeszelConfig(fixedID,
                         u"Hub"_s,
                         u"https://hub.lan"_s,
                         u"beszel-"_s + fixedID.toString(QUuid::WithoutBraces).toUpper()));
        BeszelConfig limited(fixedID,
                             u"Hub"_s,
                             u"https://hub.lan"_s,
                             u"beszel-"_s + fixedID.toString(QUuid::WithoutBraces).toUpper());
        limited.limits = {95, std::nullopt, 90, 60};
        QTest::newRow("beszel, some limits") << AnySourceConfig(limited);
        GameServerConfig game(fixedID, u"Pal"_s, u"palworld"_s, u"pal.lan"_s, 8213);
        game.credentialRef = u"gameServer-"_s + fixedID.toString(QUuid::WithoutBraces).toUpper();
        game.useTLS = true;
        game.alertsEnabled = false;
        QTest::newRow("palworld") << AnySourceConfig(game);
        GameServerConfig valheim(fixedID, u"Val"_s, u"valheim"_s, u"val.lan"_s, 2456);
        valheim.queryPort = 2457;
        QTest::newRow("valheim") << AnySourceConfig(valheim);
        QTest::newRow("ping") << AnySourceConfig(HTTPPingConfig(fixedID, u"Web"_s, u"https://example.com/"_s));
        QTest::newRow("tcp") << AnySourceConfig(TCPPortConfig(fixedID, u"SSH"_s, u"nas"_s, 22));
        JSONWidgetConfig json(fixedID, u"API"_s, u"https://api.lan"_s, {{u"A"_s, u"a.b"_s}, {u"X"_s, u"x=y"_s}});
        json.bearerTokenRef = u"jsonWidget-"_s + fixedID.toString(QUuid::WithoutBraces).toUpper();
        QTest::newRow("json") << AnySourceConfig(json);
        QTest::newRow("icmp") << AnySourceConfig(ICMPPingConfig(fixedID, u"Router"_s, u"fe80::1"_s, 1));
        DNSRecordConfig dns(fixedID, u"Mail"_s, u"example.test"_s, DNSRecordType::MX);
        dns.expectedValue = u"10 mx1.example.test"_s;
        dns.nameserver = u"192.168.1.1"_s;
        QTest::newRow("dns, every optional") << AnySourceConfig(dns);
        QTest::newRow("dns, bare") << AnySourceConfig(
            DNSRecordConfig(fixedID, u"D"_s, u"_mc._tcp.lan"_s, DNSRecordType::SRV));
        TLSCertificateConfig tls(fixedID, u"Web"_s, u"nas"_s, 8443);
        tls.sniName = u"nas.home.lan"_s;
        tls.warningDays = 30;
        QTest::newRow("tls, every optional") << AnySourceConfig(tls);
        QTest::newRow("tls, bare") << AnySourceConfig(TLSCertificateConfig(fixedID, u"T"_s, u"t"_s));
    }
    void roundTrip()
    {
        QFETCH(AnySourceConfig, config);
        const SourceFormState form(config);
        QVERIFY(form.portEdited);
        QVERIFY(form.secret.isEmpty());
        QCOMPARE(form.makeConfig(fixedID), std::optional(config));
        // An edit keeps the source it sits behind.
        config.common().dependsOn = QUuid::createUuid();
        QCOMPARE(SourceFormState(config).makeConfig(fixedID), std::optional(config));
    }

    void networkCheckRules_data()
    {
        QTest::addColumn<SourceFormState>("form");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("complete");
        const auto form = [](Type type, const std::function<void(SourceFormState &)> &edit) {
            SourceFormState f = named(type);
            edit(f);
            return f;
        };
        const QString countMessage = u"Enter a ping count between 1 and 5."_s;
        QTest::newRow("ping, defaults and a host")
            << form(Type::ICMPPing, [](auto &f) { f.host = u"nas"_s; }) << QString() << true;
        QTest::newRow("ping, no host yet") << form(Type::ICMPPing, [](auto &) {}) << QString() << false;
        QTest::newRow("ping, IPv6 address")
            << form(Type::ICMPPing, [](auto &f) { f.host = u"2001:db8::1"_s; }) << QString() << true;
        QTest::newRow("ping, a port is no host")
            << form(Type::ICMPPing, [](auto &f) { f.host = u"nas:22"_s; })
            << u"Enter a plain host or IP, like nas.local or 192.168.1.20 — no spaces, line breaks, or scheme."_s
            << false;
        QTest::newRow("ping, count 0") << form(Type::ICMPPing, [](auto &f) {
            f.host = u"nas"_s;
            f.pingCount = u"0"_s;
        }) << countMessage << false;
        QTest::newRow("ping, count 6") << form(Type::ICMPPing, [](auto &f) {
            f.host = u"nas"_s;
            f.pingCount = u"6"_s;
        }) << countMessage << false;
        QTest::newRow("ping, count 5") << form(Type::ICMPPing, [](auto &f) {
            f.host = u"nas"_s;
            f.pingCount = u"5"_s;
        }) << QString() << true;
        QTest::newRow("dns, a name") << form(Type::DNSRecord, [](auto &f) { f.recordName = u"nas.lan"_s; }) << QString()
                                     << true;
        QTest::newRow("dns, a URL") << form(Type::DNSRecord, [](auto &f) { f.recordName = u"https://nas.lan"_s; })
                                    << u"Enter a DNS name like nas.local — no spaces, scheme, or port."_s << false;
        QTest::newRow("dns, a type it does not ask")
            << form(Type::DNSRecord,
                    [](auto &f) {
                        f.recordName = u"nas.lan"_s;
                        f.recordType = u"PTR"_s;
                    })
            << u"Choose a record type: A, AAAA, CNAME, MX, TXT or SRV."_s << false;
        QTest::newRow("dns, a nameserver by name")
            << form(Type::DNSRecord,
                    [](auto &f) {
                        f.recordName = u"nas.lan"_s;
                        f.nameserver = u"dns.lan"_s;
                    })
            << u"Enter the nameserver as an IP address, like 192.168.1.1 (a port after a colon if it is not 53), or leave it blank."_s
            << false;
        QTest::newRow("dns, a nameserver on port 0")
            << form(Type::DNSRecord,
                    [](auto &f) {
                        f.recordName = u"nas.lan"_s;
                        f.nameserver = u"192.168.1.1:0"_s;
                    })
            << u"Enter the nameserver as an IP address, like 192.168.1.1 (a port after a colon if it is not 53), or leave it blank."_s
            << false;
        QTest::newRow("dns, unbound beside Pi-hole") << form(Type::DNSRecord, [](auto &f) {
            f.recordName = u"nas.lan"_s;
            f.nameserver = u"192.168.1.2:5335"_s;
        }) << QString() << true;
        QTest::newRow("dns, an IPv6 nameserver") << form(Type::DNSRecord, [](auto &f) {
            f.recordName = u"nas.lan"_s;
            f.nameserver = u"fd00::53"_s;
        }) << QString() << true;
        QTest::newRow("tls, host and the default port")
            << form(Type::TLSCertificate, [](auto &f) { f.host = u"nas"_s; }) << QString() << true;
        QTest::newRow("tls, SNI with a port")
            << form(Type::TLSCertificate,
                    [](auto &f) {
                        f.host = u"nas"_s;
                        f.sniName = u"nas.lan:443"_s;
                    })
            << u"Enter the certificate name as a plain host name, or leave it blank."_s << false;
        QTest::newRow("tls, no warning days") << form(Type::TLSCertificate,
                                                      [](auto &f) {
                                                          f.host = u"nas"_s;
                                                          f.warningDays = u"0"_s;
                                                      })
                                              << u"Enter a warning period between 1 and 365 days."_s << false;
    }
    void networkCheckRules()
    {
        QFETCH(SourceFormState, form);
        const QString message = TW_DATA(QString, message);
        QCOMPARE(form.validationMessage(), message.isEmpty() ? std::nullopt : std::optional(message));
        QCOMPARE(form.isComplete(), TW_DATA(bool, complete));
        QCOMPARE(form.makeConfig(fixedID).has_value(), TW_DATA(bool, complete));
        QCOMPARE(form.credentialRef(fixedID), std::nullopt);
    }

    void beszelLimits_data()
    {
        QTest::addColumn<QStringList>("typed"); // CPU, memory, disk, drive temperature
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("saved"); // the limits saved, "-" for off
        const QString cpu = u"Enter a CPU limit from 1 to 100 percent, or leave it blank."_s;
        const QString temp = u"Enter a drive temperature limit from 1 to 150 °C, or leave it blank."_s;
        QTest::newRow("all blank") << QStringList{{}, {}, {}, {}} << QString() << u"- - - -"_s;
        QTest::newRow("suggested") << QStringList{u"90"_s, u"90"_s, u"90"_s, u"60"_s} << QString() << u"90 90 90 60"_s;
        QTest::newRow("blanks around, one set")
            << QStringList{{}, {}, u" 85 "_s, u"  "_s} << QString() << u"- - 85 -"_s;
        QTest::newRow("edges") << QStringList{u"1"_s, u"100"_s, {}, u"150"_s} << QString() << u"1 100 - 150"_s;
        QTest::newRow("cpu zero") << QStringList{u"0"_s, {}, {}, {}} << cpu << QString();
        QTest::newRow("cpu past 100") << QStringList{u"101"_s, {}, {}, {}} << cpu << QString();
        QTest::newRow("percent sign") << QStringList{u"90%"_s, {}, {}, {}} << cpu << QString();
        QTest::newRow("fraction") << QStringList{u"90.5"_s, {}, {}, {}} << cpu << QString();
        QTest::newRow("memory wrong") << QStringList{{}, u"x"_s, {}, {}}
                                      << u"Enter a memory limit from 1 to 100 percent, or leave it blank."_s
                                      << QString();
        QTest::newRow("disk wrong") << QStringList{{}, {}, u"-5"_s, {}}
                                    << u"Enter a disk limit from 1 to 100 percent, or leave it blank."_s << QString();
        QTest::newRow("too hot") << QStringList{{}, {}, {}, u"151"_s} << temp << QString();
        QTest::newRow("first wrong field speaks") << QStringList{u"0"_s, {}, {}, u"999"_s} << cpu << QString();
    }
    void beszelLimits()
    {
        const QStringList typed = TW_DATA(QStringList, typed);
        SourceFormState form = named(Type::Beszel);
        form.baseURL = u"https://hub.lan"_s;
        form.secret = u"token"_s;
        form.cpuLimit = typed[0];
        form.memLimit = typed[1];
        form.diskLimit = typed[2];
        form.tempLimit = typed[3];
        const QString message = TW_DATA(QString, message);
        QCOMPARE(form.validationMessage(), message.isEmpty() ? std::nullopt : std::optional(message));
        const std::optional<AnySourceConfig> config = form.makeConfig(fixedID);
        QCOMPARE(config.has_value(), message.isEmpty());
        if (!config)
            return;
        const HostLimits limits = config->as<BeszelConfig>()->limits;
        const auto text = [](const std::optional<qint64> &limit) {
            return limit ? QString::number(*limit) : u"-"_s;
        };
        QCOMPARE(QStringList({text(limits.cpuPct), text(limits.memPct), text(limits.diskPct), text(limits.tempC)})
                     .join(u' '),
                 TW_DATA(QString, saved));
    }

    void loadingClamps_data()
    {
        QTest::addColumn<double>("interval");
        QTest::addColumn<qint64>("threshold");
        QTest::addColumn<QString>("seconds");
        QTest::addColumn<qint64>("loadedThreshold");
        QTest::newRow("too short, too many") << 1.0 << qint64(50) << u"5"_s << qint64(10);
        QTest::newRow("too long, none") << 9000.0 << qint64(0) << u"3600"_s << qint64(1);
        QTest::newRow("fraction cut off") << 90.9 << qint64(-4) << u"90"_s << qint64(1);
        QTest::newRow("not a number") << std::nan("") << qint64(3) << u"60"_s << qint64(3);
        QTest::newRow("infinite") << -std::numeric_limits<double>::infinity() << qint64(3) << u"60"_s << qint64(3);
    }
    void loadingClamps()
    {
        TCPPortConfig config(fixedID, u"SSH"_s, u"nas"_s, 22);
        config.pollInterval = TW_DATA(double, interval);
        config.alertThreshold = TW_DATA(qint64, threshold);
        const SourceFormState form{AnySourceConfig(config)};
        QCOMPARE(form.pollSeconds, TW_DATA(QString, seconds));
        QCOMPARE(form.alertThreshold, TW_DATA(qint64, loadedThreshold));
    }

    void storedSecretFlag()
    {
        KumaConfig kuma(fixedID, u"K"_s, u"https://k.lan"_s);
        kuma.passwordRef = QString();
        QVERIFY(!SourceFormState(AnySourceConfig(kuma)).hasStoredSecret);
        kuma.passwordRef = u"kuma-x"_s;
        QVERIFY(SourceFormState(AnySourceConfig(kuma)).hasStoredSecret);
        QVERIFY(!SourceFormState(AnySourceConfig(BeszelConfig(fixedID, u"B"_s, u"https://b"_s, QString())))
                     .hasStoredSecret);
    }

    void choosingGames_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("typedPort");
        QTest::addColumn<QString>("port");
        QTest::addColumn<bool>("secretKept");
        QTest::newRow("new form takes default")
            << u"minecraft-java"_s << u"valheim"_s << QString() << u"2456"_s << false;
        QTest::newRow("typed port stays") << u"valheim"_s << u"rust"_s << u"2460"_s << u"2460"_s << true;
        QTest::newRow("fivem to redm keeps token") << u"fivem"_s << u"redm"_s << QString() << u"30120"_s << true;
        QTest::newRow("fivem to palworld clears") << u"fivem"_s << u"palworld"_s << QString() << u"8212"_s << false;
        QTest::newRow("palworld to valheim clears") << u"palworld"_s << u"valheim"_s << QString() << u"2456"_s << false;
        QTest::newRow("same use, other engine")
            << u"valheim"_s << u"terraria-tshock"_s << QString() << u"7878"_s << false;
        QTest::newRow("unknown to unknown") << u"nope"_s << u"other"_s << QString() << u"0"_s << true;
        QTest::newRow("unknown to minecraft") << u"nope"_s << u"minecraft-java"_s << QString() << u"25565"_s << false;
    }
    void choosingGames()
    {
        SourceFormState form = named(Type::GameServer);
        form.chooseGame(TW_DATA(QString, from));
        if (!TW_DATA(QString, typedPort).isEmpty())
            form.editPort(TW_DATA(QString, typedPort));
        form.secret = u"typed"_s;
        form.hasStoredSecret = true;
        form.gameQueryPort = u"1234"_s;
        form.useTLS = true;
        form.chooseGame(TW_DATA(QString, to));
        QCOMPARE(form.port, TW_DATA(QString, port));
        QCOMPARE(form.secret == u"typed"_s, TW_DATA(bool, secretKept));
        QCOMPARE(form.hasStoredSecret, TW_DATA(bool, secretKept));
        QCOMPARE(form.gameQueryPort, u"1234"_s);
        QVERIFY(form.useTLS);
    }

    void editedSourceKeepsItsPort()
    {
        SourceFormState form{AnySourceConfig(GameServerConfig(fixedID, u"V"_s, u"valheim"_s, u"v.lan"_s, 3000))};
        form.chooseGame(u"rust"_s);
        QCOMPARE(form.port, u"3000"_s);
    }

    void fields_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("parsed"); // label|path;…
        QTest::addColumn<QString>("written");
        QTest::newRow("mixed") << u"a = b.c\n\nbad\nx=y=z"_s << u"a|b.c;x|y=z"_s << u"a = b.c\nx = y=z"_s;
        QTest::newRow("empty") << QString() << QString() << QString();
        QTest::newRow("empty sides kept") << u" = p\nl =  "_s << u"|p;l|"_s << u" = p\nl = "_s;
        QTest::newRow("tabs trimmed, order kept") << u"\tz\t=\t1\na=2"_s << u"z|1;a|2"_s << u"z = 1\na = 2"_s;
    }
    void fields()
    {
        const auto parsed = SourceFormState::parseFields(TW_DATA(QString, text));
        QStringList pairs;
        for (const auto &f : parsed)
            pairs.append(f.label + u'|' + f.path);
        QCOMPARE(pairs.join(u';'), TW_DATA(QString, parsed));
        const QString written = SourceFormState::fieldsText(parsed);
        QCOMPARE(written, TW_DATA(QString, written));
        QCOMPARE(SourceFormState::parseFields(written), parsed);
    }
};

QTEST_GUILESS_MAIN(SourceFormStateTest)
#include "SourceFormStateTest.moc"
