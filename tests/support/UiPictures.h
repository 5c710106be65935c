#pragma once

// For the tests that check a view's picture as well as saving it.

#include <QColor>
#include <QImage>

#include <cstdlib>

namespace tw::test {

// The pixels of `image` within `tolerance` of `colour`, summed over the three channels: the software
// renderer blends edges, so a colour drawn is rarely matched exactly everywhere.
inline qsizetype pixelsNear(const QImage &image, const QColor &colour, int tolerance = 24)
{
    qsizetype near = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor p = image.pixelColor(x, y);
            const int distance = std::abs(p.red() - colour.red()) + std::abs(p.green() - colour.green())
                + std::abs(p.blue() - colour.blue());
            near += distance < tolerance ? 1 : 0;
        }
    }
    return near;
}

} // namespace tw::test
