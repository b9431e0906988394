#pragma once

#include <QImage>
#include <QRect>

namespace Zendra::Runner
{

/// How a picture differs from the one that was expected.
struct ImageDifference {
    int pixels = 0;
    QRect area; ///< bounding rectangle of the pixels that differ; null without any
};

/// Compares pixel by pixel, in colour: `actual` is Format_RGB32, `expected` Format_ARGB32 of the same size.
/// A pixel differs when its red, green or blue differ by more than `tolerance`, 0 to 255. Fully transparent
/// pixels of `expected` match anything.
ImageDifference compareImages(const QImage& actual, const QImage& expected, int tolerance);

/// The actual picture, pale and grey, with the pixels that differ in red inside a blue frame.
QImage differencePicture(
    const QImage& actual, const QImage& expected, int tolerance, const ImageDifference& difference);

} // namespace Zendra::Runner
