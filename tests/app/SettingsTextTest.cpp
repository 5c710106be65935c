#include "app/SettingsText.h"

#include "app/IconProvider.h"
#include "kit/forms/SourceFormState.h"

#include <QFile>
#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tw::AnySourceConfig)

class SettingsTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A kind without a label or with a symbol that no bundled icon answers shows as a blank row.
    void everyKindHasALabelAndAnIcon()
    {
        for (const auto type : SourceFormState::allTypes()) {
            const auto kind = sourceKindFromString(toText(type));
            QVERIFY2(kind, qPrintable(toText(type)));
            QVERIFY(!SettingsText::kindLabel(*kind).isEmpty());
            QCOMPARE(SettingsText::kindLabel(*kind), SourceFormState::title(type));
            QCOMPARE(SettingsText::kindSymbol(*kind), SourceFormState::icon(type));
            const QString file = IconProvider::fileFor(SettingsText::kindSymbol(*kind));
            QVERIFY2(!file.isEmpty() && QFile::exists(file), qPrintable(toText(type)));
        }
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
    }
    void targets()
    {
        QFETCH(AnySourceConfig, source);
        QFETCH(QString, target);
        QCOMPARE(SettingsText::targetText(source), target);
    }
};

QTEST_GUILESS_MAIN(SettingsTextTest)
#include "SettingsTextTest.moc"
