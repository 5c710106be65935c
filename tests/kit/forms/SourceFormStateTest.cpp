#include "kit/forms/SourceFormState.h"

#include "kit/model/SourcesStore.h"
#include "support/Files.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

using Type = SourceFormState::SourceType;
Q_DECLARE_METATYPE(Type)
Q_DECLARE_METATYPE(tw::AnySourceConfig)

namespace {

const QString none = u"<none>"_s;

QString orNone(const std::optional<QString> &value)
{
    return value.value_or(none);
}

const QUuid fixedID(u"{6F2C1D0E-9A3B-4C5D-8E7F-0123456789AB}"_s);

// The name a secret of this kind is stored under for fixedID.
QString secretName(const QString &kind)
{
    return kind + u'-' + fixedID.toString(QUuid::WithoutBraces).toUpper();
}

SourceFormState named(Type type)
{
    SourceFormState form(type);
    form.displayName = u"Thing"_s;
    return form;
}

// A form as the sheet or the command line fills it: "kind|field=value|…", named "Thing" unless it
// says otherwise, or an example by its command-line name. "game=" chooses a game and "editPort="
// types a port as the user does; "stored" says a secret is kept, "quiet" turns alerts off.
SourceFormState form(const QString &text)
{
    const QStringList parts = text.split(u'|');
    const std::optional<Type> kind = sourceKindFromString(parts.first());
    if (!kind)
        return SourceFormState(*exampleFromText(parts.first()));
    SourceFormState form = named(*kind);
    const QHash<QString, QString SourceFormState::*> fields{
        {u"name"_s, &SourceFormState::displayName},
        {u"url"_s, &SourceFormState::baseURL},
        {u"host"_s, &SourceFormState::host},
        {u"port"_s, &SourceFormState::port},
        {u"queryPort"_s, &SourceFormState::gameQueryPort},
        {u"user"_s, &SourceFormState::username},
        {u"slug"_s, &SourceFormState::statusPageSlug},
        {u"secret"_s, &SourceFormState::secret},
        {u"count"_s, &SourceFormState::pingCount},
        {u"record"_s, &SourceFormState::recordName},
        {u"type"_s, &SourceFormState::recordType},
        {u"nameserver"_s, &SourceFormState::nameserver},
        {u"sni"_s, &SourceFormState::sniName},
        {u"days"_s, &SourceFormState::warningDays},
        {u"cpu"_s, &SourceFormState::cpuLimit},
        {u"mem"_s, &SourceFormState::memLimit},
        {u"disk"_s, &SourceFormState::diskLimit},
        {u"temp"_s, &SourceFormState::tempLimit},
        {u"interval"_s, &SourceFormState::pollSeconds},
    };
    for (const QString &part : parts.mid(1)) {
        const QString key = part.section(u'=', 0, 0);
        const QString value = part.section(u'=', 1);
        if (key == u"game"_s)
            form.chooseGame(value);
        else if (key == u"editPort"_s)
            form.editPort(value);
        else if (key == u"fields"_s)
            form.jsonFields = SourceFormState::parseFields(value);
        else if (key == u"stored"_s)
            form.hasStoredSecret = true;
        else if (key == u"quiet"_s)
            form.alertsEnabled = false;
        else if (key == u"tls"_s)
            form.useTLS = true;
        else if (key == u"threshold"_s)
            form.alertThreshold = value.toLongLong();
        else if (fields.contains(key))
            form.*fields.value(key) = value;
        else
            qFatal("no form field %s", qPrintable(key));
    }
    return form;
}

QList<AnySourceConfig> sourcesIn(const char *file)
{
    return SourcesStore::decode(contents(QStringLiteral(TW_TEST_DATA_DIR "/forms/") + QLatin1StringView(file)));
}

// Each rule's message in full, as the sheet shows it under the field.
const QHash<QString, QString> messages{
    {u"credentials"_s,
     u"The URL contains a username/password. Remove it and use the username/token field(s) below instead."_s},
    {u"scheme"_s, u"Enter a full URL starting with http:// or https://."_s},
    {u"noHost"_s, u"Enter a full URL including a host, e.g. https://status.home.lan."_s},
    {u"badHost"_s, u"Enter a plain host or IP, like nas.local or 192.168.1.20 — no spaces, line breaks, or scheme."_s},
    {u"interval"_s, u"Enter a check interval between 5 and 3600 seconds."_s},
    {u"queryPort"_s, u"Enter a query port between 1 and 65535, or leave it blank."_s},
    {u"count"_s, u"Enter a ping count between 1 and 5."_s},
    {u"dnsName"_s, u"Enter a DNS name like nas.local — no spaces, scheme, or port."_s},
    {u"recordType"_s, u"Choose a record type: A, AAAA, CNAME, MX, TXT or SRV."_s},
    {u"nameserver"_s,
     u"Enter the nameserver as an IP address, like 192.168.1.1 (a port after a colon if it is not 53), or leave it blank."_s},
    {u"sni"_s, u"Enter the certificate name as a plain host name, or leave it blank."_s},
    {u"days"_s, u"Enter a warning period between 1 and 365 days."_s},
    {u"cpu"_s, u"Enter a CPU limit from 1 to 100 percent, or leave it blank."_s},
    {u"temp"_s, u"Enter a drive temperature limit from 1 to 150 °C, or leave it blank."_s},
};

} // namespace

class SourceFormStateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The one thing wrong, the first rule that fires whatever else is wrong, and whether the form
    // saves: an empty required field is incomplete but not wrong.
    void rules_data()
    {
        QTest::addColumn<QString>("form");
        QTest::addColumn<QString>("message"); // a key of `messages`, or empty
        QTest::addColumn<bool>("complete");
        const auto row = [](const char *name, const QString &form, const QString &message, bool complete) {
            QTest::newRow(name) << form << message << complete;
        };
        for (const SourceFormState::Example example : SourceFormState::allExamples()) // ready to save
            row(qPrintable(u"example "_s + toText(example)), toText(example), {}, true);

        const QString game = u"gameServer|host=nas"_s;
        row("empty fields say nothing", u"gameServer"_s, {}, false);
        row("credentials before all",
            u"gameServer|url=https://u:p@x|host=http://nas|interval=1|queryPort=0"_s,
            u"credentials"_s,
            false);
        row("user alone", u"kuma|url=https://u@x|slug=home"_s, u"credentials"_s, false);
        row("scheme before host", u"gameServer|url=ftp://x|host=nas local|interval=1"_s, u"scheme"_s, false);
        row("no host", u"gameServer|url=https://|host=nas local"_s, u"noHost"_s, false);
        row("upper-case scheme, no host", u"kuma|url=HTTPS://|slug=home"_s, u"noHost"_s, false);
        row("bad host before interval", u"gameServer|host=a:b:c|interval=1"_s, u"badHost"_s, false);
        row("interval before query port", game + u"|interval=x|queryPort=0"_s, u"interval"_s, false);
        row("query port last", game + u"|queryPort=70000"_s, u"queryPort"_s, false);
        row("bare host is no scheme error", u"kuma|url=kuma.local:3001|slug=home"_s, {}, true);

        row("interval, below", game + u"|interval=4"_s, u"interval"_s, false);
        row("interval, above", game + u"|interval=3601"_s, u"interval"_s, false);
        row("interval, empty", game + u"|interval="_s, u"interval"_s, false);
        row("interval, overflowing", game + u"|interval=99999999999999999999999"_s, u"interval"_s, false);

        row("query port, blank", game + u"|queryPort=  "_s, {}, true);
        row("query port, zero", game + u"|queryPort=0"_s, u"queryPort"_s, false);

        row("host, negative port", u"tcpPort|host=nas:-1"_s, u"badHost"_s, false);
        row("host, port too big", u"tcpPort|host=nas:65536"_s, u"badHost"_s, false);
        row("host, no port", u"tcpPort|host=nas:"_s, u"badHost"_s, false);
        row("host, scheme", u"tcpPort|host=http://nas|port=22"_s, u"badHost"_s, false);
        row("host, blanks only", u"tcpPort|host=   "_s, u"badHost"_s, false);
        row("host, bare IPv6", u"tcpPort|host=::1|port=22"_s, u"badHost"_s, false);
        row("tcp, host and port", u"tcpPort|host=nas|port=22"_s, {}, true);
        row("tcp, port field zero", u"tcpPort|host=nas|port=0"_s, {}, false);
        row("tcp, host:port ignores the port field", u"tcpPort|host=nas:22|port=x"_s, {}, true);

        const QString kuma = u"kuma|url=kuma.local:3001"_s;
        row("kuma without slug or user", kuma, {}, false);
        row("kuma user without secret", kuma + u"|user=admin"_s, {}, false);
        row("kuma user with stored secret", kuma + u"|user=admin|stored"_s, {}, true);
        row("blank name", kuma + u"|slug=public|name=  \n"_s, {}, false);
        row("beszel without secret", u"beszel|url=https://beszel.lan"_s, {}, false);
        row("ping without url", u"httpPing"_s, {}, false);
        row("json without fields", u"jsonWidget|url=https://api.lan/stats"_s, {}, false);
        row("json with a field", u"jsonWidget|url=https://api.lan/stats|fields=Users = data.users"_s, {}, true);

        row("palworld without password", u"gameServer|game=palworld|host=pal.lan"_s, {}, false);
        row("palworld with stored password", u"gameServer|game=palworld|host=pal.lan|stored"_s, {}, true);
        row("fivem token is optional", u"gameServer|game=fivem|host=fivem.lan"_s, {}, true);
        row("unknown game with a port", u"gameServer|game=no-such-game|host=x.lan|editPort=1234"_s, {}, true);

        row("ping, a host", u"icmpPing|host=nas"_s, {}, true);
        row("ping, no host yet", u"icmpPing"_s, {}, false);
        row("ping, IPv6 address", u"icmpPing|host=2001:db8::1"_s, {}, true);
        row("ping, a port is no host", u"icmpPing|host=nas:22"_s, u"badHost"_s, false);
        row("ping, count 0", u"icmpPing|host=nas|count=0"_s, u"count"_s, false);
        row("ping, count 6", u"icmpPing|host=nas|count=6"_s, u"count"_s, false);
        row("dns, a name", u"dnsRecord|record=nas.lan"_s, {}, true);
        row("dns, a URL", u"dnsRecord|record=https://nas.lan"_s, u"dnsName"_s, false);
        row("dns, a type it does not ask", u"dnsRecord|record=nas.lan|type=PTR"_s, u"recordType"_s, false);
        row("dns, a nameserver by name", u"dnsRecord|record=nas.lan|nameserver=dns.lan"_s, u"nameserver"_s, false);
        row("tls, host and the default port", u"tlsCertificate|host=nas"_s, {}, true);
        row("tls, SNI with a port", u"tlsCertificate|host=nas|sni=nas.lan:443"_s, u"sni"_s, false);
        row("tls, no warning days", u"tlsCertificate|host=nas|days=0"_s, u"days"_s, false);

        const QString beszel = u"beszel|url=https://hub.lan|secret=token"_s;
        row("limits, edges", beszel + u"|cpu=1|mem=100|temp=150"_s, {}, true);
        row("limits, too hot", beszel + u"|temp=151"_s, u"temp"_s, false);
        row("limits, the first wrong field speaks", beszel + u"|cpu=0|temp=999"_s, u"cpu"_s, false);
    }
    void rules()
    {
        const SourceFormState filled = form(TW_DATA(QString, form));
        const QString message = TW_DATA(QString, message);
        QCOMPARE(orNone(filled.validationMessage()), message.isEmpty() ? none : messages.value(message));
        QCOMPARE(filled.isComplete(), TW_DATA(bool, complete));
        QCOMPARE(filled.makeConfig(fixedID).has_value(), TW_DATA(bool, complete));
    }

    // What a complete form saves: trimmed, a bare host made a URL, host:port split, the secret named.
    // The file holds what each form here saves, in order.
    void saved_data()
    {
        QTest::addColumn<QString>("form");
        QTest::addColumn<AnySourceConfig>("config");
        const QStringList forms{
            u"kuma|name=  Kuma \n|url=kuma.local:3001|user=admin|secret=pw|interval=+45|quiet|threshold=7"_s,
            u"gameServer|game=valheim|host= nas:2460 |queryPort=2461|tls"_s,
            u"beszel|url=hub.lan|secret=t|cpu=  |mem=1|disk= 85 |temp=150"_s,
        };
        const QList<AnySourceConfig> saved = sourcesIn("saved-sources.json");
        QCOMPARE(saved.size(), forms.size());
        for (qsizetype i = 0; i < forms.size(); ++i)
            QTest::addRow("%s", qPrintable(forms[i].section(u'|', 0, 0))) << forms[i] << saved[i];
    }
    void saved()
    {
        QCOMPARE(form(TW_DATA(QString, form)).makeConfig(fixedID), std::optional(TW_DATA(AnySourceConfig, config)));
    }

    void bareHosts_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("normalized");
        QTest::newRow("host and port") << u"kuma.local:3001"_s << u"https://kuma.local:3001"_s;
        QTest::newRow("https") << u"https://kuma.local"_s << none;
        QTest::newRow("upper-case http") << u"HTTP://kuma.local"_s << none;
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

    // Which secret a form saves, and what a test that connects and shows nothing names to look at
    // for the way in the saved source will take: the metrics page whenever it carries a user and a
    // secret.
    void credentialNamesAndEmptyTestHints_data()
    {
        QTest::addColumn<QString>("form");
        QTest::addColumn<QString>("secret"); // the kind whose name the secret takes, or empty
        QTest::addColumn<QString>("hint"); // the hint's last word, or <none>
        const QString kuma = u"kuma|url=https://svc.lan|slug=home"_s;
        QTest::newRow("kuma, user with a typed key") << kuma + u"|user=admin|secret=k"_s << u"kuma"_s << u"up."_s;
        QTest::newRow("kuma, empty user with a stored key") << kuma + u"|stored"_s << u"kuma"_s << u"check."_s;
        QTest::newRow("kuma, user without a key reads the page") << kuma + u"|user=admin"_s << QString() << u"check."_s;
        QTest::newRow("beszel") << u"beszel|url=https://svc.lan|secret=t"_s << u"beszel"_s << u"it."_s;
        QTest::newRow("json") << u"jsonWidget|secret=t"_s << u"jsonWidget"_s << none;
        QTest::newRow("ping never") << u"httpPing|secret=t|stored"_s << QString() << none;
        QTest::newRow("palworld") << u"gameServer|game=palworld|secret=pw"_s << u"gameServer"_s << none;
        QTest::newRow("redm") << u"gameServer|game=redm|stored"_s << u"gameServer"_s << none;
        QTest::newRow("tshock takes none") << u"gameServer|game=terraria-tshock|secret=t|stored"_s << QString() << none;
        QTest::newRow("unknown game") << u"gameServer|game=Palworld|secret=t|stored"_s << QString() << none;
    }
    void credentialNamesAndEmptyTestHints()
    {
        const SourceFormState filled = form(TW_DATA(QString, form));
        const QString kind = TW_DATA(QString, secret);
        QCOMPARE(orNone(filled.credentialRef(fixedID)), kind.isEmpty() ? none : secretName(kind));
        const std::optional<QString> hint = filled.emptyTestHint();
        QCOMPARE(hint ? hint->split(u' ').last() : none, TW_DATA(QString, hint));
        if (const auto config = filled.makeConfig(fixedID); config && config->as<KumaConfig>()) {
            const auto *kuma = config->as<KumaConfig>();
            QCOMPARE(kuma->username && kuma->passwordRef, hint->contains(u"Uptime Kuma has monitors"_s));
        }
    }

    // An edited source saved unchanged is the source it was: nothing is lost or rewritten, not even
    // the source it sits behind. The file holds each kind with every optional set, and some with none.
    void roundTrip_data()
    {
        QTest::addColumn<AnySourceConfig>("config");
        for (const AnySourceConfig &config : sourcesIn("edited-sources.json")) {
            QTest::addRow("%s %s", qPrintable(toText(config.kind())), qPrintable(config.common().displayName))
                << config;
        }
    }
    void roundTrip()
    {
        QFETCH(AnySourceConfig, config);
        const SourceFormState form(config);
        QVERIFY(form.portEdited);
        QVERIFY(form.secret.isEmpty());
        QCOMPARE(form.makeConfig(fixedID), std::optional(config));
    }

    void loadingClamps_data()
    {
        QTest::addColumn<double>("interval");
        QTest::addColumn<qint64>("threshold");
        QTest::addColumn<QString>("loaded"); // seconds and threshold as the form shows them
        QTest::newRow("too short, too many") << 1.0 << qint64(50) << u"5 10"_s;
        QTest::newRow("fraction cut off, none") << 90.9 << qint64(-4) << u"90 1"_s;
    }
    void loadingClamps()
    {
        TCPPortConfig config(fixedID, u"SSH"_s, u"nas"_s, 22);
        config.pollInterval = TW_DATA(double, interval);
        config.alertThreshold = TW_DATA(qint64, threshold);
        const SourceFormState form{AnySourceConfig(config)};
        QCOMPARE(form.pollSeconds + u' ' + QString::number(form.alertThreshold), TW_DATA(QString, loaded));
    }

    // An empty secret name, as a hand-edited file may hold, is no stored secret.
    void storedSecretFlag()
    {
        KumaConfig kuma(fixedID, u"K"_s, u"https://k.lan"_s);
        kuma.passwordRef = QString();
        QVERIFY(!SourceFormState(AnySourceConfig(kuma)).hasStoredSecret);
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
        QTest::newRow("typed port stays") << u"valheim"_s << u"rust"_s << u"2460"_s << u"2460"_s << true;
        QTest::newRow("fivem to redm keeps token") << u"fivem"_s << u"redm"_s << QString() << u"30120"_s << true;
        QTest::newRow("fivem to palworld clears") << u"fivem"_s << u"palworld"_s << QString() << u"8212"_s << false;
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

    void fields_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("parsed"); // label|path;…
        QTest::addColumn<QString>("written");
        QTest::newRow("mixed") << u"a = b.c\n\nbad\nx=y=z"_s << u"a|b.c;x|y=z"_s << u"a = b.c\nx = y=z"_s;
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
