#include "kit/model/AtomicFile.h"

#include "kit/model/FileWriteError.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/SourcesStore.h"
#include "support/Files.h"
#include "support/TestData.h"
#include "support/WriteBlocker.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

void age(const QString &file, qint64 seconds)
{
    QFile f(file);
    QVERIFY(f.open(QIODevice::ReadWrite));
    QVERIFY(f.setFileTime(QDateTime::currentDateTime().addSecs(-seconds), QFileDevice::FileModificationTime));
}

mode_t modeOf(const QString &file)
{
    struct stat info
    { };
    return ::stat(QFile::encodeName(file).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
}

// A sources file of exactly `size` bytes: an empty list padded with spaces.
QByteArray documentOfSize(qint64 size)
{
    return "[]" + QByteArray(size - 2, ' ');
}

} // namespace

// Every file Tidewatch writes goes through AtomicFile: a save that cannot finish leaves the old file
// as it was, says why, and leaves no temporary copy behind. The JSON store above it puts aside a file
// that does not read.
class AtomicFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failedSaveLeavesTheOldFile_data()
    {
        QTest::addColumn<WriteBlocker::Kind>("kind");
        QTest::newRow("file-size limit") << WriteBlocker::Kind::FileSizeLimit;
        QTest::newRow("read-only folder") << WriteBlocker::Kind::ReadOnlyFolder;
    }
    void failedSaveLeavesTheOldFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"secrets.json"_s);
        const QByteArray old = "[\"the old file, whole\"]";
        put(path, old);
        {
            WriteBlocker blocker(TW_DATA(WriteBlocker::Kind, kind), dir.path());
            try {
                AtomicFile::write(path, "{\"a\":\"b\"}", QFileDevice::ReadOwner | QFileDevice::WriteOwner);
                QFAIL("the save went through");
            } catch (const FileWriteError &failure) {
                QCOMPARE(failure.text(), u"Could not save secrets.json: %1"_s.arg(blocker.reason()));
            }
        }
        QCOMPARE(contents(path), old);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"secrets.json"_s});
    }

    void keepsPermissionsAndFollowsLinks()
    {
        QTemporaryDir dir;
        const QString secrets = dir.filePath(u"secrets.json"_s);
        AtomicFile::write(secrets, "{}", QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        QCOMPARE(modeOf(secrets), mode_t(0600));

        const QString shared = dir.filePath(u"shared.json"_s);
        put(shared, "old");
        QVERIFY(::chmod(QFile::encodeName(shared).constData(), 0640) == 0);
        AtomicFile::write(shared, "new");
        QCOMPARE(modeOf(shared), mode_t(0640));

        // A dotfile kept elsewhere and linked in stays a link; the file it names changes.
        const QString link = dir.filePath(u"link.json"_s);
        QVERIFY(QFile::link(shared, link));
        AtomicFile::write(link, "through the link");
        QVERIFY(QFileInfo(link).isSymLink());
        QCOMPARE(contents(shared), QByteArray("through the link"));
    }

    void staleTemporariesAreRemoved_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("ageSeconds");
        QTest::addColumn<bool>("removed");
        // A process number that is certainly gone: one that just ended.
        QProcess ended;
        ended.start(u"true"_s);
        ended.waitForFinished();
        const QString gone = QString::number(ended.processId());
        QTest::newRow("ours, its writer gone") << u".sources.json.tmp-%1-abc"_s.arg(gone) << qint64(0) << true;
        QTest::newRow("ours, its writer running") << u".sources.json.tmp-1-abc"_s << qint64(0) << false;
        QTest::newRow("ours, running but an hour old") << u".sources.json.tmp-1-abc"_s << qint64(7200) << true;
        QTest::newRow("an earlier version's, old") << u"sources.json.a1B2c3"_s << qint64(300) << true;
        QTest::newRow("an earlier version's, just written") << u"sources.json.a1B2c3"_s << qint64(0) << false;
        QTest::newRow("the quarantined file") << u"sources.json.corrupt"_s << qint64(7200) << false;
        QTest::newRow("another file's") << u".history.json.tmp-%1-abc"_s.arg(gone) << qint64(0) << false;
    }
    void staleTemporariesAreRemoved()
    {
        QFETCH(QString, name);
        QTemporaryDir dir;
        put(dir.filePath(name), QByteArray(4096, 'x'));
        age(dir.filePath(name), TW_DATA(qint64, ageSeconds));
        // A save cleans up, as a start does.
        AtomicFile::write(dir.filePath(u"sources.json"_s), "[]");
        QCOMPARE(!QFile::exists(dir.filePath(name)), TW_DATA(bool, removed));
    }

    // A file that does not read is put aside, replacing an older one; one too large to read is the
    // user's to look at and stays where it is.
    void jsonStoreLoad_data()
    {
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("loaded");
        QTest::addColumn<bool>("quarantined");
        QTest::newRow("missing") << false << QByteArray() << false << false;
        QTest::newRow("exactly the limit") << true << documentOfSize(JSONFileStore::maxFileBytes) << true << false;
        QTest::newRow("one byte over") << true << documentOfSize(JSONFileStore::maxFileBytes + 1) << false << false;
        QTest::newRow("truncated") << true << QByteArray(R"([{"tcpPort":)") << false << true;
        QTest::newRow("JSON the caller cannot decode") << true << QByteArray(R"({"wrong":"shape"})") << false << true;
    }
    void jsonStoreLoad()
    {
        QFETCH(QByteArray, bytes);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"sources.json"_s);
        const QString corruptPath = dir.filePath(u"sources.json.corrupt"_s);
        put(corruptPath, "an older corrupt file");
        if (TW_DATA(bool, exists))
            put(path, bytes);
        QCOMPARE(JSONFileStore::load(path, corruptPath, SourcesStore::decode).has_value(), TW_DATA(bool, loaded));
        const bool quarantined = TW_DATA(bool, quarantined);
        QCOMPARE(QFile::exists(path), TW_DATA(bool, exists) && !quarantined);
        QCOMPARE(contents(corruptPath), quarantined ? bytes : QByteArray("an older corrupt file"));
    }

    void jsonStoreWriteMakesTheFolderOrThrows()
    {
        QTemporaryDir dir;
        const QString nested = dir.filePath(u"a/b/c/history.json"_s);
        JSONFileStore::write("[1]", nested);
        QCOMPARE(contents(nested), QByteArray("[1]"));
        put(dir.filePath(u"blocker"_s), "a file where a directory should be");
        QVERIFY_THROWS_EXCEPTION(JSONFileStore::FileWriteError,
                                 JSONFileStore::write("[]", dir.filePath(u"blocker/sources.json"_s)));
    }
};

QTEST_GUILESS_MAIN(AtomicFileTest)
#include "AtomicFileTest.moc"
