#include "kit/model/WidgetData.h"

#include "kit/model/DecodeError.h"
#include "support/ModelCases.h"

#include <QJsonDocument>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

class WidgetDataTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Every case and field reads and writes back the same; unknown keys are read past, and a
    // missing or mistyped one is refused and named.
    void decodesOrRefuses_data() { addCaseRows(u"model/widget-decoding.json"_s); }
    void decodesOrRefuses()
    {
        QFETCH(QJsonObject, given);
        const QJsonObject json = given[u"json"].toObject();
        const QString error = given[u"error"].toString(); // empty: decodes
        try {
            const WidgetData widget = WidgetData::fromJson(json);
            QVERIFY2(error.isEmpty(), "decoded a value that must fail");
            if (given[u"writtenBackTheSame"].toBool())
                QCOMPARE(widget.toJson(), json);
        } catch (const DecodeError &e) {
            QVERIFY2(!error.isEmpty() && e.text().contains(error), qPrintable(e.text()));
        }
    }

    void derivedReadingsAndKeys_data() { addCaseRows(u"model/widget-readings.json"_s); }
    void derivedReadingsAndKeys()
    {
        QFETCH(QJsonObject, given);
        const WidgetData widget = WidgetData::fromJson(given[u"json"].toObject());
        const QUuid id = QUuid::fromString(u"0f8e1c9a-3b7d-4e2a-9c6b-5d4a3b2c1d0e"_s);
        QCOMPARE(widget.widgetKey(id), u"0F8E1C9A-3B7D-4E2A-9C6B-5D4A3B2C1D0E/"_s + given[u"key"].toString());
        QCOMPARE(toText(widget.status()), given[u"status"].toString());
        const QJsonValue latency = given.value(u"latency");
        QCOMPARE(widget.latencyMs(), latency.isUndefined() ? std::nullopt : std::optional(latency.toDouble()));
    }

    void nanLatencyMakesASnapshotChange()
    {
        const WidgetData a(CheckResult{u"c"_s, u"c"_s, ServiceStatus::Up, std::nan(""), {}});
        QVERIFY(!(a == a));
    }
};

QTEST_GUILESS_MAIN(WidgetDataTest)
#include "WidgetDataTest.moc"
