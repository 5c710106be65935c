#include "kit/model/SourcesStore.h"
#include "kit/monitor/HistoryStore.h"

#include <QDir>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

// A process killed with SIGKILL in the middle of its saves leaves the old file or the new one,
// never a torn one: both files still read after every kill.
class CrashSafetyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void killDuringSavesNeverBreaksAFile()
    {
        QTemporaryDir dir;
        for (int kill = 0; kill < 25; ++kill) {
            QProcess writer;
            writer.start(QStringLiteral(TW_BINARY_DIR "/tests/tw_save_loop"), {dir.path()});
            QVERIFY(writer.waitForStarted());
            QVERIFY(writer.waitForReadyRead(5000));
            QTest::qWait(int(QRandomGenerator::global()->bounded(5, 60)));
            writer.kill();
            QVERIFY(writer.waitForFinished(5000));

            QVERIFY(!QFile::exists(SourcesStore::corruptPath(dir.path())));
            QVERIFY(!SourcesStore::load(dir.path()).isEmpty());
            QVERIFY(!QFile::exists(HistoryStore::corruptPath(dir.path())));
            QVERIFY(!HistoryStore::load(dir.path()).samples.isEmpty());
        }
        // The next save removes what the killed one left: no full copy piles up beside the files.
        SourcesStore::save(SourcesStore::load(dir.path()), dir.path());
        HistoryStore::save(HistoryStore::load(dir.path()), dir.path());
        const QStringList left = QDir(dir.path()).entryList(QDir::Files | QDir::Hidden);
        QCOMPARE(left, (QStringList{u"history.json"_s, u"sources.json"_s}));
    }
};

QTEST_GUILESS_MAIN(CrashSafetyTest)
#include "CrashSafetyTest.moc"
