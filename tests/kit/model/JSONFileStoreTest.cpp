#include "kit/model/JSONFileStore.h"

#include "kit/model/JsonRead.h"
#include "support/Files.h"
#include "support/TestData.h"

#include <QFile>
#include <QJsonArray>
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

    // A valid JSON list of exactly `size` bytes: a string padded with spaces.
    static QByteArray documentOfSize(qint64 size) { return "[\"x\"]" + QByteArray(size - 5, ' '); }

private Q_SLOTS:
    // A file that does not read is put aside, replacing an older one; one too large to read is the
    // user's to look at and stays where it is.
    void load_data()
    {
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("loaded");
        QTest::addColumn<bool>("quarantined");
        QTest::newRow("missing") << false << QByteArray() << false << false;
        QTest::newRow("exactly the limit") << true << documentOfSize(JSONFileStore::maxFileBytes) << true << false;
        QTest::newRow("one byte over") << true << documentOfSize(JSONFileStore::maxFileBytes + 1) << false << false;
        QTest::newRow("empty file") << true << QByteArray() << false << true;
        QTest::newRow("truncated") << true << QByteArray(R"([{"tcpPort":)") << false << true;
        QTest::newRow("JSON the caller cannot decode") << true << QByteArray(R"({"wrong":"shape"})") << false << true;
    }
    void load()
    {
        QFETCH(QByteArray, bytes);
        QFile::remove(path());
        put(corruptPath(), "an older corrupt file");
        if (TW_DATA(bool, exists))
            put(path(), bytes);
        const auto decodeList = [](const QByteArray &b) {
            const QJsonDocument d = JsonRead::document(b);
            if (!d.isArray())
                throw DecodeError(u"expected a list"_s);
            return d.array();
        };
        QCOMPARE(JSONFileStore::load(path(), corruptPath(), decodeList).has_value(), TW_DATA(bool, loaded));
        const bool quarantined = TW_DATA(bool, quarantined);
        QCOMPARE(QFile::exists(path()), TW_DATA(bool, exists) && !quarantined);
        QCOMPARE(contents(corruptPath()), quarantined ? bytes : QByteArray("an older corrupt file"));
    }

    void writeMakesTheFolderOrThrows()
    {
        const QString nested = m_dir.filePath(u"a/b/c/history.json"_s);
        JSONFileStore::write("[1]", nested);
        QCOMPARE(contents(nested), QByteArray("[1]"));
        put(m_dir.filePath(u"blocker"_s), "a file where a directory should be");
        QVERIFY_THROWS_EXCEPTION(JSONFileStore::FileWriteError,
                                 JSONFileStore::write("[]", m_dir.filePath(u"blocker/sources.json"_s)));
    }
};

QTEST_GUILESS_MAIN(JSONFileStoreTest)
#include "JSONFileStoreTest.moc"
