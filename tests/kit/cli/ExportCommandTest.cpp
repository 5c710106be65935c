#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

class ExportCommandTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QList<AnySourceConfig> m_sources;

    static QByteArray read(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private Q_SLOTS:
    void initTestCase()
    {
        KumaConfig kuma(QUuid::createUuid(), u"Kuma"_s, u"http://kuma"_s);
        kuma.passwordRef = AnySourceConfig::credentialName(AnySourceConfig::Kind::Kuma, kuma.id);
        m_sources = {kuma, TCPPortConfig(QUuid::createUuid(), u"NAS"_s, u"nas"_s, 445)};
        SourcesStore::save(m_sources, m_dir.path());
    }

    void exportsTheStoreBytesAndNeverReplacesUnasked_data()
    {
        QTest::addColumn<bool>("exists");
        QTest::addColumn<bool>("force");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("new file") << false << false << 0;
        QTest::newRow("existing file kept") << true << false << 73;
        QTest::newRow("existing file replaced with --force") << true << true << 0;
    }
    void exportsTheStoreBytesAndNeverReplacesUnasked()
    {
        QFETCH(bool, exists);
        QFETCH(bool, force);
        QFETCH(int, exitCode);
        const QString target = m_dir.filePath(u"out/tidewatch-sources.json"_s);
        QFile::remove(target);
        if (exists) {
            QVERIFY(QDir().mkpath(m_dir.filePath(u"out"_s)));
            QFile file(target);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("precious");
        }
        QStringList arguments{u"export"_s, u"--sources"_s, SourcesStore::sourcesPath(m_dir.path())};
        if (force)
            arguments.append(u"--force"_s);
        const CliRun run = runCli(arguments + QStringList{target});
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(read(target), exitCode == 0 ? SourcesStore::encode(m_sources) : QByteArray("precious"));
    }

    void dashWritesToStandardOutput()
    {
        const CliRun run = runCli({u"export"_s, u"--sources"_s, SourcesStore::sourcesPath(m_dir.path()), u"-"_s});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, SourcesStore::encode(m_sources));
    }
};

QTEST_GUILESS_MAIN(ExportCommandTest)
#include "ExportCommandTest.moc"
