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

    // A parent that names no source, or a loop written by hand, reads as no parent at all; the rest
    // of the file is kept.
    void readsParentsThatTakeEffect_data()
    {
        QTest::addColumn<QList<int>>("parents"); // index of each source's parent; -1 none, 9 an unknown id
        QTest::addColumn<QList<int>>("expected");
        QTest::newRow("chain") << QList<int>{1, 2, -1} << QList<int>{1, 2, -1};
        QTest::newRow("unknown id") << QList<int>{9, 0, -1} << QList<int>{-1, 0, -1};
        QTest::newRow("loop") << QList<int>{1, 0, 0} << QList<int>{-1, -1, 0};
        QTest::newRow("itself") << QList<int>{0, -1, 1} << QList<int>{-1, -1, 1};
    }
    void readsParentsThatTakeEffect()
    {
        QFETCH(QList<int>, parents);
        QFETCH(QList<int>, expected);
        QList<AnySourceConfig> sources;
        for (qsizetype i = 0; i < parents.size(); ++i)
            sources.append(TCPPortConfig(QUuid::createUuid(), u"s%1"_s.arg(i), u"nas"_s, 22 + i));
        const auto idAt = [&](int index) -> std::optional<QUuid> {
            if (index < 0)
                return std::nullopt;
            return index < sources.size() ? sources.at(index).id() : QUuid::createUuid();
        };
        for (qsizetype i = 0; i < parents.size(); ++i)
            sources[i].common().dependsOn = idAt(parents.at(i));
        SourcesStore::save(sources, m_dir.path());
        const QList<AnySourceConfig> read = SourcesStore::load(m_dir.path());
        QCOMPARE(read.size(), sources.size());
        for (qsizetype i = 0; i < read.size(); ++i) {
            QCOMPARE(read.at(i).common().dependsOn, idAt(expected.at(i)));
            QCOMPARE(read.at(i).common().displayName, sources.at(i).common().displayName);
        }
    }

    void importCarriesParentsToTheNewIds()
    {
        const TCPPortConfig router(QUuid::createUuid(), u"Router"_s, u"10.0.0.1"_s, 22);
        TCPPortConfig nas(QUuid::createUuid(), u"NAS"_s, u"nas"_s, 22);
        nas.dependsOn = router.id;
        TCPPortConfig plex(QUuid::createUuid(), u"Plex"_s, u"nas"_s, 32400);
        plex.dependsOn = nas.id;
        const QString path = write(u"export.json"_s, SourcesStore::encode({plex, nas, router, nas}));

        const QList<AnySourceConfig> imported = SourcesStore::importFile(path);
        QCOMPARE(imported.size(), 3);
        QCOMPARE(imported[0].common().dependsOn, imported[1].id());
        QCOMPARE(imported[1].common().dependsOn, imported[2].id());
        QCOMPARE(imported[2].common().dependsOn, std::nullopt);
        QVERIFY(imported[1].id() != nas.id);
        // The same file imported again is a family of its own.
        const QList<AnySourceConfig> again = SourcesStore::importFile(path);
        QCOMPARE(again[0].common().dependsOn, again[1].id());
        QVERIFY(again[1].id() != imported[1].id());
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
