#pragma once

#include <QImage>
#include <QRect>

namespace Zendra::Runner
{

/// How a picture differs from the one that was expected.
struct ImageDifference {
    int pixels = 0;
    QRect area; ///< holds all pixels that differ; null when none does
};

/// Compares pixel by pixel, in colour: `actual` is Format_RGB32, `expected` Format_ARGB32 of the same size.
///
/// A pixel differs when its red, green or blue differ by more than `tolerance`, from 0 to 255. Where
/// `expected` is wholly transparent, anything is as expected.
ImageDifference compareImages(const QImage& actual, const QImage& expected, int tolerance);

/// The actual picture, pale and grey, with the pixels that differ in red and a blue frame round them all.
QImage differencePicture(
    const QImage& actual, const QImage& expected, int tolerance, const ImageDifference& difference);

} // namespace Zendra::Runner
