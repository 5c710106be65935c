#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

// `tidewatch-cli add` as a headless user runs it: secrets go to a credentials file, never the
// keyring, and the sources file is a scratch one. The form rules themselves are SourceFormStateTest's;
// here each kind's flags, and one refusal per way of failing.
class AddCommandTest : public QObject
{
    Q_OBJECT

    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
    // The source every row finds in the file already.
    static constexpr QStringView earlierId = u"5E1F0C2A-9B8D-4E7F-A6C5-B4D3E2F1A0B9";

    CliRun runAdd(const QString &arguments, const QString &folder, const QByteArray &input = {})
    {
        QStringList given = QProcess::splitCommand(QString(arguments).replace(u"%1"_s, folder));
        // The scratch files go right after the kind, so a flag left without its value stays last.
        given.insert(1, u"--credentials"_s);
        given.insert(2, folder + u"/secrets.json"_s);
        given.insert(3, u"--sources"_s);
        given.insert(4, folder + u"/sources.json"_s);
        return runCli(QStringList{u"add"_s} + given, input, m_environment);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // Nothing here may reach the user's own files.
        m_environment.insert(u"XDG_DATA_HOME"_s, u"/nonexistent/tidewatch-test"_s);
    }

    void add_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        // Success: "key=value" pairs the saved record must hold; failure: the start of the message.
        QTest::addColumn<QString>("expected");

        QTest::newRow("tcp host:port") << u"tcpPort --name SSH --host nas:22"_s << QByteArray() << 0
                                       << u"host=nas port=22 pollInterval=60 dependsOn=<absent>"_s;
        QTest::newRow("tcp port flag")
            << u"tcpPort --name SSH --host \" nas \" --port 2222 --interval +30 --alert-after 5 --no-alerts"_s
            << QByteArray() << 0 << u"host=nas port=2222 pollInterval=30 alertThreshold=5 alertsEnabled=false"_s;
        QTest::newRow("kuma slug needs no secret") << u"kuma --name K --url https://k.lan --slug home"_s << QByteArray()
                                                   << 0 << u"statusPageSlug=home passwordRef=<absent>"_s;
        QTest::newRow("beszel token from stdin, limits")
            << u"beszel --name B --url b.lan --disk-limit 90 --temp-limit 60 --secret-stdin"_s << QByteArray("tok\n")
            << 0
            << u"baseURL=https://b.lan tokenRef=beszel- pollInterval=30 diskLimit=90 tempLimit=60 cpuLimit=<absent>"_s;
        QTest::newRow("game port after game whatever the order")
            << u"gameServer --name V --port 2460 --game valheim --host v.lan --query-port 2470"_s << QByteArray() << 0
            << u"gameID=valheim port=2460 queryPort=2470 credentialRef=<absent>"_s;
        QTest::newRow("game default port") << u"gameServer --name R --game redm --host r.lan --tls"_s << QByteArray()
                                           << 0 << u"port=30120 useTLS=true credentialRef=<absent>"_s;
        QTest::newRow("palworld password") << u"gameServer --name P --game palworld --host p.lan --secret-stdin"_s
                                           << QByteArray("pw\r\n") << 0 << u"port=8212 credentialRef=gameServer-"_s;
        QTest::newRow("json fields")
            << u"jsonWidget --name J --url https://api.lan --field \"Users = data.users\" "
               "--field Eq=a=b"_s
            << QByteArray() << 0 << uR"(fields=[{"label":"Users","path":"data.users"},{"label":"Eq","path":"a=b"}])"_s;
        QTest::newRow("icmp ping") << u"icmpPing --name Router --host 10.0.0.1 --count 5"_s << QByteArray() << 0
                                   << u"host=10.0.0.1 count=5"_s;
        QTest::newRow("dns record")
            << u"dnsRecord --name Mail --query example.test --type mx --expect mx1.example.test --nameserver 192.168.1.1"_s
            << QByteArray() << 0
            << u"name=example.test recordType=MX expectedValue=mx1.example.test nameserver=192.168.1.1"_s;
        QTest::newRow("tls certificate")
            << u"tlsCertificate --name Web --host nas:8443 --sni nas.home.lan --warn-days 30"_s << QByteArray() << 0
            << u"host=nas port=8443 sniName=nas.home.lan warningDays=30"_s;
        QTest::newRow("behind a source by its id")
            << u"icmpPing --depends-on 5e1f0c2a-9b8d-4e7f-a6c5-b4d3e2f1a0b9 --name NAS --host nas"_s << QByteArray()
            << 0 << u"dependsOn="_s + earlierId;
        QTest::newRow("behind a source that is not there")
            << u"tcpPort --name NAS --host nas:22 --depends-on Router"_s << QByteArray() << 65
            << u"--depends-on: No source is called \"Router\". Nothing added."_s;
        QTest::newRow("palworld without password") << u"gameServer --name P --game palworld --host p"_s << QByteArray()
                                                   << 65 << u"This game needs its admin password"_s;
        QTest::newRow("a credentials file others may read")
            << u"beszel --name B --url https://b --secret-stdin --credentials %1/shared.json"_s << QByteArray("tok\n")
            << 69 << u"Cannot use "_s;
        QTest::newRow("empty secret") << u"beszel --name B --url b --secret-stdin"_s << QByteArray("\n") << 65
                                      << u"no secret"_s;
        QTest::newRow("no name") << u"httpPing --url https://x"_s << QByteArray() << 65
                                 << u"Give the source a name with --name."_s;
        QTest::newRow("dns without a query")
            << u"dnsRecord --name D"_s << QByteArray() << 65 << u"Give the name to look up with --query."_s;
        QTest::newRow("tls without a host")
            << u"tlsCertificate --name T"_s << QByteArray() << 65 << u"Give the server with --host"_s;
        QTest::newRow("unknown kind") << u"ftp"_s << QByteArray() << 64 << u"unknown kind 'ftp'"_s;
        QTest::newRow("unknown game") << u"gameServer --game Palworld"_s << QByteArray() << 64
                                      << u"unknown game 'Palworld'"_s;
        QTest::newRow("secret on the command line")
            << u"beszel --secret x"_s << QByteArray() << 64 << u"unknown option '--secret'"_s;
        QTest::newRow("flag without value")
            << u"tcpPort --name NAS --depends-on"_s << QByteArray() << 64 << u"--depends-on needs a value"_s;
        QTest::newRow("bad field") << u"jsonWidget --field \"no equals\""_s << QByteArray() << 64
                                   << u"--field takes 'label = path'"_s;
    }
    void add()
    {
        QTemporaryDir dir;
        const QString credentials = dir.filePath(u"secrets.json"_s);
        const TCPPortConfig earlier(QUuid::fromString(earlierId), u"Earlier"_s, u"router"_s, 80);
        SourcesStore::save({earlier}, dir.path());
        put(dir.filePath(u"shared.json"_s), "{}");
        QVERIFY(QFile::setPermissions(dir.filePath(u"shared.json"_s), QFileDevice::ReadOwner | QFileDevice::ReadOther));

        const CliRun run = runAdd(TW_DATA(QString, arguments), dir.path(), TW_DATA(QByteArray, input));
        QCOMPARE(run.exitCode, TW_DATA(int, exitCode));
        const QList<AnySourceConfig> saved = SourcesStore::load(dir.path());
        if (run.exitCode != 0) {
            QVERIFY2(QString::fromUtf8(run.err).contains(u"tidewatch-cli add: "_s + TW_DATA(QString, expected)),
                     run.err.constData());
            QCOMPARE(saved, QList<AnySourceConfig>{earlier});
            QVERIFY(!QFile::exists(credentials));
            return;
        }
        QCOMPARE(saved.size(), 2);
        QCOMPARE(saved.first(), AnySourceConfig(earlier));
        const QJsonObject record = saved.last().toJson().begin()->toObject().value(u"_0"_s).toObject();
        QVERIFY(QString::fromUtf8(run.out).contains(saved.last().id().toString(QUuid::WithoutBraces).toUpper()));
        for (const QString &pair : TW_DATA(QString, expected).split(u' ')) {
            const QString key = pair.section(u'=', 0, 0);
            const QString want = pair.section(u'=', 1);
            const QJsonValue value = record.value(key);
            const QString got = value.isUndefined() ? u"<absent>"_s
                : value.isArray() ? QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact))
                                  : value.toVariant().toString();
            // Credential names end in the new id, so only their start is fixed.
            if (key.endsWith(u"Ref"_s) && want != u"<absent>"_s)
                QVERIFY2(got.startsWith(want), qPrintable(key + u" = "_s + got));
            else
                QCOMPARE(got, want);
        }
        // A named secret went to the credentials file under that name, readable by the user alone.
        const QStringList names = saved.last().credentialNames();
        QCOMPARE(QFile::exists(credentials), !names.isEmpty());
        if (!names.isEmpty()) {
            const QJsonObject secrets = QJsonDocument::fromJson(contents(credentials)).object();
            QCOMPARE(secrets.keys(), names);
            QCOMPARE(secrets.value(names.first()).toString(), QString::fromUtf8(TW_DATA(QByteArray, input)).trimmed());
            QCOMPARE(QFile::permissions(credentials) & (QFileDevice::ReadGroup | QFileDevice::ReadOther),
                     QFileDevice::Permissions());
        }
    }

    // `games`, which lists what `add gameServer --game` takes: the words of a search make one, and
    // each game shows under its section with its port, then its note.
    void gamesListsWhatTheSearchKeeps()
    {
        const CliRun found = runCli({u"games"_s, u"minecraft"_s, u"(java)"_s});
        QCOMPARE(found.exitCode, 0);
        QVERIFY2(found.out.startsWith("Minecraft\n  minecraft-java  Minecraft (Java)  (port 25565)\n  "),
                 found.out.constData());
        QCOMPARE(found.out.count('\n'), 3);
        const CliRun none = runCli({u"games"_s, u"tetris"_s});
        QCOMPARE(none.exitCode, 1);
        QVERIFY(none.err.contains("no game matches"));
    }
};

QTEST_GUILESS_MAIN(AddCommandTest)
#include "AddCommandTest.moc"
