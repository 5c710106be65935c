#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// Runs the command on a copy of `stage` in `work`, and copies what it left into `out`: on a full
// 128 KiB tmpfs mounted in a private mount namespace, or under a 512-byte file-size limit with
// SIGXFSZ ignored. Exit status 90: the tmpfs could not be mounted.
const char *const script = R"sh(
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

QList<AnySourceConfig> someSources(int count)
{
    QList<AnySourceConfig> sources;
    for (int i = 0; i < count; ++i)
        sources.append(TCPPortConfig(QUuid::createUuid(), u"Router %1"_s.arg(i), u"192.0.2.%1"_s.arg(i), 22));
    return sources;
}

} // namespace

// A command whose save cannot finish (a full disk, a file-size limit) says so, exits with a failure,
// and leaves the file it meant to replace as it was, with no temporary copy beside it.
class SaveFailureCommandTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failedSaveLeavesTheOldFile_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("ending");
        const QList<std::pair<const char *, QString>> modes{{"full disk", u"full"_s}, {"file-size limit", u"limit"_s}};
        for (const auto &[label, mode] : modes) {
            const QString reason = mode == u"full"_s ? u"No space left on device"_s : u"File too large"_s;
            QTest::addRow("add, %s", label)
                << mode << u"add tcpPort --name NAS --host nas:22"_s << QByteArray() << u"sources.json"_s << 73
                << QString(u"Could not save sources.json: "_s + reason + u"; nothing added"_s);
            QTest::addRow("add with a credentials file, %s", label)
                << mode << u"add beszel --name B --url https://beszel --secret-stdin --credentials @/secrets.json"_s
                << QByteArray("a-token\n") << u"secrets.json"_s << 69
                << QString(u"Could not save secrets.json: "_s + reason + u"; nothing added"_s);
            QTest::addRow("export, %s", label)
                << mode << u"export @/export.json --force"_s << QByteArray() << u"export.json"_s << 73
                << QString(u"Could not save export.json: "_s + reason);
            QTest::addRow("import, %s", label)
                << mode << u"import @stage/../import.json"_s << QByteArray() << u"sources.json"_s << 73
                << QString(u"Could not save sources.json: "_s + reason + u"; nothing was changed"_s);
        }
    }
    void failedSaveLeavesTheOldFile()
    {
        QFETCH(QString, mode);
        QStringList arguments = QProcess::splitCommand(TW_DATA(QString, arguments));
        QFETCH(QByteArray, input);
        QFETCH(QString, file);
        QFETCH(int, exitCode);
        QFETCH(QString, ending);
        QTemporaryDir scratch;
        QDir root(scratch.path());
        for (const char *folder : {"work", "stage", "out"})
            QVERIFY(root.mkdir(QLatin1String(folder)));
        const QString work = root.filePath(u"work"_s);
        const QString stage = root.filePath(u"stage"_s);
        const QString out = root.filePath(u"out"_s);

        // Every old file is larger than the limit, so that its replacement is too.
        SourcesStore::save(someSources(6), stage);
        putPrivate(QString(stage + u"/secrets.json"_s),
                   QByteArray("{\"beszel-old\":\"" + QByteArray(600, 't') + "\"}"));
        put(QString(stage + u"/export.json"_s), QByteArray("an earlier export, " + QByteArray(600, 'e')));
        put(root.filePath(u"import.json"_s), SourcesStore::encode(someSources(8)));
        const QStringList before = QDir(stage).entryList(QDir::Files | QDir::Hidden);
        const QByteArray old = contents(QString(stage + u'/' + file));

        for (QString &argument : arguments) {
            argument.replace(u"@stage/"_s, stage + u'/');
            argument.replace(u"@/"_s, work + u'/');
        }
        arguments << u"--sources"_s << QString(work + u"/sources.json"_s);
        QProcess process;
        QStringList wrapped{u"-c"_s, QString::fromUtf8(script), u"sh"_s, work, stage, out, mode, cliPath()};
        if (mode == u"full"_s)
            process.start(u"unshare"_s, QStringList(QStringList{u"-rm"_s, u"sh"_s} + wrapped + arguments));
        else
            process.start(u"sh"_s, wrapped + arguments);
        QVERIFY(process.waitForStarted());
        process.write(input);
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(30000));
        const QString err = QString::fromUtf8(process.readAllStandardError());
        if (process.exitCode() == 90)
            QFAIL(qPrintable(QString(u"cannot mount a tmpfs in a private mount namespace (unshare -rm): "_s + err)));

        QVERIFY2(err.trimmed().endsWith(ending), qPrintable(err));
        QCOMPARE(process.exitCode(), exitCode);
        QCOMPARE(contents(QString(out + u'/' + file)), old);
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden), before);
    }
};

QTEST_GUILESS_MAIN(SaveFailureCommandTest)
#include "SaveFailureCommandTest.moc"
