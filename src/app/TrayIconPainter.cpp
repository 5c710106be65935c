#include "TrayIconPainter.h"

#include <QPainter>
#include <QPainterPath>

namespace tw::TrayIconPainter {

QColor statusColour(OverallStatus status)
{
    switch (status) {
    case OverallStatus::Up:
        return QColor(0x30, 0xb8, 0x4f);
    case OverallStatus::Degraded:
        return QColor(0xf2, 0xb6, 0x00);
    case OverallStatus::Down:
        return QColor(0xe5, 0x39, 0x35);
    case OverallStatus::Paused:
    case OverallStatus::Unknown:
        return QColor(0x8e, 0x8e, 0x93);
    }
    return Qt::gray;
}

QImage paint(OverallStatus status, int size, const QColor &glyph)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal u = size / 32.0;

    // Three rack units, each with a status light, in the glyph colour.
    const qreal left = 3 * u, width = 20 * u, unitHeight = 6.5 * u, gap = 2 * u;
    QPen pen(glyph, 2 * u);
    pen.setJoinStyle(Qt::RoundJoin);
    for (int i = 0; i < 3; ++i) {
        const QRectF unit(left, 4 * u + i * (unitHeight + gap), width, unitHeight);
        p.setPen(pen);
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(unit, 1.5 * u, 1.5 * u);
        p.setPen(Qt::NoPen);
        p.setBrush(glyph);
        p.drawEllipse(QPointF(unit.left() + 4 * u, unit.center().y()), 1.2 * u, 1.2 * u);
    }

    // The status dot sits over the lower right corner, ringed in transparency so it reads on any panel.
    const QPointF centre(24 * u, 24 * u);
    const qreal radius = 7 * u;
    p.setCompositionMode(QPainter::CompositionMode_Clear);
    p.drawEllipse(centre, radius + 1.5 * u, radius + 1.5 * u);
    p.setCompositionMode(QPainter::CompositionMode_SourceOver);
    p.setBrush(statusColour(status));
    p.drawEllipse(centre, radius, radius);
    return image;
}

} // namespace tw::TrayIconPainter
