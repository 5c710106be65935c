#include "kit/model/HostLimits.h"

#include "kit/model/DecodeError.h"
#include "support/TestData.h"

#include <QJsonDocument>
#include <QTest>

#include <limits>

using namespace tw;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tw::HostLimits)
Q_DECLARE_METATYPE(tw::HostStats)

namespace {

HostStats
host(std::optional<double> cpu, std::optional<double> mem, std::optional<double> disk, QList<DriveTemp> temps = {})
{
    return {u"h1"_s, u"nas"_s, ServiceStatus::Up, cpu, mem, disk, std::move(temps), {}};
}

} // namespace

class HostLimitsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void breaches_data()
    {
        QTest::addColumn<HostLimits>("limits");
        QTest::addColumn<HostStats>("host");
        QTest::addColumn<QStringList>("reasons");
        const HostLimits suggested{90, 90, 90, 60};
        QTest::newRow("no limits, hot host") << HostLimits{} << host(100, 100, 100, {{u"sda"_s, 90}}) << QStringList{};
        QTest::newRow("all within") << suggested << host(12, 40, 61, {{u"sda"_s, 38}}) << QStringList{};
        QTest::newRow("equal is within") << suggested << host(90, 90, 90, {{u"sda"_s, 60}}) << QStringList{};
        QTest::newRow("disk past") << suggested << host(5, 5, 94.2) << QStringList{u"disk 94 %"_s};
        QTest::newRow("just past shows its fraction") << suggested << host(5, 5, 90.3) << QStringList{u"disk 90.3 %"_s};
        QTest::newRow("each past, in order")
            << suggested << host(97, 93, 91, {{u"sda"_s, 63}, {u"nvme0"_s, 45}, {u"sdb"_s, 61.5}})
            << QStringList{u"CPU 97 %"_s, u"memory 93 %"_s, u"disk 91 %"_s, u"sda 63 °C"_s, u"sdb 62 °C"_s};
        QTest::newRow("only the limits that are on")
            << HostLimits{std::nullopt, std::nullopt, 80, std::nullopt} << host(99, 99, 85, {{u"sda"_s, 99}})
            << QStringList{u"disk 85 %"_s};
        QTest::newRow("missing readings are no breach") << suggested << host({}, {}, {}) << QStringList{};
        // A drive the agent could not read reports 0; a broken reading is no temperature either.
        QTest::newRow("unread and broken readings")
            << HostLimits{1, 1, 1, 1}
            << host(std::numeric_limits<double>::quiet_NaN(),
                    {},
                    std::numeric_limits<double>::infinity(),
                    {{u"sda"_s, 0}, {u"sdb"_s, std::numeric_limits<double>::quiet_NaN()}})
            << QStringList{};
    }
    void breaches()
    {
        QFETCH(HostLimits, limits);
        QCOMPARE(limits.breaches(TW_DATA(HostStats, host)), TW_DATA(QStringList, reasons));
    }

    void json_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<HostLimits>("limits");
        QTest::addColumn<bool>("valid");
        QTest::newRow("older file, no keys") << QByteArray(R"({"baseURL":"x"})") << HostLimits{} << true;
        QTest::newRow("some") << QByteArray(R"({"cpuLimit":95,"tempLimit":60})")
                              << HostLimits{95, std::nullopt, std::nullopt, 60} << true;
        QTest::newRow("all") << QByteArray(R"({"cpuLimit":1,"memLimit":2,"diskLimit":3,"tempLimit":4})")
                             << HostLimits{1, 2, 3, 4} << true;
        QTest::newRow("null is off") << QByteArray(R"({"diskLimit":null})") << HostLimits{} << true;
        QTest::newRow("text is refused") << QByteArray(R"({"diskLimit":"90"})") << HostLimits{} << false;
        QTest::newRow("fraction is refused") << QByteArray(R"({"cpuLimit":90.5})") << HostLimits{} << false;
    }
    void json()
    {
        const QJsonObject object = QJsonDocument::fromJson(TW_DATA(QByteArray, json)).object();
        if (!TW_DATA(bool, valid)) {
            QVERIFY_THROWS_EXCEPTION(DecodeError, HostLimits::read(object));
            return;
        }
        const HostLimits limits = HostLimits::read(object);
        QCOMPARE(limits, TW_DATA(HostLimits, limits));
        QJsonObject written;
        limits.write(written);
        QCOMPARE(HostLimits::read(written), limits);
        // A limit that is off leaves no key behind.
        QCOMPARE(written.size(), int(!!limits.cpuPct + !!limits.memPct + !!limits.diskPct + !!limits.tempC));
    }
};

QTEST_GUILESS_MAIN(HostLimitsTest)
#include "HostLimitsTest.moc"
