#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"

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
    // to replace as it was, with no temporary copy beside it: on a full disk, and under a file-size
    // limit.
    void failedSaveLeavesTheOldFile_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("arguments"); // %1: the folder the command works in
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("ending"); // %1: the reason
        for (const char *mode : {"full", "limit"}) {
            QTest::addRow("add, %s", mode)
                << QString::fromLatin1(mode) << u"add tcpPort --name NAS --host nas:22"_s << QByteArray()
                << u"sources.json"_s << 73 << u"Could not save sources.json: %1; nothing added"_s;
            QTest::addRow("add with a credentials file, %s", mode)
                << QString::fromLatin1(mode)
                << u"add beszel --name B --url https://beszel --secret-stdin --credentials %1/secrets.json"_s
                << QByteArray("a-token\n") << u"secrets.json"_s << 69
                << u"Could not save secrets.json: %1; nothing added"_s;
            QTest::addRow("export, %s", mode)
                << QString::fromLatin1(mode) << u"export %1/export.json --force"_s << QByteArray() << u"export.json"_s
                << 73 << u"Could not save export.json: %1"_s;
            QTest::addRow("import, %s", mode)
                << QString::fromLatin1(mode) << u"import %1/../import.json"_s << QByteArray() << u"sources.json"_s << 73
                << u"Could not save sources.json: %1; nothing was changed"_s;
        }
    }
    void failedSaveLeavesTheOldFile()
    {
        // The command works in `work`, a copy of `stage`: on a full 128 KiB tmpfs mounted in a
        // private mount namespace, or under a 512-byte file-size limit with SIGXFSZ ignored. What it
        // left is copied to `out`. Exit status 90: the tmpfs could not be mounted.
        static const char *const script = R"sh(
work=$1; stage=$2; out=$3; mode=$4; shift 4
if [ "$mode" = full ]; then
    mount -t tmpfs -o size=128k tidewatch-test "$work" || exit 90
    cp -a "$stage"/. "$work"/
    dd if=/dev/zero of="$work/fill" bs=4k 2>/dev/null
    "$@"; rc=$?
    rm -f "$work/fill"
else
    cp -a "$stage"/. "$work"/
    (trap '' XFSZ; ulimit -f 1; exec "$@"); rc=$?
fi
cp -a "$work"/. "$out"/
exit $rc
)sh";
        QTemporaryDir dir;
        const QString work = dir.filePath(u"work"_s), stage = dir.filePath(u"stage"_s), out = dir.filePath(u"out"_s);
        for (const QString &folder : {work, stage, out})
            QVERIFY(QDir().mkpath(folder));
        // Every old file is larger than the limit, so that its replacement is too.
        SourcesStore::save(QList<AnySourceConfig>(6, resident), stage);
        putPrivate(stage + u"/secrets.json"_s, R"({"beszel-old":")" + QByteArray(600, 't') + R"("})");
        put(stage + u"/export.json"_s, "an earlier export, " + QByteArray(600, 'e'));
        put(dir.filePath(u"import.json"_s), SourcesStore::encode(exportedSources()));
        const QStringList before = QDir(stage).entryList(QDir::Files | QDir::Hidden);
        const QString file = TW_DATA(QString, file);
        const QByteArray old = contents(stage + u'/' + file);

        const QStringList arguments = QProcess::splitCommand(TW_DATA(QString, arguments).replace(u"%1"_s, work))
            + QStringList{u"--sources"_s, work + u"/sources.json"_s};
        const QString mode = TW_DATA(QString, mode);
        const QStringList wrapped{u"-c"_s, QString::fromUtf8(script), u"sh"_s, work, stage, out, mode, cliPath()};
        QProcess process;
        process.setProcessEnvironment(m_environment);
        if (mode == u"full"_s)
            process.start(u"unshare"_s, QStringList{u"-rm"_s, u"sh"_s} + wrapped + arguments);
        else
            process.start(u"sh"_s, wrapped + arguments);
        QVERIFY(process.waitForStarted());
        process.write(TW_DATA(QByteArray, input));
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(30000));
        const QString err = QString::fromUtf8(process.readAllStandardError()).trimmed();
        QVERIFY2(process.exitCode() != 90, qPrintable(u"no tmpfs in a private mount namespace: "_s + err));
        const QString reason = mode == u"full"_s ? u"No space left on device"_s : u"File too large"_s;
        QVERIFY2(err.endsWith(TW_DATA(QString, ending).arg(reason)), qPrintable(err));
        QCOMPARE(process.exitCode(), TW_DATA(int, exitCode));
        QCOMPARE(contents(out + u'/' + file), old);
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden), before);
    }
};

QTEST_GUILESS_MAIN(TransferCommandTest)
#include "TransferCommandTest.moc"
