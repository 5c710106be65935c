#include "kit/desktop/KeychainCredentialStore.h"
#include "kit/model/SourcesStore.h"
#include "support/Await.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// The commands that keep secrets, against the real Secret Service of the test session, read back
// through the application's own store.
class SecretCommandTest : public QObject
{
    Q_OBJECT

    QString m_name = u"kuma-cli-%1"_s.arg(QCoreApplication::applicationPid());
    KeychainCredentialStore m_store{QString::fromLatin1(KeychainCredentialStore::productionService), 10s};

    std::optional<QString> stored(const QString &name) { return await(m_store.read(name)); }

private Q_SLOTS:
    void initTestCase()
    {
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        QVERIFY2(bus && bus->isServiceRegistered(u"org.freedesktop.secrets"_s),
                 "needs the Secret Service of scripts/with-session");
    }

    void setReadsStandardInput_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("expected"); // what the store holds afterwards
        QTest::newRow("line break dropped") << QByteArray("s3cret pass\n") << 0 << u"s3cret pass"_s;
        QTest::newRow("overwrites, CRLF dropped") << QByteArray("tökën ✓\r\n") << 0 << u"tökën ✓"_s;
        QTest::newRow("only the first line") << QByteArray("first\nsecond\n") << 0 << u"first"_s;
        QTest::newRow("no line break") << QByteArray("plain") << 0 << u"plain"_s;
        QTest::newRow("empty input keeps the old secret") << QByteArray("\n") << 65 << u"plain"_s;
        QTest::newRow("no UTF-8 keeps the old secret") << QByteArray("\xff\xfe\n") << 65 << u"plain"_s;
    }
    void setReadsStandardInput()
    {
        QFETCH(int, exitCode);
        const CliRun run = runCli({u"secret"_s, u"set"_s, m_name}, TW_DATA(QByteArray, input));
        QVERIFY2(run.exitCode == exitCode, run.err.constData());
        QCOMPARE(stored(m_name), std::optional<QString>(TW_DATA(QString, expected)));
        QVERIFY(!run.out.contains("s3cret") && !run.err.contains("s3cret")); // never echoed
    }

    void deleteRemovesAndToleratesNothing()
    {
        for (int i = 0; i < 2; ++i) {
            const CliRun run = runCli({u"secret"_s, u"delete"_s, m_name});
            QVERIFY2(run.exitCode == 0, run.err.constData());
            QCOMPARE(stored(m_name), std::nullopt);
        }
    }

    void secretsNeverComeFromTheCommandLine()
    {
        const CliRun run = runCli({u"secret"_s, u"set"_s, m_name, u"hunter2"_s}, "typed\n");
        QCOMPARE(run.exitCode, 64);
        QCOMPARE(stored(m_name), std::nullopt);
    }

    // `add` stores a source's secret under the name the saved source refers to.
    void addStoresTheSecretUnderTheSourcesName()
    {
        QTemporaryDir dir;
        const CliRun run =
            runCli(QProcess::splitCommand(u"add beszel --name Hub --url beszel.lan:8090 --secret-stdin"_s)
                       + QStringList{u"--sources"_s, dir.filePath(u"sources.json"_s)},
                   "hub-token\n");
        QVERIFY2(run.exitCode == 0, run.err.constData());
        QVERIFY(!run.out.contains("hub-token"));
        const QList<AnySourceConfig> saved = SourcesStore::load(dir.path());
        QCOMPARE(saved.size(), 1);
        const auto *beszel = saved.first().as<BeszelConfig>();
        QVERIFY(beszel);
        QCOMPARE(beszel->tokenRef, u"beszel-"_s + saved.first().id().toString(QUuid::WithoutBraces).toUpper());
        QCOMPARE(stored(beszel->tokenRef), u"hub-token"_s);
        await(m_store.remove(beszel->tokenRef));
    }

    // `import` deletes the secrets only the old sources named, and none when the new sources.json
    // cannot be written (the other ways a save fails are SaveFailureCommandTest's).
    void importDeletesTheOldSecretsOnlyOnceSaved()
    {
        QTemporaryDir dir;
        const QUuid id = QUuid::createUuid();
        GameServerConfig palworld(id, u"Palworld"_s, u"palworld"_s, u"127.0.0.1"_s, 8212);
        palworld.credentialRef = AnySourceConfig::credentialName(AnySourceConfig::Kind::GameServer, id);
        const QString name = *palworld.credentialRef;
        const QList<AnySourceConfig> sources{palworld,
                                             TCPPortConfig(QUuid::createUuid(), u"Router"_s, u"192.0.2.1"_s, 22)};
        SourcesStore::save(sources, dir.path());
        const QString exported = dir.filePath(u"exported.json"_s);
        put(exported, SourcesStore::encode(sources.mid(1)));
        await(m_store.write(name, u"admin password"_s));
        const QStringList arguments{cliPath(), u"import"_s, exported, u"--sources"_s, dir.filePath(u"sources.json"_s)};

        QVERIFY(QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::ExeOwner));
        QProcess process;
        // Root passes by permission bits unless it gives up the right to.
        if (::geteuid() == 0)
            process.start(u"setpriv"_s,
                          QStringList{u"--bounding-set=-dac_override,-dac_read_search,-fowner"_s} + arguments);
        else
            process.start(arguments.first(), arguments.mid(1));
        QVERIFY(process.waitForFinished(150000));
        QVERIFY(QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        const QByteArray err = process.readAllStandardError();
        QCOMPARE(process.exitCode(), 73);
        QVERIFY2(err.trimmed().endsWith("Could not save sources.json: Permission denied; nothing was changed"),
                 err.constData());
        QCOMPARE(stored(name), std::optional<QString>(u"admin password"_s));
        QCOMPARE(SourcesStore::load(dir.path()), sources);

        const CliRun run = runCli(arguments.mid(1));
        QVERIFY2(run.exitCode == 0, run.err.constData());
        QCOMPARE(stored(name), std::nullopt);
        QCOMPARE(SourcesStore::load(dir.path()).size(), 1);
    }
};

QTEST_GUILESS_MAIN(SecretCommandTest)
#include "SecretCommandTest.moc"
