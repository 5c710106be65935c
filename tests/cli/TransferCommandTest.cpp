#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"
#include "support/WriteBlocker.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
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

// `export` and `import` as a user runs them, against files in a scratch directory.
class TransferCommandTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();

    QString write(const QString &name, const QByteArray &bytes)
    {
        put(m_dir.filePath(name), bytes);
        return m_dir.filePath(name);
    }
    QString target() const { return m_dir.filePath(u"data/sources.json"_s); }

private Q_SLOTS:
    void initTestCase()
    {
        // The application's settings are read by an import; keep the user's out of it.
        m_environment.insert(u"XDG_CONFIG_HOME"_s, m_dir.filePath(u"config"_s));
    }
    void init()
    {
        QDir(m_dir.filePath(u"data"_s)).removeRecursively();
        QVERIFY(QDir().mkpath(m_dir.filePath(u"data"_s)));
    }

    void importReplacesOrChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("importBytes");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        const QByteArray good = SourcesStore::encode(exportedSources());
        const QByteArray existing = SourcesStore::encode({resident});
        QTest::newRow("replacing the sources there") << existing << good << 0 << u"Imported 4 sources"_s;
        QTest::newRow("a corrupt file is moved aside")
            << QByteArray("[{\"tcpPort\":") << good << 0 << u"Imported 4 sources"_s;
        QTest::newRow("an empty export changes nothing") << existing << QByteArray("[]") << 65 << u"holds no source"_s;
        QTest::newRow("not a sources file")
            << existing << QByteArray("{\"a\":1}") << 65 << u"is not a Tidewatch sources file"_s;
    }
    void importReplacesOrChangesNothing()
    {
        QFETCH(QByteArray, before);
        QFETCH(int, exitCode);
        write(u"data/sources.json"_s, before);
        const QString importPath = write(u"import.json"_s, TW_DATA(QByteArray, importBytes));

        const CliRun run = runCli({u"import"_s, importPath, u"--sources"_s, target()}, {}, m_environment);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(QString::fromUtf8(run.out + run.err).contains(TW_DATA(QString, message)),
                 QByteArray(run.out + run.err).constData());
        if (exitCode != 0) {
            QCOMPARE(contents(target()), before); // untouched, byte for byte
            return;
        }
        const QList<AnySourceConfig> after = SourcesStore::decode(contents(target()));
        QCOMPARE(after.size(), 4);
        QCOMPARE(after.first().common().displayName, u"Kuma"_s); // in the file's order
        QCOMPARE(after.last().common().displayName, u"Site"_s);
        if (before.startsWith("[{")) // the corrupt one; encoded files are pretty-printed
            QCOMPARE(contents(target() + u".corrupt"_s), before); // a bad file survives for the user
        // The summary names exactly the new secrets that must be entered; that the imported sources
        // reach no existing secret is SourcesStoreTest's.
        QStringList needed;
        for (const AnySourceConfig &source : after)
            needed += source.credentialNames();
        QStringList summarised;
        static const QRegularExpression named(u"\\(tidewatch-cli secret set (\\S+)\\)"_s);
        for (const QRegularExpressionMatch &m : named.globalMatch(QString::fromUtf8(run.out)))
            summarised.append(m.captured(1));
        QCOMPARE(summarised, needed);
        QCOMPARE(summarised.size(), 2); // Kuma and Beszel; the open Kuma and the ping need none
    }

    void exportWritesTheStoreBytesAndNeverReplacesUnasked()
    {
        const QList<AnySourceConfig> sources{resident, exportedSources().last()};
        write(u"data/sources.json"_s, SourcesStore::encode(sources));
        const QString out = write(u"tidewatch-sources.json"_s, "precious");
        const QStringList arguments{u"export"_s, out, u"--sources"_s, target()};
        QCOMPARE(runCli(arguments).exitCode, 73);
        QCOMPARE(contents(out), QByteArray("precious"));
        QCOMPARE(runCli(arguments + QStringList{u"--force"_s}).exitCode, 0);
        QCOMPARE(contents(out), SourcesStore::encode(sources));

        const CliRun toStdout = runCli({u"export"_s, u"-"_s, u"--sources"_s, target()});
        QCOMPARE(toStdout.exitCode, 0);
        QCOMPARE(toStdout.out, SourcesStore::encode(sources));
    }

    // A command whose save cannot finish says so, exits with a failure, and leaves the file it meant
    // to replace as it was, with no temporary copy beside it. The ways a save fails are
    // AtomicFileTest's; here each command that saves, under a file-size limit.
    void failedSaveLeavesTheOldFile_data()
    {
        QTest::addColumn<QString>("arguments"); // %1: the scratch folder
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("ending");
        QTest::newRow("add") << u"add tcpPort --name NAS --host nas:22"_s << QByteArray() << u"sources.json"_s << 73
                             << u"Could not save sources.json: File too large; nothing added"_s;
        QTest::newRow("add with a credentials file")
            << u"add beszel --name B --url https://beszel --secret-stdin --credentials %1/secrets.json"_s
            << QByteArray("a-token\n") << u"secrets.json"_s << 69
            << u"Could not save secrets.json: File too large; nothing added"_s;
        QTest::newRow("export") << u"export %1/export.json --force"_s << QByteArray() << u"export.json"_s << 73
                                << u"Could not save export.json: File too large"_s;
        QTest::newRow("import") << u"import %1/import.json"_s << QByteArray() << u"sources.json"_s << 73
                                << u"Could not save sources.json: File too large; nothing was changed"_s;
    }
    void failedSaveLeavesTheOldFile()
    {
        QTemporaryDir dir;
        SourcesStore::save({resident}, dir.path());
        putPrivate(dir.filePath(u"secrets.json"_s), R"({"beszel-old":"t"})");
        put(dir.filePath(u"export.json"_s), "an earlier export");
        put(dir.filePath(u"import.json"_s), SourcesStore::encode(exportedSources()));
        const QStringList before = QDir(dir.path()).entryList(QDir::Files | QDir::Hidden);
        const QString file = dir.filePath(TW_DATA(QString, file));
        const QByteArray old = contents(file);
        const QStringList arguments = QProcess::splitCommand(TW_DATA(QString, arguments).replace(u"%1"_s, dir.path()))
            + QStringList{u"--sources"_s, dir.filePath(u"sources.json"_s)};

        const WriteBlocker blocker(WriteBlocker::Kind::FileSizeLimit, dir.path());
        const CliRun run = runCli(arguments, TW_DATA(QByteArray, input), m_environment);
        QVERIFY2(run.err.trimmed().endsWith(TW_DATA(QString, ending).toUtf8()), run.err.constData());
        QCOMPARE(run.exitCode, TW_DATA(int, exitCode));
        QCOMPARE(contents(file), old);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), before);
    }
};

QTEST_GUILESS_MAIN(TransferCommandTest)
#include "TransferCommandTest.moc"
