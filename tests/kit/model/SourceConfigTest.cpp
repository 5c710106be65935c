#include "kit/model/AnySourceConfig.h"
#include "kit/model/DecodeError.h"
#include "kit/model/JsonRead.h"
#include "support/ModelCases.h"
#include "support/TestData.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <limits>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

class SourceConfigTest : public QObject
{
    Q_OBJECT

    static QJsonObject parse(const QByteArray &json) { return QJsonDocument::fromJson(json).object(); }
    static const QUuid &uuid()
    {
        static const QUuid id = QUuid::fromString(u"6a1f9d2e-8c3b-4f5a-b7e6-0d9c8b7a6f5e"_s);
        return id;
    }

private Q_SLOTS:
    void everyRecordTypeReadsBack()
    {
        for (const DNSRecordType type : allDNSRecordTypes()) {
            const AnySourceConfig config(DNSRecordConfig(uuid(), u"D"_s, u"n"_s, type));
            QCOMPARE(AnySourceConfig::fromJson(config.toJson()), config);
        }
    }

    // Files as this version and earlier ones wrote them: every kind and every field reads and writes
    // back the same, and each kind keeps its place in the enumeration.
    void readsAndWritesFilesTheSame_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("firstKind");
        QTest::addColumn<int>("count");
        QTest::newRow("an earlier version's kinds") << u"sources-earlier-version.json"_s << 0 << 6;
        QTest::newRow("the kinds added since") << u"model/sources-later-kinds.json"_s << 6 << 3;
        QTest::newRow("every field of every kind") << u"model/sources-every-field.json"_s << 0 << 9;
    }
    void readsAndWritesFilesTheSame()
    {
        QFile source(QStringLiteral(TW_TEST_DATA_DIR "/") + TW_DATA(QString, file));
        QVERIFY(source.open(QIODevice::ReadOnly));
        const QJsonArray entries = QJsonDocument::fromJson(source.readAll()).array();
        QCOMPARE(entries.size(), TW_DATA(int, count));
        int index = TW_DATA(int, firstKind);
        for (const QJsonValue &entry : entries) {
            const AnySourceConfig config = AnySourceConfig::fromJson(entry);
            QCOMPARE(int(config.kind()), index++);
            QCOMPARE(config.toJson(), entry.toObject());
        }
    }

    void readsGameServersLeniently()
    {
        const auto config = AnySourceConfig::fromJson(
            parse(R"({"gameServer":{"_0":{"id":"6a1f9d2e-8c3b-4f5a-b7e6-0d9c8b7a6f5e","displayName":"MC",
                      "gameID":"minecraft","host":"mc","port":25565,"pollInterval":null,"queryPort":null}}})"));
        const auto *game = config.as<GameServerConfig>();
        QVERIFY(game);
        QCOMPARE(game->pollInterval, 60.0);
        QCOMPARE(game->alertThreshold, 3);
        QVERIFY(!game->queryPort);
        QCOMPARE(config.toJson()[u"gameServer"].toObject()[u"_0"].toObject()[u"useTLS"], QJsonValue(false));
    }

    // Unknown kinds and keys beside known ones are read past; a missing or mistyped key is refused
    // and named.
    void decodesOrRefuses_data() { addCaseRows(u"model/source-decoding.json"_s); }
    void decodesOrRefuses()
    {
        QFETCH(QJsonObject, given);
        const QString error = given[u"error"].toString(); // empty: decodes
        try {
            const AnySourceConfig config = AnySourceConfig::fromJson(given[u"json"].toObject());
            QVERIFY2(error.isEmpty(), "decoded a configuration that must fail");
            QCOMPARE(config.toJson().constBegin().key(), given[u"kind"].toString());
            const std::optional<QUuid> parent = config.common().dependsOn;
            QCOMPARE(parent ? JsonRead::uuidText(*parent) : QString(), given[u"dependsOn"].toString());
        } catch (const DecodeError &e) {
            QVERIFY2(!error.isEmpty() && e.text().contains(error), qPrintable(e.text()));
        }
    }

    void clampsIntervalsAtUse_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<double>("clamped");
        QTest::newRow("zero") << 0.0 << 5.0;
        QTest::newRow("minimum") << 5.0 << 5.0;
        QTest::newRow("inside") << 299.5 << 299.5;
        QTest::newRow("a day") << 86400.0 << 3600.0;
        QTest::newRow("NaN") << std::numeric_limits<double>::quiet_NaN() << 60.0;
        QTest::newRow("+infinity") << std::numeric_limits<double>::infinity() << 60.0;
    }
    void clampsIntervalsAtUse()
    {
        QFETCH(double, seconds);
        QFETCH(double, clamped);
        QCOMPARE(PollInterval::clamp(seconds), clamped);
    }
};

QTEST_GUILESS_MAIN(SourceConfigTest)
#include "SourceConfigTest.moc"
