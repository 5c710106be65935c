#include "kit/model/WidgetData.h"

#include "kit/model/DecodeError.h"
#include "kit/model/HostLimits.h"
#include "support/ModelCases.h"
#include "support/TestData.h"

#include <QJsonDocument>
#include <QTest>

#include <limits>

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

    void hostLimitBreaches_data() { addCaseRows(u"model/host-limits.json"_s); }
    void hostLimitBreaches()
    {
        QFETCH(QJsonObject, given);
        const HostLimits limits = HostLimits::read(given[u"limits"].toObject());
        QCOMPARE(limits.breaches(HostStats::fromJson(given[u"host"])), given[u"reasons"].toVariant().toStringList());
    }

    // A broken reading is no breach, whatever the limit.
    void brokenReadingsAreNoHostLimitBreach()
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double inf = std::numeric_limits<double>::infinity();
        const HostStats host{.status = ServiceStatus::Up, .cpuPct = nan, .diskPct = inf, .temps = {{u"sdb"_s, nan}}};
        QCOMPARE((HostLimits{1, 1, 1, 1}).breaches(host), QStringList());
    }

    // A limit that is off leaves no key behind, and an older file without keys has none on.
    void hostLimitsJson_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QByteArray>("written"); // empty: refused
        QTest::newRow("older file, no keys") << QByteArray(R"({"baseURL":"x"})") << QByteArray("{}");
        QTest::newRow("all") << QByteArray(R"({"cpuLimit":1,"memLimit":2,"diskLimit":3,"tempLimit":4})")
                             << QByteArray(R"({"cpuLimit":1,"memLimit":2,"diskLimit":3,"tempLimit":4})");
        QTest::newRow("null is off") << QByteArray(R"({"diskLimit":null})") << QByteArray("{}");
        QTest::newRow("text is refused") << QByteArray(R"({"diskLimit":"90"})") << QByteArray();
        QTest::newRow("fraction is refused") << QByteArray(R"({"cpuLimit":90.5})") << QByteArray();
    }
    void hostLimitsJson()
    {
        const QJsonObject object = QJsonDocument::fromJson(TW_DATA(QByteArray, json)).object();
        const QByteArray expected = TW_DATA(QByteArray, written);
        if (expected.isEmpty()) {
            QVERIFY_THROWS_EXCEPTION(DecodeError, HostLimits::read(object));
            return;
        }
        QJsonObject written;
        HostLimits::read(object).write(written);
        QCOMPARE(written, QJsonDocument::fromJson(expected).object());
    }
};

QTEST_GUILESS_MAIN(WidgetDataTest)
#include "WidgetDataTest.moc"
