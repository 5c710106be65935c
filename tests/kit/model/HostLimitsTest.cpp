#include "kit/model/HostLimits.h"

#include "kit/model/DecodeError.h"
#include "support/ModelCases.h"
#include "support/TestData.h"

#include <QJsonDocument>
#include <QTest>

#include <limits>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

class HostLimitsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void breaches_data() { addCaseRows(u"model/host-limits.json"_s); }
    void breaches()
    {
        QFETCH(QJsonObject, given);
        const HostLimits limits = HostLimits::read(given[u"limits"].toObject());
        QCOMPARE(limits.breaches(HostStats::fromJson(given[u"host"])), given[u"reasons"].toVariant().toStringList());
    }

    // A broken reading is no breach, whatever the limit.
    void brokenReadingsAreNoBreach()
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const HostStats host{u"h1"_s,
                             u"nas"_s,
                             ServiceStatus::Up,
                             nan,
                             {},
                             std::numeric_limits<double>::infinity(),
                             {{u"sdb"_s, nan}},
                             {}};
        QCOMPARE((HostLimits{1, 1, 1, 1}).breaches(host), QStringList());
    }

    // A limit that is off leaves no key behind, and an older file without keys has none on.
    void json_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QByteArray>("written"); // empty: refused
        QTest::newRow("older file, no keys") << QByteArray(R"({"baseURL":"x"})") << QByteArray("{}");
        QTest::newRow("some") << QByteArray(R"({"cpuLimit":95,"tempLimit":60})")
                              << QByteArray(R"({"cpuLimit":95,"tempLimit":60})");
        QTest::newRow("all") << QByteArray(R"({"cpuLimit":1,"memLimit":2,"diskLimit":3,"tempLimit":4})")
                             << QByteArray(R"({"cpuLimit":1,"memLimit":2,"diskLimit":3,"tempLimit":4})");
        QTest::newRow("null is off") << QByteArray(R"({"diskLimit":null})") << QByteArray("{}");
        QTest::newRow("text is refused") << QByteArray(R"({"diskLimit":"90"})") << QByteArray();
        QTest::newRow("fraction is refused") << QByteArray(R"({"cpuLimit":90.5})") << QByteArray();
    }
    void json()
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

QTEST_GUILESS_MAIN(HostLimitsTest)
#include "HostLimitsTest.moc"
