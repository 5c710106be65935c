#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/TestData.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

// `tidewatch-cli add` as a headless user runs it: secrets go to a credentials file, never the
// keyring, and the sources file is a scratch one.
class AddCommandTest : public QObject
{
    Q_OBJECT

    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
    // The source every row finds in the file already.
    static constexpr QStringView earlierId = u"5E1F0C2A-9B8D-4E7F-A6C5-B4D3E2F1A0B9";

private Q_SLOTS:
    void initTestCase()
    {
        // Nothing here may reach the user's own files.
        m_environment.insert(u"XDG_DATA_HOME"_s, u"/nonexistent/tidewatch-test"_s);
    }

    void add_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        // Success: "key=value" pairs the saved record must hold; failure: the start of the message.
        QTest::addColumn<QString>("expected");

        QTest::newRow("tcp host:port") << QStringList{u"tcpPort"_s, u"--name"_s, u"SSH"_s, u"--host"_s, u"nas:22"_s}
                                       << QByteArray() << 0 << u"host=nas port=22 pollInterval=60"_s;
        QTest::newRow("tcp port flag") << QStringList{u"tcpPort"_s,
                                                      u"--name"_s,
                                                      u"SSH"_s,
                                                      u"--host"_s,
                                                      u" nas "_s,
                                                      u"--port"_s,
                                                      u"2222"_s,
                                                      u"--interval"_s,
                                                      u"+30"_s,
                                                      u"--alert-after"_s,
                                                      u"5"_s,
                                                      u"--no-alerts"_s}
                                       << QByteArray() << 0
                                       << u"host=nas port=2222 pollInterval=30 alertThreshold=5 alertsEnabled=false"_s;
        QTest::newRow("kuma slug needs no secret")
            << QStringList{u"kuma"_s, u"--name"_s, u"K"_s, u"--url"_s, u"https://k.lan"_s, u"--slug"_s, u"home"_s}
            << QByteArray() << 0 << u"statusPageSlug=home passwordRef=<absent>"_s;
        QTest::newRow("beszel token from stdin")
            << QStringList{u"beszel"_s, u"--name"_s, u"B"_s, u"--url"_s, u"b.lan"_s, u"--secret-stdin"_s}
            << QByteArray("tok\n") << 0 << u"baseURL=https://b.lan tokenRef=beszel- pollInterval=30"_s;
        QTest::newRow("beszel limits") << QStringList{u"beszel"_s,
                                                      u"--name"_s,
                                                      u"B"_s,
                                                      u"--url"_s,
                                                      u"b.lan"_s,
                                                      u"--disk-limit"_s,
                                                      u"90"_s,
                                                      u"--temp-limit"_s,
                                                      u"60"_s,
                                                      u"--secret-stdin"_s}
                                       << QByteArray("tok\n") << 0
                                       << u"diskLimit=90 tempLimit=60 cpuLimit=<absent> memLimit=<absent>"_s;
        QTest::newRow("beszel limit out of range")
            << QStringList{u"beszel"_s,
                           u"--name"_s,
                           u"B"_s,
                           u"--url"_s,
                           u"b.lan"_s,
                           u"--cpu-limit"_s,
                           u"120"_s,
                           u"--secret-stdin"_s}
            << QByteArray("tok\n") << 65 << u"Enter a CPU limit from 1 to 100 percent, or leave it blank."_s;
        QTest::newRow("game port after game whatever the order")
            << QStringList{u"gameServer"_s,
                           u"--name"_s,
                           u"V"_s,
                           u"--port"_s,
                           u"2460"_s,
                           u"--game"_s,
                           u"valheim"_s,
                           u"--host"_s,
                           u"v.lan"_s,
                           u"--query-port"_s,
                           u"2470"_s}
            << QByteArray() << 0 << u"gameID=valheim port=2460 queryPort=2470 credentialRef=<absent>"_s;
        QTest::newRow("game default port") << QStringList{u"gameServer"_s,
                                                          u"--name"_s,
                                                          u"R"_s,
                                                          u"--game"_s,
                                                          u"redm"_s,
                                                          u"--host"_s,
                                                          u"r.lan"_s,
                                                          u"--tls"_s}
                                           << QByteArray() << 0 << u"port=30120 useTLS=true credentialRef=<absent>"_s;
        QTest::newRow("palworld password") << QStringList{u"gameServer"_s,
                                                          u"--name"_s,
                                                          u"P"_s,
                                                          u"--game"_s,
                                                          u"palworld"_s,
                                                          u"--host"_s,
                                                          u"p.lan"_s,
                                                          u"--secret-stdin"_s}
                                           << QByteArray("pw\r\n") << 0 << u"port=8212 credentialRef=gameServer-"_s;
        QTest::newRow("json fields") << QStringList{u"jsonWidget"_s,
                                                    u"--name"_s,
                                                    u"J"_s,
                                                    u"--url"_s,
                                                    u"https://api.lan"_s,
                                                    u"--field"_s,
                                                    u"Users = data.users"_s,
                                                    u"--field"_s,
                                                    u"Eq=a=b"_s}
                                     << QByteArray() << 0 << u"fields=Users:data.users,Eq:a=b"_s;
        QTest::newRow("icmp ping")
            << QStringList{u"icmpPing"_s, u"--name"_s, u"Router"_s, u"--host"_s, u"10.0.0.1"_s, u"--count"_s, u"5"_s}
            << QByteArray() << 0 << u"host=10.0.0.1 count=5"_s;
        QTest::newRow("dns record") << QStringList{u"dnsRecord"_s,
                                                   u"--name"_s,
                                                   u"Mail"_s,
                                                   u"--query"_s,
                                                   u"example.test"_s,
                                                   u"--type"_s,
                                                   u"mx"_s,
                                                   u"--expect"_s,
                                                   u"mx1.example.test"_s,
                                                   u"--nameserver"_s,
                                                   u"192.168.1.1"_s}
                                    << QByteArray() << 0
                                    << u"name=example.test recordType=MX expectedValue=mx1.example.test "
                                       "nameserver=192.168.1.1"_s;
        QTest::newRow("tls certificate") << QStringList{u"tlsCertificate"_s,
                                                        u"--name"_s,
                                                        u"Web"_s,
                                                        u"--host"_s,
                                                        u"nas:8443"_s,
                                                        u"--sni"_s,
                                                        u"nas.home.lan"_s,
                                                        u"--warn-days"_s,
                                                        u"30"_s}
                                         << QByteArray() << 0
                                         << u"host=nas port=8443 sniName=nas.home.lan warningDays=30"_s;

        QTest::newRow("behind a source named") << QStringList{u"tcpPort"_s,
                                                              u"--name"_s,
                                                              u"NAS"_s,
                                                              u"--host"_s,
                                                              u"nas:22"_s,
                                                              u"--depends-on"_s,
                                                              u"earlier"_s}
                                               << QByteArray() << 0 << u"dependsOn="_s + earlierId;
        QTest::newRow("behind a source by its id") << QStringList{u"icmpPing"_s,
                                                                  u"--depends-on"_s,
                                                                  earlierId.toString().toLower(),
                                                                  u"--name"_s,
                                                                  u"NAS"_s,
                                                                  u"--host"_s,
                                                                  u"nas"_s}
                                                   << QByteArray() << 0 << u"dependsOn="_s + earlierId;
        QTest::newRow("behind nothing") << QStringList{u"tcpPort"_s, u"--name"_s, u"NAS"_s, u"--host"_s, u"nas:22"_s}
                                        << QByteArray() << 0 << u"dependsOn=<absent>"_s;
        QTest::newRow("behind a source that is not there")
            << QStringList{u"tcpPort"_s,
                           u"--name"_s,
                           u"NAS"_s,
                           u"--host"_s,
                           u"nas:22"_s,
                           u"--depends-on"_s,
                           u"Router"_s}
            << QByteArray() << 65 << u"--depends-on: No source is called \"Router\". Nothing added."_s;
        QTest::newRow("behind an id no source has")
            << QStringList{u"tcpPort"_s,
                           u"--name"_s,
                           u"NAS"_s,
                           u"--host"_s,
                           u"nas:22"_s,
                           u"--depends-on"_s,
                           u"0B5E2A43-1D7C-4E9F-A86B-3C2D1E0F9A8B"_s}
            << QByteArray() << 65 << u"--depends-on: No source has the id 0B5E2A43-1D7C-4E9F-A86B-3C2D1E0F9A8B."_s;
        QTest::newRow("behind what is left unsaid")
            << QStringList{u"tcpPort"_s, u"--name"_s, u"NAS"_s, u"--depends-on"_s} << QByteArray() << 64
            << u"--depends-on needs a value"_s;
        QTest::newRow("wrong scheme") << QStringList{u"httpPing"_s, u"--name"_s, u"W"_s, u"--url"_s, u"ftp://x"_s}
                                      << QByteArray() << 65 << u"Enter a full URL starting with http:// or https://."_s;
        QTest::newRow("palworld without password")
            << QStringList{u"gameServer"_s, u"--name"_s, u"P"_s, u"--game"_s, u"palworld"_s, u"--host"_s, u"p"_s}
            << QByteArray() << 65 << u"This game needs its admin password"_s;
        QTest::newRow("empty secret")
            << QStringList{u"beszel"_s, u"--name"_s, u"B"_s, u"--url"_s, u"b"_s, u"--secret-stdin"_s}
            << QByteArray("\n") << 65 << u"no secret"_s;
        QTest::newRow("no name") << QStringList{u"httpPing"_s, u"--url"_s, u"https://x"_s} << QByteArray() << 65
                                 << u"Give the source a name with --name."_s;
        QTest::newRow("dns without a query") << QStringList{u"dnsRecord"_s, u"--name"_s, u"D"_s} << QByteArray() << 65
                                             << u"Give the name to look up with --query."_s;
        QTest::newRow("tls without a host") << QStringList{u"tlsCertificate"_s, u"--name"_s, u"T"_s} << QByteArray()
                                            << 65 << u"Give the server with --host"_s;
        QTest::newRow("unknown kind") << QStringList{u"ftp"_s} << QByteArray() << 64 << u"unknown kind 'ftp'"_s;
        QTest::newRow("unknown game") << QStringList{u"gameServer"_s, u"--game"_s, u"Palworld"_s} << QByteArray() << 64
                                      << u"unknown game 'Palworld'"_s;
        QTest::newRow("secret on the command line")
            << QStringList{u"beszel"_s, u"--secret"_s, u"x"_s} << QByteArray() << 64 << u"unknown option '--secret'"_s;
        QTest::newRow("flag without value")
            << QStringList{u"tcpPort"_s, u"--name"_s} << QByteArray() << 64 << u"--name needs a value"_s;
        QTest::newRow("bad field") << QStringList{u"jsonWidget"_s, u"--field"_s, u"no equals"_s} << QByteArray() << 64
                                   << u"--field takes 'label = path'"_s;
    }
    void add()
    {
        QTemporaryDir dir;
        const QString sources = dir.filePath(u"sources.json"_s);
        const QString credentials = dir.filePath(u"secrets.json"_s);
        // An earlier source stays where it was.
        const TCPPortConfig earlier(QUuid::fromString(earlierId), u"Earlier"_s, u"router"_s, 80);
        SourcesStore::save({earlier}, dir.path());

        // The scratch files go right after the kind, so a flag left without its value stays last.
        const QStringList given = TW_DATA(QStringList, arguments);
        const QStringList arguments =
            given.mid(0, 1) + QStringList{u"--sources"_s, sources, u"--credentials"_s, credentials} + given.mid(1);
        const CliRun run = runCli(QStringList{u"add"_s} + arguments, TW_DATA(QByteArray, input), m_environment);
        QCOMPARE(run.exitCode, TW_DATA(int, exitCode));
        const QList<AnySourceConfig> saved = SourcesStore::load(dir.path());
        if (run.exitCode != 0) {
            QVERIFY2(QString::fromUtf8(run.err).startsWith(u"tidewatch-cli add: "_s + TW_DATA(QString, expected)),
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
            QString got;
            if (value.isUndefined())
                got = u"<absent>"_s;
            else if (value.isBool())
                got = value.toBool() ? u"true"_s : u"false"_s;
            else if (value.isDouble())
                got = QString::number(value.toDouble());
            else if (value.isArray()) {
                QStringList fields;
                for (const QJsonValue &f : value.toArray())
                    fields.append(f[u"label"_s].toString() + u':' + f[u"path"_s].toString());
                got = fields.join(u',');
            } else
                got = value.toString();
            // Credential names end in the new id, so only their start is fixed.
            if (key.endsWith(u"Ref"_s) && want != u"<absent>"_s)
                QVERIFY2(got.startsWith(want), qPrintable(key + u" = "_s + got));
            else
                QCOMPARE(got, want);
        }
        // A named secret went to the credentials file under that name, readable by the user alone.
        const QStringList names = saved.last().credentialNames();
        if (names.isEmpty()) {
            QVERIFY(!QFile::exists(credentials));
        } else {
            QFile file(credentials);
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QJsonObject secrets = QJsonDocument::fromJson(file.readAll()).object();
            QCOMPARE(secrets.keys(), names);
            QVERIFY(!secrets.value(names.first()).toString().isEmpty());
            QVERIFY(!secrets.value(names.first()).toString().contains(u'\r'));
            QCOMPARE(file.permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther),
                     QFileDevice::Permissions());
        }
    }

    void refusesASharedCredentialsFile()
    {
        QTemporaryDir dir;
        const QString credentials = dir.filePath(u"secrets.json"_s);
        QFile file(credentials);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{}");
        file.close();
        QVERIFY(file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadOther));
        const CliRun run = runCli({u"add"_s,
                                   u"beszel"_s,
                                   u"--name"_s,
                                   u"B"_s,
                                   u"--url"_s,
                                   u"https://b"_s,
                                   u"--secret-stdin"_s,
                                   u"--sources"_s,
                                   dir.filePath(u"sources.json"_s),
                                   u"--credentials"_s,
                                   credentials},
                                  "tok\n",
                                  m_environment);
        QCOMPARE(run.exitCode, 69);
        QVERIFY(run.err.contains(QByteArray(QByteArray("Cannot use ") + credentials.toUtf8())));
        QVERIFY(!QFile::exists(dir.filePath(u"sources.json"_s)));
    }
};

QTEST_GUILESS_MAIN(AddCommandTest)
#include "AddCommandTest.moc"
