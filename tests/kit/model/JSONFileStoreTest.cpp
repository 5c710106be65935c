#include "kit/model/JSONFileStore.h"

#include "kit/model/JsonRead.h"
#include "support/Files.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

class JSONFileStoreTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString path() const { return m_dir.filePath(u"sources.json"_s); }
    QString corruptPath() const { return m_dir.filePath(u"sources.json.corrupt"_s); }

    static QJsonDocument decode(const QByteArray &bytes) { return JsonRead::document(bytes); }
    // A valid JSON document of exactly `size` bytes: a string padded with spaces.
    static QByteArray documentOfSize(qint64 size) { return "[\"x\"]" + QByteArray(size - 5, ' '); }

private Q_SLOTS:
    void init()
    {
        QFile::remove(path());
        QFile::remove(corruptPath());
    }

    void missingFileIsAbsentAndCreatesNothing()
    {
        QVERIFY(!JSONFileStore::load(path(), corruptPath(), decode));
        QVERIFY(!QFile::exists(path()));
        QVERIFY(!QFile::exists(corruptPath()));
    }

    void readsUpToTheLimitAndRefusesOneByteMore()
    {
        put(path(), documentOfSize(JSONFileStore::maxFileBytes));
        QVERIFY(JSONFileStore::load(path(), corruptPath(), decode));

        put(path(), documentOfSize(JSONFileStore::maxFileBytes + 1));
        QVERIFY(!JSONFileStore::load(path(), corruptPath(), decode));
        QCOMPARE(QFileInfo(path()).size(), JSONFileStore::maxFileBytes + 1);
        QVERIFY(!QFile::exists(corruptPath()));
    }

    void corruptFilesAreQuarantinedNewestKept_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty file") << QByteArray();
        QTest::newRow("truncated") << QByteArray(R"([{"tcpPort":)");
        QTest::newRow("binary") << QByteArray("\x00\xff\xfe", 3);
    }
    void corruptFilesAreQuarantinedNewestKept()
    {
        QFETCH(QByteArray, bytes);
        put(corruptPath(), "an older corrupt file");
        put(path(), bytes);
        QVERIFY(!JSONFileStore::load(path(), corruptPath(), decode));
        QVERIFY(!QFile::exists(path()));
        QCOMPARE(contents(corruptPath()), bytes);
    }

    void decodeFailureOfTheCallerQuarantinesToo()
    {
        put(path(), R"({"valid":"json","wrong":"shape"})");
        const auto decodeList = [](const QByteArray &b) {
            const QJsonDocument d = JsonRead::document(b);
            if (!d.isArray())
                throw DecodeError(u"expected a list"_s);
            return d.array();
        };
        QVERIFY(!JSONFileStore::load(path(), corruptPath(), decodeList));
        QVERIFY(QFile::exists(corruptPath()));
    }

    void writeCreatesMissingDirectoriesAndReplacesWhole()
    {
        const QString nested = m_dir.filePath(u"a/b/c/history.json"_s);
        JSONFileStore::write("[1]", nested);
        QCOMPARE(contents(nested), QByteArray("[1]"));
        JSONFileStore::write("[2,3]", nested);
        QCOMPARE(contents(nested), QByteArray("[2,3]"));
        QCOMPARE(QDir(m_dir.filePath(u"a/b/c"_s)).entryList(QDir::Files), QStringList{u"history.json"_s});
    }

    void writeIntoAnUnwritablePlaceThrows()
    {
        put(m_dir.filePath(u"blocker"_s), "a file where a directory should be");
        QVERIFY_THROWS_EXCEPTION(JSONFileStore::FileWriteError,
                                 JSONFileStore::write("[]", m_dir.filePath(u"blocker/sources.json"_s)));
    }
};

QTEST_GUILESS_MAIN(JSONFileStoreTest)
#include "JSONFileStoreTest.moc"
