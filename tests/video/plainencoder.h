#pragma once

#include "rleencoder.h"
#include "segmentbuffer.h"

namespace Zendra::Tests
{

/// What encodeRectangle() does, straight from the rules: one pixel after the other. The encoder must give the
/// same words and is measured against it.
inline void encodePlainly(PixelRows<const quint32> pixels, PixelRows<quint32> reference, std::size_t width,
    std::size_t height, SegmentBuffer& output)
{
    constexpr quint32 colours = 0xFFFFFF;
    quint32 colour = *pixels.first & colours;
    bool isSkip = colour == *reference.first;
    quint32 length = 0;
    const auto close = [&] { output.write(isSkip ? length : length << 24 | colour); };
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const quint32 current = pixels.first[x] & colours;
            const bool isSame = current == reference.first[x];
            if (!isSame)
                reference.first[x] = current;
            if (isSame != isSkip || (!isSame && current != colour)) {
                close();
                isSkip = isSame;
                colour = current;
                length = 1;
            } else if (length < (isSkip ? 0xFFFFFFU : 255U)) {
                ++length;
            } else {
                close();
                length = 1;
            }
        }
        pixels.first += pixels.stride;
        reference.first += reference.stride;
    }
    close();
}

} // namespace Zendra::Tests
