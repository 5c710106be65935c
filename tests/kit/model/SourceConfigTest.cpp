#include "kit/model/AnySourceConfig.h"
#include "kit/model/DecodeError.h"
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

    void readsDependsOn_data()
    {
        QTest::addColumn<QJsonValue>("value"); // undefined for no key
        QTest::addColumn<QString>("expected"); // the id read, "none", or "error"
        QTest::newRow("absent") << QJsonValue(QJsonValue::Undefined) << u"none"_s;
        QTest::newRow("null") << QJsonValue(QJsonValue::Null) << u"none"_s;
        QTest::newRow("an id") << QJsonValue(u"0b5e2a43-1d7c-4e9f-a86b-3c2d1e0f9a8b"_s)
                               << u"0B5E2A43-1D7C-4E9F-A86B-3C2D1E0F9A8B"_s;
        QTest::newRow("not an id") << QJsonValue(u"router"_s) << u"error"_s;
        QTest::newRow("a number") << QJsonValue(7) << u"error"_s;
    }
    void readsDependsOn()
    {
        QFETCH(QJsonValue, value);
        QFETCH(QString, expected);
        // The game server reads its common keys its own way; the others share one reader.
        for (const AnySourceConfig &config :
             {AnySourceConfig(TCPPortConfig(uuid(), u"SSH"_s, u"nas"_s, 22)),
              AnySourceConfig(GameServerConfig(uuid(), u"MC"_s, u"minecraft"_s, u"mc.lan"_s, 25565))}) {
            QJsonObject json = config.toJson();
            const QString kind = json.constBegin().key();
            QJsonObject record = json[kind].toObject()[u"_0"].toObject();
            if (!value.isUndefined())
                record.insert(u"dependsOn", value);
            json.insert(kind, QJsonObject{{u"_0"_s, record}});
            try {
                const auto parent = AnySourceConfig::fromJson(json).common().dependsOn;
                QCOMPARE(parent ? parent->toString(QUuid::WithoutBraces).toUpper() : u"none"_s, expected);
            } catch (const DecodeError &error) {
                QVERIFY2(expected == u"error"_s, qPrintable(error.text()));
            }
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

    void decodesOrRefuses_data() { addCaseRows(u"model/source-decoding.json"_s); }
    void decodesOrRefuses()
    {
        QFETCH(QJsonObject, given);
        const QString error = given[u"error"].toString(); // empty: decodes
        try {
            QCOMPARE(AnySourceConfig::fromJson(given[u"json"].toObject()).kind(), AnySourceConfig::Kind::TCPPort);
            QVERIFY2(error.isEmpty(), "decoded a configuration that must fail");
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
