#include "app/TrayIconPainter.h"

#include "app/Accent.h"

#include <QDir>
#include <QPainter>
#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

namespace {

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

class TrayIconPainterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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

QTEST_MAIN(TrayIconPainterTest)
#include "TrayIconPainterTest.moc"
