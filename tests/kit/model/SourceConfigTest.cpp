#include "kit/model/AnySourceConfig.h"
#include "kit/model/DecodeError.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <limits>

using namespace tw;
using namespace Qt::StringLiterals;

class SourceConfigTest : public QObject
{
    Q_OBJECT

    static QJsonObject parse(const QByteArray &json) { return QJsonDocument::fromJson(json).object(); }
    static const QUuid &uuid()
    {
        static const QUuid id = QUuid::fromString(u"6a1f9d2e-8c3b-4f5a-b7e6-0d9c8b7a6f5e"_s);
        return id;
    }

private Q_SLOTS:
    void roundTripsEveryKind_data()
    {
        QTest::addColumn<AnySourceConfig>("config");
        KumaConfig kuma(uuid(), u"Kuma"_s, u"https://kuma.lan"_s);
        kuma.username = u"admin"_s;
        kuma.passwordRef = AnySourceConfig::credentialName(AnySourceConfig::Kind::Kuma, uuid());
        kuma.statusPageSlug = u"home"_s;
        QTest::newRow("kuma, every optional") << AnySourceConfig(kuma);
        QTest::newRow("kuma, bare") << AnySourceConfig(KumaConfig(uuid(), u"K"_s, u"http://k"_s));
        QTest::newRow("beszel") << AnySourceConfig(BeszelConfig(uuid(), u"B"_s, u"http://b"_s, u"beszel-x"_s));
        GameServerConfig game(uuid(), u"MC"_s, u"minecraft"_s, u"mc.lan"_s, 25565);
        game.queryPort = 25575;
        game.credentialRef = u"gameServer-x"_s;
        game.useTLS = true;
        game.alertThreshold = 0;
        QTest::newRow("game server") << AnySourceConfig(game);
        HTTPPingConfig http(uuid(), u"Web"_s, u"https://x"_s);
        http.expectedStatus = 204;
        http.pollInterval = 0.5;
        QTest::newRow("http ping, interval outside the bounds") << AnySourceConfig(http);
        QTest::newRow("tcp port") << AnySourceConfig(TCPPortConfig(uuid(), u"SSH"_s, u"nas"_s, 22));
        JSONWidgetConfig json(uuid(), u"J"_s, u"http://j"_s, {{u"Temp"_s, u"$.t"_s}, {u"Sky"_s, u"$.s[0]"_s}});
        json.bearerTokenRef = u"jsonWidget-x"_s;
        QTest::newRow("json widget") << AnySourceConfig(json);
        QTest::newRow("icmp ping") << AnySourceConfig(ICMPPingConfig(uuid(), u"Router"_s, u"10.0.0.1"_s, 5));
        DNSRecordConfig dns(uuid(), u"MX"_s, u"example.test"_s, DNSRecordType::MX);
        dns.expectedValue = u"10 mx1.example.test"_s;
        dns.nameserver = u"192.168.1.1"_s;
        QTest::newRow("dns record, every optional") << AnySourceConfig(dns);
        for (const DNSRecordType type : allDNSRecordTypes()) {
            QTest::addRow("dns record %s", qPrintable(toText(type)))
                << AnySourceConfig(DNSRecordConfig(uuid(), u"D"_s, u"n"_s, type));
        }
        TLSCertificateConfig tls(uuid(), u"Web"_s, u"nas"_s, 8443);
        tls.sniName = u"nas.home.lan"_s;
        tls.warningDays = 30;
        QTest::newRow("tls certificate, every optional") << AnySourceConfig(tls);
        QTest::newRow("tls certificate, bare") << AnySourceConfig(TLSCertificateConfig(uuid(), u"T"_s, u"t"_s));
    }
    void roundTripsEveryKind()
    {
        QFETCH(AnySourceConfig, config);
        const QByteArray bytes = QJsonDocument(config.toJson()).toJson();
        QCOMPARE(AnySourceConfig::fromJson(parse(bytes)), config);
        QVERIFY(!bytes.contains("dependsOn"));

        // Every kind carries the source it sits behind.
        const QUuid parent = QUuid::fromString(u"0b5e2a43-1d7c-4e9f-a86b-3c2d1e0f9a8b"_s);
        config.common().dependsOn = parent;
        const QJsonObject written = config.toJson();
        QCOMPARE(written.constBegin()->toObject()[u"_0"].toObject()[u"dependsOn"].toString(),
                 u"0B5E2A43-1D7C-4E9F-A86B-3C2D1E0F9A8B"_s);
        QCOMPARE(AnySourceConfig::fromJson(parse(QJsonDocument(written).toJson())).common().dependsOn, parent);
    }

    void readsDependsOn_data()
    {
        QTest::addColumn<QJsonValue>("value"); // undefined for no key
        QTest::addColumn<QString>("expected"); // the id read, "none", or "error"
        QTest::newRow("absent") << QJsonValue(QJsonValue::Undefined) << u"none"_s;
        QTest::newRow("null") << QJsonValue(QJsonValue::Null) << u"none"_s;
        QTest::newRow("an id") << QJsonValue(u"0b5e2a43-1d7c-4e9f-a86b-3c2d1e0f9a8b"_s)
                               << u"0B5E2A43-1D7C-4E9F-A86B-3C2D1E0F9A8B"_s;
        QTest::newRow("not an id") << QJsonValue(u"router"_s) << u"error"_s;
        QTest::newRow("a number") << QJsonValue(7) << u"error"_s;
    }
    void readsDependsOn()
    {
        QFETCH(QJsonValue, value);
        QFETCH(QString, expected);
        // The game server reads its common keys its own way; the others share one reader.
        for (const AnySourceConfig &config :
             {AnySourceConfig(TCPPortConfig(uuid(), u"SSH"_s, u"nas"_s, 22)),
              AnySourceConfig(GameServerConfig(uuid(), u"MC"_s, u"minecraft"_s, u"mc.lan"_s, 25565))}) {
            QJsonObject json = config.toJson();
            const QString kind = json.constBegin().key();
            QJsonObject record = json[kind].toObject()[u"_0"].toObject();
            if (!value.isUndefined())
                record.insert(u"dependsOn", value);
            json.insert(kind, QJsonObject{{u"_0"_s, record}});
            try {
                const auto parent = AnySourceConfig::fromJson(json).common().dependsOn;
                QCOMPARE(parent ? parent->toString(QUuid::WithoutBraces).toUpper() : u"none"_s, expected);
            } catch (const DecodeError &error) {
                QVERIFY2(expected == u"error"_s, qPrintable(error.text()));
            }
        }
    }

    void writesTheWrappedShape()
    {
        TCPPortConfig tcp(uuid(), u"SSH"_s, u"nas"_s, 22);
        QCOMPARE(AnySourceConfig(tcp).toJson(),
                 parse(R"({"tcpPort":{"_0":{"id":"6A1F9D2E-8C3B-4F5A-B7E6-0D9C8B7A6F5E","displayName":"SSH",
                           "pollInterval":60,"alertsEnabled":true,"alertThreshold":3,"host":"nas","port":22}}})"));
        const QJsonObject kuma = AnySourceConfig(KumaConfig(uuid(), u"K"_s, u"http://k"_s)).toJson();
        const QJsonObject record = kuma[u"kuma"].toObject()[u"_0"].toObject();
        QVERIFY(!record.contains(u"username"));
        QVERIFY(!record.contains(u"passwordRef"));
        QVERIFY(!record.contains(u"statusPageSlug"));
    }

    void writesTheNewKindsWrapped_data()
    {
        QTest::addColumn<AnySourceConfig>("config");
        QTest::addColumn<QByteArray>("json");
        const QByteArray common =
            R"("id":"6A1F9D2E-8C3B-4F5A-B7E6-0D9C8B7A6F5E","displayName":"x","pollInterval":60,"alertsEnabled":true,"alertThreshold":3,)";
        QTest::newRow("icmp ping") << AnySourceConfig(ICMPPingConfig(uuid(), u"x"_s, u"nas"_s))
                                   << R"({"icmpPing":{"_0":{)" + common + R"("host":"nas","count":3}}})";
        QTest::newRow("dns record") << AnySourceConfig(
            DNSRecordConfig(uuid(), u"x"_s, u"nas.lan"_s, DNSRecordType::AAAA))
                                    << R"({"dnsRecord":{"_0":{)" + common
                + R"("name":"nas.lan","recordType":"AAAA"}}})";
        QTest::newRow("tls certificate") << AnySourceConfig(TLSCertificateConfig(uuid(), u"x"_s, u"nas"_s))
                                         << R"({"tlsCertificate":{"_0":{)" + common
                + R"("host":"nas","port":443,"warningDays":14}}})";
    }
    void writesTheNewKindsWrapped()
    {
        QFETCH(AnySourceConfig, config);
        QFETCH(QByteArray, json);
        QCOMPARE(config.toJson(), parse(json));
    }

    // A file as an earlier version wrote it: every kind it knew reads the same,
    // and the kinds keep their old place in the enumeration.
    void readsAFileOfAnEarlierVersion()
    {
        QFile source(QStringLiteral(TW_TEST_DATA_DIR "/sources-earlier-version.json"));
        QVERIFY(source.open(QIODevice::ReadOnly));
        const QByteArray file = source.readAll();
        const QJsonArray entries = QJsonDocument::fromJson(file).array();
        QCOMPARE(entries.size(), 6);
        int index = 0;
        for (const QJsonValue &entry : entries) {
            const AnySourceConfig config = AnySourceConfig::fromJson(entry);
            QCOMPARE(int(config.kind()), index++);
            QCOMPARE(config.toJson(), entry.toObject());
        }
    }

    void constructionDefaults()
    {
        const BeszelConfig beszel(uuid(), u"B"_s, u"http://b"_s, u"t"_s);
        QCOMPARE(beszel.pollInterval, 30.0);
        const HTTPPingConfig http(uuid(), u"H"_s, u"http://h"_s);
        QCOMPARE(http.pollInterval, 60.0);
        QCOMPARE(http.expectedStatus, 200);
        QCOMPARE(http.alertThreshold, 3);
        QVERIFY(http.alertsEnabled);
        QCOMPARE(AnySourceConfig::credentialName(AnySourceConfig::Kind::GameServer, uuid()),
                 u"gameServer-6A1F9D2E-8C3B-4F5A-B7E6-0D9C8B7A6F5E"_s);
    }

    void readsGameServersLeniently()
    {
        const auto config = AnySourceConfig::fromJson(
            parse(R"({"gameServer":{"_0":{"id":"6a1f9d2e-8c3b-4f5a-b7e6-0d9c8b7a6f5e","displayName":"MC",
                      "gameID":"minecraft","host":"mc","port":25565,"pollInterval":null,"queryPort":null}}})"));
        const auto *game = config.as<GameServerConfig>();
        QVERIFY(game);
        QCOMPARE(game->pollInterval, 60.0);
        QCOMPARE(game->alertThreshold, 3);
        QVERIFY(game->alertsEnabled);
        QVERIFY(!game->useTLS);
        QVERIFY(!game->queryPort);
        QCOMPARE(config.toJson()[u"gameServer"].toObject()[u"_0"].toObject()[u"useTLS"], QJsonValue(false));
    }

    void refusesMalformedConfigurations_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("error");
        const QByteArray common = R"("id":"6a1f9d2e-8c3b-4f5a-b7e6-0d9c8b7a6f5e","displayName":"x",)";
        QTest::newRow("kuma without alertThreshold")
            << R"({"kuma":{"_0":{)" + common + R"("pollInterval":60,"alertsEnabled":true,"baseURL":"u"}}})"
            << u"alertThreshold"_s;
        QTest::newRow("game server without host")
            << R"({"gameServer":{"_0":{)" + common + R"("gameID":"minecraft","port":1}}})" << u"host"_s;
        QTest::newRow("game server with a text port")
            << R"({"gameServer":{"_0":{)" + common + R"("gameID":"m","host":"h","port":"25565"}}})" << u"port"_s;
        QTest::newRow("game server with a text useTLS")
            << R"({"gameServer":{"_0":{)" + common + R"("gameID":"m","host":"h","port":1,"useTLS":"yes"}}})"
            << u"useTLS"_s;
        QTest::newRow("beszel without token") << R"({"beszel":{"_0":{)" + common
                + R"("pollInterval":30,"alertsEnabled":true,"alertThreshold":3,"baseURL":"u"}}})"
                                              << u"tokenRef"_s;
        QTest::newRow("only an unknown kind")
            << QByteArray(R"({"ping":{"_0":{}}})") << u"Invalid number of keys found, expected one."_s;
        QTest::newRow("two kinds") << QByteArray(R"({"kuma":{"_0":{}},"tcpPort":{"_0":{}}})")
                                   << u"Invalid number of keys found, expected one."_s;
        QTest::newRow("dns record of an unknown type")
            << R"({"dnsRecord":{"_0":{)" + common
                + R"("pollInterval":60,"alertsEnabled":true,"alertThreshold":3,"name":"n","recordType":"PTR"}}})"
            << u"Cannot initialize DNSRecordType from invalid String value PTR"_s;
        QTest::newRow("icmp ping without count") << R"({"icmpPing":{"_0":{)" + common
                + R"("pollInterval":60,"alertsEnabled":true,"alertThreshold":3,"host":"h"}}})"
                                                 << u"count"_s;
        QTest::newRow("tls certificate without warningDays") << R"({"tlsCertificate":{"_0":{)" + common
                + R"("pollInterval":60,"alertsEnabled":true,"alertThreshold":3,"host":"h","port":443}}})"
                                                             << u"warningDays"_s;
        QTest::newRow("id that is no UUID") << QByteArray(
            R"({"tcpPort":{"_0":{"id":"nope","displayName":"x","pollInterval":60,"alertsEnabled":true,"alertThreshold":3,"host":"h","port":1}}})")
                                            << u"id"_s;
    }
    void refusesMalformedConfigurations()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, error);
        try {
            AnySourceConfig::fromJson(parse(json));
            QFAIL("decoded a configuration that must fail");
        } catch (const DecodeError &e) {
            QVERIFY2(e.text().contains(error), qPrintable(e.text()));
        }
    }

    void unknownKindBesideAKnownOneIsIgnored()
    {
        const auto config = AnySourceConfig::fromJson(parse(
            R"({"future":{"_0":{}},"tcpPort":{"_0":{"id":"6a1f9d2e-8c3b-4f5a-b7e6-0d9c8b7a6f5e","displayName":"x",
               "pollInterval":60,"alertsEnabled":true,"alertThreshold":3,"host":"h","port":1,"later":true}}})"));
        QCOMPARE(config.kind(), AnySourceConfig::Kind::TCPPort);
    }

    void anyFieldChangeMakesADifferentConfiguration()
    {
        const TCPPortConfig a(uuid(), u"SSH"_s, u"nas"_s, 22);
        TCPPortConfig b = a;
        b.displayName = u"ssh"_s;
        QVERIFY(!(AnySourceConfig(a) == AnySourceConfig(b)));
        const HTTPPingConfig c(uuid(), u"SSH"_s, u"nas"_s);
        QVERIFY(!(AnySourceConfig(a) == AnySourceConfig(c)));
    }

    void clampsIntervalsAtUse_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<double>("clamped");
        QTest::newRow("zero") << 0.0 << 5.0;
        QTest::newRow("negative") << -1.0 << 5.0;
        QTest::newRow("minimum") << 5.0 << 5.0;
        QTest::newRow("inside") << 299.5 << 299.5;
        QTest::newRow("a day") << 86400.0 << 3600.0;
        QTest::newRow("NaN") << std::numeric_limits<double>::quiet_NaN() << 60.0;
        QTest::newRow("-infinity") << -std::numeric_limits<double>::infinity() << 60.0;
        QTest::newRow("+infinity") << std::numeric_limits<double>::infinity() << 60.0;
    }
    void clampsIntervalsAtUse()
    {
        QFETCH(double, seconds);
        QFETCH(double, clamped);
        QCOMPARE(PollInterval::clamp(seconds), clamped);
    }
};

QTEST_GUILESS_MAIN(SourceConfigTest)
#include "SourceConfigTest.moc"
