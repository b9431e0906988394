#include "imagedifference.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace Zendra::Runner
{

namespace
{

constexpr QRgb red = 0xFFFF0000;
constexpr QRgb blue = 0xFF0040FF;

const QRgb* rowOf(const QImage& image, int y)
{
    return reinterpret_cast<const QRgb*>(image.constScanLine(y));
}

/// 1 when a pixel differs, else 0. Without branches, for vectorisation.
inline int differs(QRgb actual, QRgb expected, int tolerance)
{
    const auto apart = [=](unsigned int shift) {
        const int left = static_cast<int>((actual >> shift) & 0xFFU);
        const int right = static_cast<int>((expected >> shift) & 0xFFU);
        return static_cast<int>(std::abs(left - right) > tolerance);
    };
    return (apart(16) | apart(8) | apart(0)) & static_cast<int>((expected >> 24) != 0);
}

int differingPixels(const QRgb* actual, const QRgb* expected, int width, int tolerance)
{
    // Most rows are identical.
    if (std::memcmp(actual, expected, static_cast<std::size_t>(width) * sizeof(QRgb)) == 0)
        return 0;
    int count = 0;
    for (int x = 0; x < width; ++x)
        count += differs(actual[x], expected[x], tolerance);
    return count;
}

QRgb faded(QRgb pixel)
{
    const int grey = 128 + qGray(pixel) / 2;
    return qRgb(grey, grey, grey);
}

/// Draws a frame some pixels outside of `area`, clipped to the image.
void drawFrame(QImage& image, const QRect& area)
{
    constexpr int distance = 4;
    constexpr int thickness = 2;
    const QRect inner = area.adjusted(-distance, -distance, distance, distance);
    const QRect outer = inner.adjusted(-thickness, -thickness, thickness, thickness);
    const QRect visible = outer & image.rect();
    for (int y = visible.top(); y <= visible.bottom(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = visible.left(); x <= visible.right(); ++x) {
            if (!inner.contains(x, y))
                row[x] = blue;
        }
    }
}

} // namespace

ImageDifference compareImages(const QImage& actual, const QImage& expected, int tolerance)
{
    const int width = actual.width();
    ImageDifference difference;
    for (int y = 0; y < actual.height(); ++y) {
        const QRgb* left = rowOf(actual, y);
        const QRgb* right = rowOf(expected, y);
        const int count = differingPixels(left, right, width, tolerance);
        if (count == 0)
            continue;
        int first = 0;
        while (differs(left[first], right[first], tolerance) == 0)
            ++first;
        int last = width - 1;
        while (differs(left[last], right[last], tolerance) == 0)
            --last;
        difference.pixels += count;
        difference.area |= QRect(QPoint(first, y), QPoint(last, y));
    }
    return difference;
}

QImage differencePicture(
    const QImage& actual, const QImage& expected, int tolerance, const ImageDifference& difference)
{
    QImage picture(actual.size(), QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y) {
        const QRgb* left = rowOf(actual, y);
        const QRgb* right = rowOf(expected, y);
        auto* row = reinterpret_cast<QRgb*>(picture.scanLine(y));
        for (int x = 0; x < picture.width(); ++x)
            row[x] = differs(left[x], right[x], tolerance) != 0 ? red : faded(left[x]);
    }
    if (!difference.area.isNull())
        drawFrame(picture, difference.area);
    return picture;
}

} // namespace Zendra::Runner
