#include "kit/providers/KumaMetricsParser.h"

#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

using Rows = QList<ServiceRow>;

namespace {

ServiceRow row(const QString &name, ServiceStatus status, std::optional<double> latency = {})
{
    return {name, name, status, latency, std::nullopt};
}

ServiceRow linked(ServiceRow row, const QString &url)
{
    row.url = url;
    return row;
}

} // namespace

class KumaMetricsParserTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<Rows>("rows");
        QTest::newRow("comments only") << u"# HELP monitor_status x\n# TYPE monitor_status gauge\n"_s << Rows{};
        QTest::newRow("latency joined either way round")
            << u"monitor_response_time{monitor_name=\"a\"} 12.5\nmonitor_status{monitor_name=\"a\"} 1\n"_s
            << Rows{row(u"a"_s, ServiceStatus::Up, 12.5)};
        QTest::newRow("negative response time is no latency")
            << u"monitor_status{monitor_name=\"a\"} 1\nmonitor_response_time{monitor_name=\"a\"} -1\n"_s
            << Rows{row(u"a"_s, ServiceStatus::Up)};
        QTest::newRow("status table by exact text")
            << u"monitor_status{monitor_name=\"w\"} 2\nmonitor_status{monitor_name=\"m\"} 3\n"
               "monitor_status{monitor_name=\"d\"} 0\nmonitor_status{monitor_name=\"x\"} 7\n"
               "monitor_status{monitor_name=\"f\"} 1.0\n"_s
            << Rows{row(u"w"_s, ServiceStatus::Warn),
                    row(u"m"_s, ServiceStatus::Maintenance),
                    row(u"d"_s, ServiceStatus::Down),
                    row(u"x"_s, ServiceStatus::Unknown),
                    row(u"f"_s, ServiceStatus::Unknown)};
        QTest::newRow("escaped quote and backslash, newline escape kept as n")
            << u"monitor_status{monitor_name=\"say \\\"hi\\\" \\\\ \\n\"} 1\n"_s
            << Rows{row(u"say \"hi\" \\ n"_s, ServiceStatus::Up)};
        QTest::newRow("brace inside an earlier label")
            << u"monitor_status{monitor_type=\"}x\",monitor_name=\"a\"} 1\n"_s << Rows{row(u"a"_s, ServiceStatus::Up)};
        // As Kuma 2.x writes them: tags and id first, the URL behind the name, nulls as text.
        QTest::newRow("braces in the URL after the name keep a down monitor down")
            << u"monitor_response_time{Production=\"Production\",monitor_id=\"4\",monitor_name=\"API\",monitor_type="
               "\"http\",monitor_url=\"http://api.lan/v1/{tenant}/health\",monitor_hostname=\"null\",monitor_port="
               "\"null\"} 48\n"
               "monitor_status{Production=\"Production\",monitor_id=\"4\",monitor_name=\"API\",monitor_type=\"http\","
               "monitor_url=\"http://api.lan/v1/{tenant}/health\",monitor_hostname=\"null\",monitor_port=\"null\"} 0\n"_s
            << Rows{row(u"API"_s, ServiceStatus::Down, 48)};
        QTest::newRow("brace in a name")
            << u"monitor_status{monitor_id=\"5\",monitor_name=\"Grafana {prod}\",monitor_url=\"https://g\"} 1\n"_s
            << Rows{linked(row(u"Grafana {prod}"_s, ServiceStatus::Up), u"https://g"_s)};
        QTest::newRow("escaped quotes around a brace") << u"monitor_status{monitor_name=\"say \\\"}\\\" ok\"} 2\n"_s
                                                       << Rows{row(u"say \"}\" ok"_s, ServiceStatus::Warn)};
        QTest::newRow("escaped backslash closes the value before a brace")
            << u"monitor_status{monitor_name=\"C:\\\\\",monitor_url=\"http://x/{a}\"} 0\n"_s
            << Rows{row(u"C:\\"_s, ServiceStatus::Down)};
        QTest::newRow("newline escape before a brace")
            << u"monitor_status{monitor_name=\"a\\n}\"} 1\n"_s << Rows{row(u"an}"_s, ServiceStatus::Up)};
        QTest::newRow("a quote never closed loses the line")
            << u"monitor_status{monitor_name=\"a} 1\nmonitor_status{monitor_name=\"b\"} 1\n"_s
            << Rows{row(u"b"_s, ServiceStatus::Up)};
        QTest::newRow("tags and id before the name, timestamp after the value")
            << u"monitor_status{tag=\"prod\",monitor_id=\"4\",monitor_name=\"api\",monitor_url=\"https://x\"} 1 1700000000\n"_s
            << Rows{linked(row(u"api"_s, ServiceStatus::Up), u"https://x"_s)};
        QTest::newRow("no value is unknown")
            << u"monitor_status{monitor_name=\"a\"}\n"_s << Rows{row(u"a"_s, ServiceStatus::Unknown)};
        QTest::newRow("other metrics and labelless lines ignored")
            << u"monitor_cert_days_remaining{monitor_name=\"a\"} 30\nmonitor_status 1\nmonitor_statusx{monitor_name=\"b\"} 1\n"_s
            << Rows{};
        QTest::newRow("duplicate names give two rows, later latency wins")
            << u"monitor_response_time{monitor_name=\"a\"} 5\nmonitor_response_time{monitor_name=\"a\"} 7\n"
               "monitor_status{monitor_name=\"a\"} 1\nmonitor_status{monitor_name=\"a\"} 0\n"_s
            << Rows{row(u"a"_s, ServiceStatus::Up, 7), row(u"a"_s, ServiceStatus::Down, 7)};
        QTest::newRow("latency that is not wholly a number") << u"monitor_status{monitor_name=\"a\"} 1\n"
                                                                "monitor_response_time{monitor_name=\"a\"} 12ms\n"_s
                                                             << Rows{row(u"a"_s, ServiceStatus::Up)};
        QTest::newRow("exponent form") << u"monitor_status{monitor_name=\"a\"} 1\n"
                                          "monitor_response_time{monitor_name=\"a\"} 1.5e2\n"_s
                                       << Rows{row(u"a"_s, ServiceStatus::Up, 150)};
    }
    void parse()
    {
        QFETCH(QString, page);
        QCOMPARE(KumaMetricsParser::parse(page), TW_DATA(Rows, rows));
    }
};

QTEST_GUILESS_MAIN(KumaMetricsParserTest)
#include "KumaMetricsParserTest.moc"
