#include "app/RowText.h"

#include "app/Accent.h"
#include "app/IconProvider.h"
#include "app/PopoverText.h"
#include "app/PopoverWindow.h"
#include "app/RowLinks.h"
#include "app/TidewatchApp.h"
#include "app/TrayIconPainter.h"
#include "kit/forms/SourceFormState.h"
#include "support/TestData.h"

#include <QDir>
#include <QFile>
#include <QPainter>
#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

namespace {

const QUuid id = QUuid::createUuid();

KumaConfig kuma(const QString &base, std::optional<QString> user, std::optional<QString> slug)
{
    KumaConfig c(id, u"K"_s, base);
    c.username = std::move(user);
    c.statusPageSlug = std::move(slug);
    return c;
}

WidgetData service(std::optional<QString> url)
{
    return ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, {}, {}, std::move(url)};
}

const QStringList people{u"A"_s, u"B"_s, u"C"_s, u"D"_s};

std::optional<QString> subtitle(bool online, const QStringList &names, const QString &detail)
{
    return RowText::gameSubtitle(GameServerStatus{u"g"_s, u"Game"_s, online, 1, 10, names, {}, detail});
}

QString hottest(const QList<double> &temps)
{
    QList<DriveTemp> drives;
    for (const double temp : temps)
        drives.append({u"sd"_s + QString::number(drives.size()), temp});
    return RowText::hottestTempText(drives);
}

// A usage ring as its text, the share it fills and its colour, named for what it stands for.
QString ring(std::optional<double> pct)
{
    const QColor accent(0x12, 0x34, 0x56);
    const QColor colour = RowText::ringColour(pct, accent);
    QString name = colour == accent ? u"accent"_s : colour.name();
    for (const OverallStatus status : {OverallStatus::Unknown, OverallStatus::Degraded, OverallStatus::Down}) {
        if (colour == TrayIconPainter::statusColour(status))
            name = toText(status);
    }
    return u"%1, %2, %3"_s.arg(RowText::ringText(pct)).arg(RowText::ringFraction(pct), 0, 'g', 3).arg(name);
}

QString hex(const QString &text)
{
    const auto parsed = Accent::parseHex(text);
    return parsed ? QColor::fromRgbF(float((*parsed)[0]), float((*parsed)[1]), float((*parsed)[2])).name()
                  : u"refused"_s;
}

// How long ago a reading was taken, as the popover's two clocks tell it.
QString age(qint64 ms)
{
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1800000000, Qt::UTC);
    const QDateTime then = now.addMSecs(-ms);
    return PopoverText::relativeTime(then, now) + u"; "_s + PopoverText::ageText(then, now);
}

// Where a 340×200 popover opens on a 1000×800 screen, beside a tray icon at `anchor`.
QString placed(const QRect &anchor)
{
    const QPoint at = PopoverWindow::placement(anchor, QSize(340, 200), QRect(0, 0, 1000, 800));
    return u"%1, %2"_s.arg(at.x()).arg(at.y());
}

QString onboarding(const QStringList &arguments, bool testHost, bool completed)
{
    const auto options = TidewatchApp::LaunchOptions::parse(arguments);
    return TidewatchApp::opensOnboarding(options, testHost, completed) ? u"opens"_s : u"stays shut"_s;
}

void row(const char *name, const std::optional<QString> &shown, const QString &expected)
{
    QTest::newRow(name) << shown.value_or(u"(none)"_s) << expected;
}

const QList<OverallStatus> statuses{OverallStatus::Up,
                                    OverallStatus::Degraded,
                                    OverallStatus::Down,
                                    OverallStatus::Paused,
                                    OverallStatus::Unknown};

// The panels a tray sits on, each with the glyph colour its palette gives.
const QColor lightPanel(0xf0, 0xf0, 0xf0), darkGlyph(0x20, 0x20, 0x20);
const QColor darkPanel(0x2b, 0x2b, 0x2e), lightGlyph(0xf2, 0xf2, 0xf5);

// The dot's pixels as lightness alone, as someone who cannot tell the colours apart sees them.
QList<int> dotLightness(const QImage &image)
{
    QList<int> values;
    const int size = image.width();
    const QPointF centre(24.0 * size / 32, 24.0 * size / 32);
    const qreal radius = 6.0 * size / 32;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            if (QLineF(centre, QPointF(x + 0.5, y + 0.5)).length() <= radius)
                values.append(image.pixelColor(x, y).lightness() / 32);
        }
    return values;
}

double contrast(const QColor &a, const QColor &b)
{
    const double la = Accent::relativeLuminance(a.redF(), a.greenF(), a.blueF());
    const double lb = Accent::relativeLuminance(b.redF(), b.greenF(), b.blueF());
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

// The share of the rack's area, the dot left out, that stands out from the panel at a contrast of
// 3:1 or more once the icon is laid on it.
double legibleShare(const QImage &icon, const QColor &panel)
{
    QImage laid(icon.size(), QImage::Format_ARGB32);
    laid.fill(panel);
    QPainter(&laid).drawImage(0, 0, icon);
    const int size = icon.width();
    const QPointF dot(24.0 * size / 32, 24.0 * size / 32);
    int area = 0, legible = 0;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < 24 * size / 32; ++x) {
            if (QLineF(dot, QPointF(x + 0.5, y + 0.5)).length() <= 9.0 * size / 32)
                continue;
            ++area;
            if (contrast(laid.pixelColor(x, y), panel) >= 3.0)
                ++legible;
        }
    return double(legible) / area;
}

} // namespace

// What the popover says, in which colour, where its rows lead, and where and when it opens; and the
// tray icon that stands for it all.
class RowTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_data()
    {
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("expected");
        row("latency truncated, not rounded", RowText::latencyText({}, 99.9), u"99ms"_s);
        row("latency with a prefix", RowText::latencyText(u"Avg"_s, 12.9), u"Avg 12ms"_s);
        row("no latency drops the prefix", RowText::latencyText(u"Avg"_s, {}), u"—"_s);
        row("players, no current", RowText::playersText({}, 20), u"—/20 players"_s);
        row("players, no max", RowText::playersText(3, {}), u"3 players"_s);
        row("three names", RowText::namesText(people.first(3)), u"A, B, C"_s);
        row("four names", RowText::namesText(people), u"A, B, C +1"_s);
        // The end a row keeps in view when the names are cut short.
        row("overflow of three", RowText::namesOverflow(people.first(3)), QString());
        row("game online with names", subtitle(true, people.first(1), u"v1.20"_s), u"A"_s);
        row("game online, no names", subtitle(true, {}, u"v1.20"_s), u"v1.20"_s);
        row("game offline keeps names hidden", subtitle(false, people.first(1), u"timed out"_s), u"timed out"_s);
        row("game offline, nothing", subtitle(false, people.first(1), QString()), u"(none)"_s);
        // A Beszel agent that could not read a drive reports 0: that drive never speaks for the host.
        row("no drive has a reading", hottest({0, 0}), QString());
        row("hottest drive, truncated", hottest({38, 52.6, 0}), u"52°C"_s);
        row("a drive below zero beats none", hottest({0, -3.5}), u"-3°C"_s);
        row("not a number is no reading", hottest({qQNaN(), 31}), u"31°C"_s);
        // Each kind's target as the rows ask for it, through the kind-erased configuration.
        row("dns target",
            AnySourceConfig(DNSRecordConfig(id, u"M"_s, u"home.lan"_s, DNSRecordType::MX)).target(),
            u"MX home.lan"_s);
        row("tls target", AnySourceConfig(TLSCertificateConfig(id, u"N"_s, u"nas"_s)).target(), u"nas:443"_s);
        row("ping target", AnySourceConfig(ICMPPingConfig(id, u"R"_s, u"10.0.0.1"_s)).target(), u"10.0.0.1"_s);
        row("web target",
            AnySourceConfig(HTTPPingConfig(id, u"W"_s, u"https://nas.lan/"_s)).target(),
            u"https://nas.lan/"_s);
        row("hub target",
            AnySourceConfig(BeszelConfig(id, u"B"_s, u"http://hub:8090"_s, u"t"_s)).target(),
            u"http://hub:8090"_s);
        row("game target",
            AnySourceConfig(GameServerConfig(id, u"G"_s, u"minecraft-java"_s, u"mc"_s, 25565)).target(),
            u"mc:25565"_s);
        row("ring without a reading", ring({}), u"—, 0, unknown"_s);
        row("ring at 70", ring(70), u"70%, 0.7, accent"_s);
        row("ring above 70", ring(70.1), u"70%, 0.701, degraded"_s);
        row("ring at 90", ring(90), u"90%, 0.9, degraded"_s);
        row("ring above 90", ring(90.1), u"90%, 0.901, down"_s);
        row("ring over full", ring(120), u"120%, 1, down"_s);
        row("ring below empty", ring(-5), u"-5%, 0, accent"_s);
        row("accent with blanks, lower case", hex(u"  #8bb8e8 \n"_s), u"#8bb8e8"_s);
        row("accent without a number sign", hex(u"8BB8E8"_s), u"#8bb8e8"_s);
        row("accent in short form", hex(u"#FFF"_s), u"refused"_s);
        row("accent with letters", hex(u"#GHIJKL"_s), u"refused"_s);
        row("accent with a plus sign", hex(u"#+ABCDE"_s), u"#0abcde"_s);
        row("accent with a minus sign", hex(u"#-ABCDE"_s), u"refused"_s);
        row("unreadable accent draws as the default", Accent::accentColour(u"teal"_s).name(), u"#8bb8e8"_s);
        row("text on the red preset", Accent::onAccentColour(u"#EF4444"_s).name(), u"#1c1c1e"_s);
        row("text on deep blue", Accent::onAccentColour(u"#1E3A8A"_s).name(), u"#ffffff"_s);
        const auto words = [](OverallStatus status, int sources = 1) -> QString {
            return PopoverText::headline(status, sources) + u" / "_s + PopoverText::chipText(status, sources);
        };
        row("words when up", words(OverallStatus::Up), u"All systems up / Healthy"_s);
        row("words when degraded", words(OverallStatus::Degraded), u"Some issues / Degraded"_s);
        row("words when down", words(OverallStatus::Down), u"Systems down / Incident"_s);
        // Only an unknown state depends on whether anything is configured yet.
        row("words, no sources", words(OverallStatus::Unknown, 0), u"No sources yet / Not configured"_s);
        row("words, no data", words(OverallStatus::Unknown), u"No data yet / Waiting for data"_s);
        row("clock behind", age(-90'000), u"just now; under a minute old"_s);
        row("4.9 s old", age(4'900), u"just now; under a minute old"_s);
        row("5 s old", age(5'000), u"5s ago; under a minute old"_s);
        row("59.9 s old", age(59'900), u"59s ago; under a minute old"_s);
        row("60 s old", age(60'000), u"1m ago; 1 min old"_s);
        row("an hour old", age(3'600'000), u"1h ago; 1 h old"_s);
        row("a second short of a day", age(86'399'000), u"23h ago; 23 h old"_s);
        row("a day old", age(86'400'000), u"1d ago; 1 day old"_s);
        row("three days old", age(3 * 86'400'000 + 5'000), u"3d ago; 3 days old"_s);
        row("below a top panel's icon", placed(QRect(500, 0, 22, 22)), u"340, 26"_s);
        row("kept on screen at the right edge", placed(QRect(978, 0, 22, 22)), u"660, 26"_s);
        row("above a bottom panel's icon", placed(QRect(10, 778, 22, 22)), u"0, 574"_s);
        row("onboarding on a first run", onboarding({}, false, false), u"opens"_s);
        row("onboarding once completed", onboarding({}, false, true), u"stays shut"_s);
        row("onboarding on a test host", onboarding({}, true, false), u"stays shut"_s);
        row("onboarding with demo sources", onboarding({u"-uiTestDemoSources"_s}, false, false), u"stays shut"_s);
        row("onboarding forced over demo and completed",
            onboarding({u"-uiTestDemoSources"_s, u"-uiTestShowOnboarding"_s}, true, true),
            u"opens"_s);
        row("only exact arguments count",
            onboarding({u"--uiTestShowOnboarding"_s, u"-uiTestDemoSourcesX"_s}, false, true),
            u"stays shut"_s);

        const AnySourceConfig dashboard = kuma(u"https://kuma.lan"_s, u"admin"_s, {});
        const AnySourceConfig statusPage = kuma(u"https://kuma.lan/"_s, {}, u"home lab"_s);
        const AnySourceConfig hub = BeszelConfig(id, u"B"_s, u"https://beszel.lan/"_s, u"t"_s);
        const AnySourceConfig underPath = BeszelConfig(id, u"B"_s, u"https://home.lan/beszel"_s, u"t"_s);
        const AnySourceConfig json = JSONWidgetConfig(id, u"J"_s, u"http://api.lan/s"_s, {});
        const AnySourceConfig game = GameServerConfig(id, u"G"_s, u"minecraft-java"_s, u"mc.lan"_s, 25565);
        using namespace RowLinks;
        row("kuma monitor's own address",
            widgetPage(dashboard, service(u"https://plex.lan/"_s)),
            u"https://plex.lan/"_s);
        row("kuma signed in: dashboard", sourcePage(dashboard), u"https://kuma.lan"_s);
        row("kuma status page", sourcePage(statusPage), u"https://kuma.lan/status/home%20lab"_s);
        row("beszel hub", sourcePage(hub), u"https://beszel.lan/"_s);
        row("beszel hub under a path, odd host name",
            widgetPage(underPath, HostStats{u"h1"_s, u"rack/1 #2"_s}),
            u"https://home.lan/beszel/system/rack%2F1%20%232"_s);
        row("json endpoint", widgetPage(json, KeyValues{u"J"_s, {}}), u"http://api.lan/s"_s);
        row("game server source", sourcePage(game), u"(none)"_s);
        row("no scheme a browser opens", widgetPage(dashboard, service(u"ftp://plex.lan/"_s)), u"(none)"_s);
    }
    void texts() { QCOMPARE(TW_DATA(QString, shown), TW_DATA(QString, expected)); }

    // What a kind declares must be complete: a key of its own that reads back, a title, an icon that is bundled
    // (or its row shows blank), and a view of its fields in the sheet.
    void everyKindIsDeclaredWhole()
    {
        for (const auto kind : AnySourceConfig::allKinds()) {
            const SourceKindInfo &info = AnySourceConfig::info(kind);
            const QString key = info.key.toString();
            QCOMPARE(sourceKindFromString(key), kind);
            const SourceKindForm &form = SourceKindForm::of(kind);
            QVERIFY(!info.title.isEmpty() && !form.purpose().isEmpty() && !form.usage().isEmpty());
            const QString icon = IconProvider::fileFor(info.symbol.toString());
            QVERIFY2(!icon.isEmpty() && QFile::exists(icon), qPrintable(key));
            const QString view = u":/Tidewatch/"_s + SourceKindForm::view(kind) + u".qml"_s;
            QVERIFY2(QFile::exists(view), qPrintable(view));
        }
    }

    // With shapes on, no two states share a picture once colour is taken away; without them the
    // dot is one flat colour, as before.
    void shapesTellTheStatesApartWithoutColour_data()
    {
        QTest::addColumn<int>("size");
        QTest::newRow("16 px") << 16;
        QTest::newRow("48 px") << 48;
    }
    void shapesTellTheStatesApartWithoutColour()
    {
        QFETCH(int, size);
        QList<QList<int>> shaped;
        for (const OverallStatus status : statuses) {
            const QList<int> plain = dotLightness(TrayIconPainter::paint(status, size, Qt::black, false));
            QCOMPARE(QSet<int>(plain.cbegin(), plain.cend()).size(), 1);
            const QList<int> withShape = dotLightness(TrayIconPainter::paint(status, size, Qt::black, true));
            QVERIFY2(withShape != plain, qPrintable(toText(status)));
            QVERIFY2(!shaped.contains(withShape), qPrintable(toText(status)));
            shaped.append(withShape);
        }
    }

    // The rack reads on dark and light panels alike, whichever colour the palette gives the glyph:
    // a black rack on a dark panel once left only the dot to see.
    void rackReadsOnAnyPanel_data()
    {
        QTest::addColumn<QColor>("glyph");
        QTest::addColumn<QColor>("panel");
        QTest::addColumn<int>("size");
        for (const QColor &glyph : {darkGlyph, lightGlyph}) {
            for (const QColor &panel : {darkPanel, lightPanel}) {
                for (const int size : {16, 22, 32})
                    QTest::addRow("%s glyph, %s panel, %d px", qPrintable(glyph.name()), qPrintable(panel.name()), size)
                        << glyph << panel << size;
            }
        }
    }
    void rackReadsOnAnyPanel()
    {
        QFETCH(QColor, glyph);
        QFETCH(QColor, panel);
        QFETCH(int, size);
        const double share = legibleShare(TrayIconPainter::paint(OverallStatus::Up, size, glyph), panel);
        QVERIFY2(share >= 0.25, qPrintable(u"only %1 % of the rack stands out"_s.arg(share * 100, 0, 'f', 1)));
    }

    // A sheet of every state, plain and shaped, on a light and a dark panel: the picture of the
    // states the README shows (docs/screenshots), made by running this test with TW_SCREENSHOT_DIR.
    void sheet()
    {
        const int size = 48, gap = 12;
        QImage sheet(gap + statuses.size() * (size + gap), 2 * (2 * size + 3 * gap), QImage::Format_ARGB32);
        QPainter p(&sheet);
        int y = 0;
        for (const auto &[panel, glyph] : {std::pair{lightPanel, darkGlyph}, std::pair{darkPanel, lightGlyph}}) {
            p.fillRect(0, y, sheet.width(), 2 * size + 3 * gap, panel);
            for (const bool shapes : {false, true}) {
                y += gap;
                for (int i = 0; i < statuses.size(); ++i)
                    p.drawImage(gap + i * (size + gap), y, TrayIconPainter::paint(statuses[i], size, glyph, shapes));
                y += size;
            }
            y += gap;
        }
        p.end();
        const QString out = qEnvironmentVariable("TW_SCREENSHOT_DIR", QDir::tempPath());
        QDir().mkpath(out);
        QVERIFY(sheet.save(QDir(out).filePath(u"tray-status-shapes.png"_s)));
    }
};

QTEST_MAIN(RowTextTest)
#include "RowTextTest.moc"
