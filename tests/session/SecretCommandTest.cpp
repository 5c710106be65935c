#include "kit/desktop/KeychainCredentialStore.h"
#include "support/Await.h"
#include "support/CliProcess.h"
#include "support/TestData.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// `tidewatch-cli secret` against the real Secret Service of the test session, read back through
// the application's own store.
class SecretCommandTest : public QObject
{
    Q_OBJECT

    QString m_name = u"kuma-cli-%1"_s.arg(QCoreApplication::applicationPid());

    std::optional<QString> stored()
    {
        KeychainCredentialStore store(QString::fromLatin1(KeychainCredentialStore::productionService), 10s);
        return await(store.read(m_name));
    }

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
        QCOMPARE(stored(), std::optional<QString>(TW_DATA(QString, expected)));
        QVERIFY(!run.out.contains("s3cret") && !run.err.contains("s3cret")); // never echoed
    }

    void deleteRemovesAndToleratesNothing()
    {
        for (int i = 0; i < 2; ++i) {
            const CliRun run = runCli({u"secret"_s, u"delete"_s, m_name});
            QVERIFY2(run.exitCode == 0, run.err.constData());
            QCOMPARE(stored(), std::nullopt);
        }
    }

    void secretsNeverComeFromTheCommandLine()
    {
        const CliRun run = runCli({u"secret"_s, u"set"_s, m_name, u"hunter2"_s}, "typed\n");
        QCOMPARE(run.exitCode, 64);
        QCOMPARE(stored(), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(SecretCommandTest)
#include "SecretCommandTest.moc"
