#include "app/IconProvider.h"
#include "kit/forms/SourceFormState.h"

#include <QFile>
#include <QSet>
#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tw::AnySourceConfig)

class SourceKindsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // What a kind declares must be complete: a key that reads back, a title, an icon that is bundled
    // (or its row shows blank), and a view of its fields in the sheet.
    void everyKindIsDeclaredWhole()
    {
        QSet<QString> keys;
        for (const auto kind : AnySourceConfig::allKinds()) {
            const SourceKindInfo &info = AnySourceConfig::info(kind);
            const QString key = info.key.toString();
            QVERIFY2(!keys.contains(key), qPrintable(key));
            keys.insert(key);
            QCOMPARE(sourceKindFromString(key), kind);
            QVERIFY(!info.title.isEmpty() && !SourceKindForm::of(kind).purpose().isEmpty());
            const QString icon = IconProvider::fileFor(info.symbol.toString());
            QVERIFY2(!icon.isEmpty() && QFile::exists(icon), qPrintable(key));
            const QString view = u":/Tidewatch/"_s + SourceKindForm::view(kind) + u".qml"_s;
            QVERIFY2(QFile::exists(view), qPrintable(view));
            QVERIFY(!SourceKindForm::of(kind).usage().isEmpty());
        }
        QCOMPARE(SourceKindForm::of(AnySourceConfig::Kind::GameServer).purpose(), u"42 games"_s);
    }

    void targets_data()
    {
        QTest::addColumn<AnySourceConfig>("source");
        QTest::addColumn<QString>("target");
        const QUuid id = QUuid::createUuid();
        QTest::newRow("ping") << AnySourceConfig(ICMPPingConfig(id, u"R"_s, u"10.0.0.1"_s)) << u"10.0.0.1"_s;
        QTest::newRow("dns") << AnySourceConfig(DNSRecordConfig(id, u"M"_s, u"home.lan"_s, DNSRecordType::MX))
                             << u"MX home.lan"_s;
        QTest::newRow("tls") << AnySourceConfig(TLSCertificateConfig(id, u"N"_s, u"nas"_s)) << u"nas:443"_s;
        QTest::newRow("game") << AnySourceConfig(GameServerConfig(id, u"G"_s, u"minecraft-java"_s, u"mc"_s, 25565))
                              << u"mc:25565"_s;
    }
    void targets()
    {
        QFETCH(AnySourceConfig, source);
        QFETCH(QString, target);
        QCOMPARE(source.target(), target);
    }
};

QTEST_GUILESS_MAIN(SourceKindsTest)
#include "SourceKindsTest.moc"
