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

/// Encodes a rectangle of new pixels against the reference frame, and brings that up to date, in one pass.
///
/// A run word is either a count of pixels that are as in the reference (top byte 0), or a count from 1 to 255
/// in the top byte and the colour that the pixels have. Runs go on over the ends of rows and are as long as
/// they can be. Only the low 24 bits of new pixels count; the reference's top bytes are 0. Even a rectangle
/// without pixels gives a word, for which its first pixel is looked at.
///
/// The processor's widest vectors are used; the words are the same with all.
void encodeRectangle(PixelRows<const quint32> pixels, PixelRows<quint32> reference, std::size_t width,
    std::size_t height, SegmentBuffer& output);

using RectangleEncoder = void (*)(PixelRows<const quint32> pixels, PixelRows<quint32> reference,
    std::size_t width, std::size_t height, SegmentBuffer& output);

/// The compiled variants of encodeRectangle() that this processor runs, widest vectors first; never empty.
std::vector<RectangleEncoder> supportedEncoders();

} // namespace Zendra
