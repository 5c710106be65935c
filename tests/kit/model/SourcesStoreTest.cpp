#include "kit/model/SourcesStore.h"

#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

class SourcesStoreTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString write(const QString &name, const QByteArray &bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(bytes);
        return path;
    }

private Q_SLOTS:
    void savedFileIsSortedAndPretty()
    {
        const TCPPortConfig tcp(QUuid::createUuid(), u"ssh"_s, u"nas"_s, 22);
        SourcesStore::save({tcp}, m_dir.path());
        QFile file(SourcesStore::sourcesPath(m_dir.path()));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY(bytes.contains("\n    {\n        \"tcpPort\": {"));
        // Keys in order: alertThreshold before displayName before host.
        QVERIFY(bytes.indexOf("alertThreshold") < bytes.indexOf("displayName"));
        QVERIFY(bytes.indexOf("displayName") < bytes.indexOf("\"host\""));
        QCOMPARE(SourcesStore::load(m_dir.path()), QList<AnySourceConfig>{tcp});
    }

    void importNeverCollidesNorReachesAnotherSecret()
    {
        KumaConfig kuma(QUuid::createUuid(), u"Kuma"_s, u"http://kuma"_s);
        kuma.passwordRef = u"kuma-shared-by-hand"_s;
        KumaConfig open(QUuid::createUuid(), u"Open Kuma"_s, u"http://kuma2"_s);
        BeszelConfig beszel(QUuid::createUuid(), u"Beszel"_s, u"http://beszel"_s, u"beszel-x"_s);
        const QList<AnySourceConfig> exported{kuma, kuma, open, beszel};
        const QString path = write(u"export.json"_s, SourcesStore::encode(exported));

        const QList<AnySourceConfig> first = SourcesStore::importFile(path);
        const QList<AnySourceConfig> second = SourcesStore::importFile(path);
        QCOMPARE(first.size(), 3); // the duplicate id is dropped
        QSet<QUuid> ids;
        QSet<QString> secrets;
        for (const QList<AnySourceConfig> &batch : {first, second, exported}) {
            for (const AnySourceConfig &source : batch) {
                ids.insert(source.id());
                for (const QString &name : source.credentialNames())
                    secrets.insert(name);
            }
        }
        QCOMPARE(ids.size(), 3 + 3 + 3);
        QCOMPARE(secrets.size(), 2 + 2 + 2); // every import gets names of its own
        QCOMPARE(first[0].common().displayName, u"Kuma"_s);
        QCOMPARE(first[0].as<KumaConfig>()->passwordRef,
                 AnySourceConfig::credentialName(AnySourceConfig::Kind::Kuma, first[0].id()));
        QCOMPARE(first[1].as<KumaConfig>()->passwordRef, std::nullopt); // no secret stays no secret
        QCOMPARE(first[0].as<KumaConfig>()->baseURL, u"http://kuma"_s);
    }

    void importRefusesWhatIsNotASourcesFile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("message");
        QTest::newRow("object") << QByteArray("{}") << u"is not a Tidewatch sources file"_s;
        QTest::newRow("truncated") << QByteArray("[{\"tcpPort\":") << u"is not a Tidewatch sources file"_s;
        QTest::newRow("too large") << QByteArray(8 * 1024 * 1024 + 1, ' ') << u"is larger than 8 MiB"_s;
    }
    void importRefusesWhatIsNotASourcesFile()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, message);
        const QString path = write(u"bad.json"_s, bytes);
        try {
            SourcesStore::importFile(path);
            QFAIL("imported a bad file");
        } catch (const SourcesStore::ImportError &error) {
            QVERIFY2(error.text().contains(message), qPrintable(error.text()));
        }
        try {
            SourcesStore::importFile(m_dir.filePath(u"missing.json"_s));
            QFAIL("imported a missing file");
        } catch (const SourcesStore::ImportError &error) {
            QVERIFY(error.text().startsWith(u"Couldn't open"_s));
        }
    }
};

QTEST_GUILESS_MAIN(SourcesStoreTest)
#include "SourcesStoreTest.moc"
