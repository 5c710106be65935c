#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/TestData.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

const TCPPortConfig resident(QUuid::createUuid(), u"Router"_s, u"10.0.0.1"_s, 22);

QList<AnySourceConfig> exportedSources()
{
    KumaConfig kuma(QUuid::createUuid(), u"Kuma"_s, u"http://kuma"_s);
    kuma.passwordRef = u"kuma-shared-by-hand"_s;
    const KumaConfig open(QUuid::createUuid(), u"Open Kuma"_s, u"http://kuma2"_s);
    const BeszelConfig beszel(QUuid::createUuid(), u"Beszel"_s, u"http://beszel"_s, u"beszel-x"_s);
    const HTTPPingConfig ping(QUuid::createUuid(), u"Site"_s, u"https://example.org"_s);
    return {kuma, kuma, open, beszel, ping}; // the repeated id is dropped by an import
}

} // namespace

class ImportCommandTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString write(const QString &name, const QByteArray &bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(bytes);
        return path;
    }
    static QByteArray read(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private Q_SLOTS:
    void init() { QFile::remove(m_dir.filePath(u"sources.json"_s)); }

    void importsNextToWhatIsThereOrNothing_data()
    {
        QTest::addColumn<QByteArray>("target"); // null: no sources file yet
        QTest::addColumn<QByteArray>("importBytes");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        const QByteArray good = SourcesStore::encode(exportedSources());
        const QByteArray existing = SourcesStore::encode({resident});
        QTest::newRow("into a new file") << QByteArray() << good << 0 << u"Imported 4 sources"_s;
        QTest::newRow("after the sources there") << existing << good << 0 << u"Imported 4 sources"_s;
        QTest::newRow("an empty export") << existing << QByteArray("[]") << 0 << u"nothing was imported"_s;
        QTest::newRow("a corrupt target is left alone")
            << QByteArray("[{\"tcpPort\":") << good << 65 << u"nothing was imported"_s;
        QTest::newRow("not a sources file")
            << existing << QByteArray("{\"a\":1}") << 65 << u"is not a Tidewatch sources file"_s;
        QTest::newRow("larger than 8 MiB")
            << existing << QByteArray(8 * 1024 * 1024 + 1, ' ') << 65 << u"larger than 8 MiB"_s;
    }
    void importsNextToWhatIsThereOrNothing()
    {
        QFETCH(QByteArray, target);
        QFETCH(int, exitCode);
        const QString targetPath = m_dir.filePath(u"sources.json"_s);
        if (!target.isNull())
            write(u"sources.json"_s, target);
        const QString importPath = write(u"import.json"_s, TW_DATA(QByteArray, importBytes));

        const CliRun run = runCli({u"import"_s, u"--sources"_s, targetPath, importPath});
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(QString::fromUtf8(run.out + run.err).contains(TW_DATA(QString, message)),
                 QByteArray(run.out + run.err).constData());
        if (exitCode != 0 || run.out.contains("nothing was imported")) {
            QCOMPARE(read(targetPath), target); // untouched, byte for byte
            return;
        }
        const QList<AnySourceConfig> after = SourcesStore::decode(read(targetPath));
        const qsizetype before = target.isNull() ? 0 : 1;
        QCOMPARE(after.size(), before + 4);
        if (before)
            QCOMPARE(after.first(), AnySourceConfig(resident));
        QCOMPARE(after.last().common().displayName, u"Site"_s); // in the file's order
    }

    // The imported sources can reach no existing secret, and the summary names exactly the new
    // secrets that must be entered.
    void summaryNamesTheNewSecretsOnly()
    {
        const QList<AnySourceConfig> exported = exportedSources();
        const QString importPath = write(u"import.json"_s, SourcesStore::encode(exported));
        const QString targetPath = m_dir.filePath(u"sources.json"_s);
        const CliRun first = runCli({u"import"_s, u"--sources"_s, targetPath, importPath});
        const CliRun second = runCli({u"import"_s, u"--sources"_s, targetPath, importPath});
        QCOMPARE(first.exitCode, 0);
        QCOMPARE(second.exitCode, 0);

        const QList<AnySourceConfig> stored = SourcesStore::decode(read(targetPath));
        QCOMPARE(stored.size(), 8);
        QSet<QUuid> ids;
        QSet<QString> originalIds;
        for (const AnySourceConfig &source : exported)
            originalIds.insert(source.id().toString());
        QStringList expectedNames;
        for (const AnySourceConfig &source : stored) {
            ids.insert(source.id());
            QVERIFY(!originalIds.contains(source.id().toString()));
            expectedNames += source.credentialNames();
        }
        QCOMPARE(ids.size(), 8); // two imports of one file are independent

        QStringList summarised;
        const QRegularExpression nameLine(u"^  .+ \\((\\w+)\\): (\\S+)$"_s, QRegularExpression::MultilineOption);
        for (const QByteArray &out : {first.out, second.out}) {
            for (const QRegularExpressionMatch &m : nameLine.globalMatch(QString::fromUtf8(out)))
                summarised.append(m.captured(2));
        }
        expectedNames.sort();
        summarised.sort();
        QCOMPARE(summarised, expectedNames);
        QCOMPARE(summarised.size(), 4); // Kuma and Beszel twice; the open Kuma and the ping need none
        QVERIFY(!summarised.contains(u"kuma-shared-by-hand"_s));
        QVERIFY(!summarised.contains(u"beszel-x"_s));
    }
};

QTEST_GUILESS_MAIN(ImportCommandTest)
#include "ImportCommandTest.moc"
