#pragma once

#include <cstddef>
#include <vector>

#include <QtGlobal>

namespace Zendra
{

class SegmentBuffer;

/// Pixels of a rectangle in a larger image.
template <typename Pixel>
struct PixelRows {
    Pixel* first;       ///< the rectangle's top-left pixel
    std::size_t stride; ///< distance between rows, in pixels
};

/// Encodes a rectangle of new pixels against the reference frame, and updates that, in one pass.
///
/// A run word is either a count of unchanged pixels (top byte 0), or a count from 1 to 255 in the top byte
/// and the colour of the pixels. Runs continue across the ends of rows and are as long as possible. Only the
/// low 24 bits of new pixels are used; the reference's top bytes are 0. A rectangle without pixels also gives
/// a word, for which its first pixel is read.
///
/// Uses the processor's widest vectors; the result is the same with all.
void encodeRectangle(PixelRows<const quint32> pixels, PixelRows<quint32> reference, std::size_t width,
    std::size_t height, SegmentBuffer& output);

using RectangleEncoder = void (*)(PixelRows<const quint32> pixels, PixelRows<quint32> reference,
    std::size_t width, std::size_t height, SegmentBuffer& output);

/// The compiled variants of encodeRectangle() that this processor runs, widest vectors first; never empty.
std::vector<RectangleEncoder> supportedEncoders();

} // namespace Zendra
