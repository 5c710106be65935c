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
        // No temporary file of an interrupted save is left to pile up beside them.
        const QStringList left = QDir(dir.path()).entryList(QDir::Files);
        QVERIFY2(left.size() <= 4, qPrintable(left.join(u", "_s)));
    }
};

QTEST_GUILESS_MAIN(CrashSafetyTest)
#include "CrashSafetyTest.moc"
