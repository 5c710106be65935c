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

QColor statusColour(ServiceStatus status)
{
    switch (status) {
    case ServiceStatus::Up:
        return statusColour(OverallStatus::Up);
    case ServiceStatus::Warn:
        return statusColour(OverallStatus::Degraded);
    case ServiceStatus::Down:
        return statusColour(OverallStatus::Down);
    case ServiceStatus::Maintenance:
        // Uptime Kuma's own colour for a monitor in maintenance.
        return QColor(0x17, 0x47, 0xf5);
    case ServiceStatus::Paused:
    case ServiceStatus::Unknown:
        break;
    }
    return statusColour(OverallStatus::Unknown);
}

namespace {

// The shape inside a dot of `radius` around `centre`, in strokes that stay legible at 16 pixels.
void paintShape(QPainter &p, OverallStatus status, const QPointF &centre, qreal radius)
{
    const qreal r = radius;
    // Dark on the yellow dot, white on the others: each keeps its contrast.
    const QColor ink = status == OverallStatus::Degraded ? QColor(0x3a, 0x2c, 0x00) : Qt::white;
    QPen pen(ink, std::max(1.0, r * 0.32), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setBrush(Qt::NoBrush);
    p.setPen(pen);
    const auto at = [&](qreal x, qreal y) {
        return centre + QPointF(x * r, y * r);
    };
    switch (status) {
    case OverallStatus::Up: {
        QPainterPath tick;
        tick.moveTo(at(-0.48, 0.02));
        tick.lineTo(at(-0.12, 0.38));
        tick.lineTo(at(0.5, -0.34));
        p.drawPath(tick);
        break;
    }
    case OverallStatus::Degraded:
        p.drawLine(at(0, -0.5), at(0, 0.1));
        p.setPen(Qt::NoPen);
        p.setBrush(ink);
        p.drawEllipse(at(0, 0.46), pen.widthF() * 0.6, pen.widthF() * 0.6);
        break;
    case OverallStatus::Down:
        p.drawLine(at(-0.38, -0.38), at(0.38, 0.38));
        p.drawLine(at(-0.38, 0.38), at(0.38, -0.38));
        break;
    case OverallStatus::Paused:
        p.drawLine(at(-0.22, -0.42), at(-0.22, 0.42));
        p.drawLine(at(0.22, -0.42), at(0.22, 0.42));
        break;
    case OverallStatus::Unknown: {
        QPainterPath hook;
        hook.moveTo(at(-0.36, -0.22));
        hook.cubicTo(at(-0.36, -0.62), at(0.38, -0.62), at(0.38, -0.24));
        hook.cubicTo(at(0.38, 0.02), at(0, 0.02), at(0, 0.2));
        p.drawPath(hook);
        p.setPen(Qt::NoPen);
        p.setBrush(ink);
        p.drawEllipse(at(0, 0.5), pen.widthF() * 0.6, pen.widthF() * 0.6);
        break;
    }
    }
}

} // namespace

QString themeIconName(OverallStatus status)
{
    return QStringLiteral("dev.ostrel.Tidewatch-%1-symbolic").arg(toText(status).toLower());
}

QColor haloFor(const QColor &glyph)
{
    QColor halo = glyph.lightnessF() < 0.5 ? QColor(0xfa, 0xfa, 0xfa) : QColor(0x12, 0x12, 0x12);
    halo.setAlphaF(0.9f);
    return halo;
}

QImage paint(OverallStatus status, int size, const QColor &glyph, bool shapes)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal u = size / 32.0;

    // Three rack units, each with a status light, in the glyph colour over a halo of the opposite
    // lightness: the panel's colour is not ours to know (a dark panel under a light palette is
    // common), and one of the two always stands out from it.
    const QColor halo = haloFor(glyph);
    const qreal left = 3 * u, width = 20 * u, unitHeight = 6.5 * u, gap = 2 * u;
    const qreal stroke = 2 * u, rim = std::max(1.0, 1.25 * u);
    for (const auto &[colour, grow] : {std::pair{halo, rim}, std::pair{glyph, 0.0}}) {
        QPen pen(colour, stroke + 2 * grow);
        pen.setJoinStyle(Qt::RoundJoin);
        for (int i = 0; i < 3; ++i) {
            const QRectF unit(left, 4 * u + i * (unitHeight + gap), width, unitHeight);
            p.setPen(pen);
            p.setBrush(Qt::NoBrush);
            p.drawRoundedRect(unit, 1.5 * u, 1.5 * u);
            p.setPen(Qt::NoPen);
            p.setBrush(colour);
            p.drawEllipse(QPointF(unit.left() + 4 * u, unit.center().y()), 1.2 * u + grow, 1.2 * u + grow);
        }
    }

    // The status dot sits over the lower right corner, ringed in transparency so it reads on any panel.
    const QPointF centre(24 * u, 24 * u);
    const qreal radius = 7 * u;
    p.setCompositionMode(QPainter::CompositionMode_Clear);
    p.drawEllipse(centre, radius + 1.5 * u, radius + 1.5 * u);
    p.setCompositionMode(QPainter::CompositionMode_SourceOver);
    p.setBrush(statusColour(status));
    p.drawEllipse(centre, radius, radius);
    if (shapes)
        paintShape(p, status, centre, radius);
    return image;
}

} // namespace tw::TrayIconPainter
