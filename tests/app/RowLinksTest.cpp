#include "app/RowLinks.h"

#include "kit/providers/KumaMetricsParser.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tw::AnySourceConfig)
Q_DECLARE_METATYPE(tw::WidgetData)

namespace {

const QUuid id = QUuid::createUuid();

KumaConfig kuma(const QString &base, std::optional<QString> user, std::optional<QString> slug)
{
    KumaConfig c(id, u"K"_s, base);
    c.username = std::move(user);
    c.statusPageSlug = std::move(slug);
    return c;
}

WidgetData host(const QString &name)
{
    HostStats stats;
    stats.id = u"h1"_s;
    stats.name = name;
    return stats;
}

WidgetData service(std::optional<QString> url)
{
    return ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, {}, {}, std::move(url)};
}

} // namespace

class RowLinksTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pages_data()
    {
        QTest::addColumn<AnySourceConfig>("source");
        QTest::addColumn<WidgetData>("widget");
        QTest::addColumn<QString>("widgetPage");
        QTest::addColumn<QString>("sourcePage");
        const BeszelConfig hub(id, u"B"_s, u"https://beszel.lan/"_s, u"t"_s);
        const BeszelConfig underPath(id, u"B"_s, u"https://home.lan/beszel"_s, u"t"_s);
        QTest::newRow("kuma monitor with its address, dashboard")
            << AnySourceConfig(kuma(u"https://kuma.lan"_s, u"admin"_s, {})) << service(u"https://plex.lan/web"_s)
            << u"https://plex.lan/web"_s << u"https://kuma.lan"_s;
        QTest::newRow("kuma monitor without one, status page")
            << AnySourceConfig(kuma(u"https://kuma.lan/"_s, {}, u"home lab"_s)) << service({}) << QString()
            << u"https://kuma.lan/status/home%20lab"_s;
        QTest::newRow("beszel host on its hub")
            << AnySourceConfig(hub) << host(u"nas"_s) << u"https://beszel.lan/system/nas"_s << u"https://beszel.lan/"_s;
        QTest::newRow("beszel hub under a path, odd host name")
            << AnySourceConfig(underPath) << host(u"rack/1 #2"_s) << u"https://home.lan/beszel/system/rack%2F1%20%232"_s
            << u"https://home.lan/beszel"_s;
        QTest::newRow("json endpoint") << AnySourceConfig(JSONWidgetConfig(id, u"J"_s, u"http://api.lan/s"_s, {}))
                                       << WidgetData(KeyValues{u"J"_s, {}}) << u"http://api.lan/s"_s
                                       << u"http://api.lan/s"_s;
        const GameServerConfig game(id, u"G"_s, u"minecraft-java"_s, u"mc.lan"_s, 25565);
        QTest::newRow("game server has none")
            << AnySourceConfig(game) << WidgetData(GameServerStatus{}) << QString() << QString();
        QTest::newRow("no scheme a browser opens") << AnySourceConfig(kuma(u"ftp://kuma.lan"_s, u"a"_s, {}))
                                                   << service(u"https://"_s) << QString() << QString();
    }
    void pages()
    {
        QFETCH(AnySourceConfig, source);
        QFETCH(WidgetData, widget);
        QFETCH(QString, widgetPage);
        QFETCH(QString, sourcePage);
        QCOMPARE(RowLinks::widgetPage(source, widget).value_or(QString()), widgetPage);
        QCOMPARE(RowLinks::sourcePage(source).value_or(QString()), sourcePage);
    }

    // Kuma reports an address for HTTP monitors and a placeholder for the others.
    void kumaMetricsCarryTheMonitorsAddress()
    {
        const QList<ServiceRow> rows = KumaMetricsParser::parse(
            u"monitor_status{monitor_name=\"Web\",monitor_type=\"http\",monitor_url=\"https://web.lan/\"} 1\n"
            "monitor_status{monitor_name=\"NAS\",monitor_type=\"ping\",monitor_url=\"https://\"} 1\n"
            "monitor_status{monitor_name=\"DB\",monitor_type=\"port\",monitor_url=\"null\"} 0\n"_s);
        QCOMPARE(rows.size(), 3);
        QCOMPARE(rows.at(0).url, u"https://web.lan/"_s);
        QCOMPARE(rows.at(1).url, std::nullopt);
        QCOMPARE(rows.at(2).url, std::nullopt);
    }
};

QTEST_GUILESS_MAIN(RowLinksTest)
#include "RowLinksTest.moc"
