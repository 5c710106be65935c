#include "kit/desktop/KeychainCredentialStore.h"
#include "kit/model/SourcesStore.h"
#include "support/Await.h"
#include "support/CliProcess.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// `tidewatch-cli add` stores a source's secret in the real Secret Service, under the name the saved
// source refers to, before the source is written.
class AddCommandKeyringTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        QVERIFY2(bus && bus->isServiceRegistered(u"org.freedesktop.secrets"_s),
                 "needs the Secret Service of scripts/with-session");
    }

    void secretLandsUnderTheSourcesName()
    {
        QTemporaryDir dir;
        const CliRun run = runCli({u"add"_s,
                                   u"beszel"_s,
                                   u"--name"_s,
                                   u"Hub"_s,
                                   u"--url"_s,
                                   u"beszel.lan:8090"_s,
                                   u"--secret-stdin"_s,
                                   u"--sources"_s,
                                   dir.filePath(u"sources.json"_s)},
                                  "hub-token\n");
        QVERIFY2(run.exitCode == 0, run.err.constData());
        QVERIFY(!run.out.contains("hub-token"));
        const QList<AnySourceConfig> saved = SourcesStore::load(dir.path());
        QCOMPARE(saved.size(), 1);
        const auto *beszel = saved.first().as<BeszelConfig>();
        QVERIFY(beszel);
        QCOMPARE(beszel->baseURL, u"https://beszel.lan:8090"_s);
        QCOMPARE(beszel->tokenRef, u"beszel-"_s + saved.first().id().toString(QUuid::WithoutBraces).toUpper());

        KeychainCredentialStore store(QString::fromLatin1(KeychainCredentialStore::productionService), 10s);
        QCOMPARE(await(store.read(beszel->tokenRef)), u"hub-token"_s);
        await(store.remove(beszel->tokenRef));
    }
};

QTEST_GUILESS_MAIN(AddCommandKeyringTest)
#include "AddCommandKeyringTest.moc"
