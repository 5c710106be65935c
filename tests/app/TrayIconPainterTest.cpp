#include "app/TrayIconPainter.h"

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
        QTest::newRow("22 px") << 22;
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

    // A sheet of every state, plain and shaped, on a light and a dark panel: for a look by eye.
    void sheet()
    {
        const int size = 48, gap = 12;
        QImage sheet(gap + statuses.size() * (size + gap), 2 * (2 * size + 3 * gap), QImage::Format_ARGB32);
        QPainter p(&sheet);
        int y = 0;
        for (const auto &[panel, glyph] : {std::pair{QColor(0xf0, 0xf0, 0xf0), QColor(0x20, 0x20, 0x20)},
                                           std::pair{QColor(0x2b, 0x2b, 0x2e), QColor(0xf2, 0xf2, 0xf5)}}) {
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
