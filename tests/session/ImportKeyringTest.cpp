#include "kit/desktop/KeychainCredentialStore.h"
#include "kit/model/SourcesStore.h"
#include "support/Await.h"
#include "support/CliProcess.h"
#include "support/Files.h"

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

// `tidewatch-cli import` replaces the sources and deletes the secrets only the old ones named, in
// the real Secret Service of the test session; when the new sources.json cannot be written, no
// secret goes.
class ImportKeyringTest : public QObject
{
    Q_OBJECT

    KeychainCredentialStore m_store{QString::fromLatin1(KeychainCredentialStore::productionService), 10s};

    static int import(const QString &mode, const QString &folder, const QString &file, QByteArray *err)
    {
        const QStringList arguments{u"import"_s, file, u"--sources"_s, QString(folder + u"/sources.json"_s)};
        QProcess process;
        if (mode == u"read-only folder"_s) {
            QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner);
            // Root passes by permission bits unless it gives up the right to.
            if (::geteuid() == 0)
                process.start(u"setpriv"_s,
                              QStringList{u"--bounding-set=-dac_override,-dac_read_search,-fowner"_s, cliPath()}
                                  + arguments);
            else
                process.start(cliPath(), arguments);
        } else if (mode == u"file-size limit"_s) {
            process.start(u"sh"_s,
                          QStringList{u"-c"_s, u"trap '' XFSZ; ulimit -f 1; exec \"$0\" \"$@\""_s, cliPath()}
                              + arguments);
        } else {
            process.start(cliPath(), arguments);
        }
        process.closeWriteChannel();
        const bool finished = process.waitForFinished(150000);
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        *err = process.readAllStandardError();
        return finished && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        QVERIFY2(bus && bus->isServiceRegistered(u"org.freedesktop.secrets"_s),
                 "needs the Secret Service of scripts/with-session");
    }

    void failedSaveDeletesNoSecret_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("reason");
        QTest::newRow("read-only folder") << u"read-only folder"_s << u"Permission denied"_s;
        QTest::newRow("file-size limit") << u"file-size limit"_s << u"File too large"_s;
    }
    void failedSaveDeletesNoSecret()
    {
        QFETCH(QString, mode);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        const QUuid id = QUuid::createUuid();
        GameServerConfig palworld(id, u"Palworld"_s, u"palworld"_s, u"127.0.0.1"_s, 8212);
        palworld.credentialRef = AnySourceConfig::credentialName(AnySourceConfig::Kind::GameServer, id);
        const QString name = *palworld.credentialRef;
        // Large enough that any sources.json outgrows the file-size limit.
        QList<AnySourceConfig> sources{palworld};
        for (int i = 0; i < 6; ++i)
            sources.append(TCPPortConfig(QUuid::createUuid(), u"Router %1"_s.arg(i), u"192.0.2.1"_s, 22));
        SourcesStore::save(sources, dir.path());
        const QString exported = dir.filePath(u"exported.json"_s);
        put(exported, SourcesStore::encode(sources.mid(1)));
        await(m_store.write(name, u"admin password"_s));

        QByteArray err;
        QCOMPARE(import(mode, dir.path(), exported, &err), 73);
        QVERIFY2(err.trimmed().endsWith(
                     QString(u"Could not save sources.json: "_s + reason + u"; nothing was changed"_s).toUtf8()),
                 err.constData());
        QCOMPARE(await(m_store.read(name)), std::optional<QString>(u"admin password"_s));
        QCOMPARE(SourcesStore::load(dir.path()), sources);

        // Once the file can be written, the import goes through and the old source's secret goes.
        QVERIFY2(import(QString(), dir.path(), exported, &err) == 0, err.constData());
        QCOMPARE(await(m_store.read(name)), std::nullopt);
        QCOMPARE(SourcesStore::load(dir.path()).size(), sources.size() - 1);
    }
};

QTEST_GUILESS_MAIN(ImportKeyringTest)
#include "ImportKeyringTest.moc"
