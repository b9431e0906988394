#include "rleencoder.h"

#include <cstring>

#include "segmentbuffer.h"

// This file is compiled once for each kind of processor: Highway includes it again below.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rleencoder.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef ZENDRA_RLE_RUN
#define ZENDRA_RLE_RUN
namespace Zendra
{

constexpr quint32 colourMask = 0xFFFFFF;
constexpr quint32 longestFill = 255;
constexpr quint32 longestSkip = 0xFFFFFF;
constexpr int fillShift = 24;

/// The run that is still growing.
struct OpenRun {
    bool isSkip;
    quint32 colour; ///< of a fill
    quint64 length;

    void close(SegmentBuffer& output) const
    {
        const quint32 longest = isSkip ? longestSkip : longestFill;
        quint64 left = length;
        for (; left > longest; left -= longest)
            output.write(isSkip ? longest : longest << fillShift | colour);
        const auto rest = static_cast<quint32>(left);
        output.write(isSkip ? rest : rest << fillShift | colour);
    }
};

} // namespace Zendra
#endif

HWY_BEFORE_NAMESPACE();
namespace Zendra
{
namespace HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

/// Pixels are looked at in blocks of as many as a mask has bits.
constexpr std::size_t blockSize = 64;
constexpr quint64 allPixels = ~quint64(0);

using Lanes = hn::CappedTag<quint32, 16>;

template <typename Mask>
HWY_INLINE quint64 toBits(Lanes lanes, Mask mask)
{
    quint8 bytes[8] = {};
    hn::StoreMaskBits(lanes, mask, bytes);
    quint64 bits = 0;
    std::memcpy(&bits, bytes, sizeof bits);
    return bits;
}

HWY_INLINE auto loadColours(Lanes lanes, const quint32* pixels)
{
    return hn::And(hn::LoadU(lanes, pixels), hn::Set(lanes, colourMask));
}

/// Whether a whole block goes on with a run of unchanged pixels.
HWY_INLINE bool isUnchanged(const quint32* pixels, const quint32* reference)
{
    const Lanes lanes;
    auto difference = hn::Zero(lanes);
    for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes)) {
        difference
            = hn::Or(difference, hn::Xor(loadColours(lanes, pixels + i), hn::LoadU(lanes, reference + i)));
    }
    return hn::AllTrue(lanes, hn::Eq(difference, hn::Zero(lanes)));
}

/// Whether a whole block goes on with a run of one colour; brings the reference up to date if so.
HWY_INLINE bool fillWith(quint32 colour, const quint32* pixels, quint32* reference)
{
    const Lanes lanes;
    const auto wanted = hn::Set(lanes, colour);
    auto difference = hn::Zero(lanes);
    auto skipped = hn::Ne(wanted, wanted);
    for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes)) {
        difference = hn::Or(difference, hn::Xor(loadColours(lanes, pixels + i), wanted));
        skipped = hn::Or(skipped, hn::Eq(hn::LoadU(lanes, reference + i), wanted));
    }
    if (!hn::AllTrue(lanes, hn::Eq(difference, hn::Zero(lanes))) || !hn::AllFalse(lanes, skipped))
        return false;
    for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes))
        hn::StoreU(wanted, lanes, reference + i);
    return true;
}

/// What a block's pixels are, a bit for each.
struct BlockMasks {
    quint64 unchanged = 0;
    quint64 likePrevious = 0; ///< of the same colour as the pixel before

    /// The pixels at which a new run starts.
    quint64 runStarts(bool afterSkip) const
    {
        const quint64 afterUnchanged = unchanged << 1 | (afterSkip ? 1U : 0U);
        return ~((unchanged & afterUnchanged) | (~unchanged & ~afterUnchanged & likePrevious));
    }

    bool isUnchanged(unsigned int pixel) const { return (unchanged >> pixel & 1U) != 0; }
};

/// Looks at a block, which is not the first in its row, and brings the reference up to date.
HWY_INLINE BlockMasks updateReference(const quint32* pixels, quint32* reference)
{
    const Lanes lanes;
    BlockMasks masks;
    for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes)) {
        const auto current = loadColours(lanes, pixels + i);
        const auto previous = loadColours(lanes, pixels + i - 1);
        masks.unchanged |= toBits(lanes, hn::Eq(current, hn::LoadU(lanes, reference + i))) << i;
        masks.likePrevious |= toBits(lanes, hn::Eq(current, previous)) << i;
        hn::StoreU(current, lanes, reference + i);
    }
    return masks;
}

/// Stores the words of the runs that both start and end in a block, and returns where the last run starts.
/// The runs are too short to reach a limit.
HWY_INLINE unsigned int storeRuns(
    quint64 starts, const BlockMasks& masks, const quint32* colours, quint32* words, unsigned int& count)
{
    auto start = static_cast<unsigned int>(hwy::Num0BitsBelowLS1Bit_Nonzero64(starts));
    for (starts &= starts - 1; starts != 0; starts &= starts - 1) {
        const auto next = static_cast<unsigned int>(hwy::Num0BitsBelowLS1Bit_Nonzero64(starts));
        const quint32 length = next - start;
        const quint32 fill = length << fillShift | colours[start];
        words[count++] = qToBigEndian(masks.isUnchanged(start) ? length : fill);
        start = next;
    }
    return start;
}

/// Stores the words of all pixels but the last of a block in which each is a run of its own.
HWY_INLINE void storeSinglePixels(const BlockMasks& masks, const quint32* colours, quint32* words)
{
    for (unsigned int pixel = 0; pixel < blockSize - 1; ++pixel) {
        const quint32 fill = 1U << fillShift | colours[pixel];
        words[pixel] = qToBigEndian(masks.isUnchanged(pixel) ? 1U : fill);
    }
}

class Encoder
{
public:
    Encoder(quint32 pixel, quint32 reference, SegmentBuffer& output)
        : m_run {(pixel & colourMask) == reference, pixel & colourMask, 0}
        , m_output(output)
    {
    }

    void encodeRow(const quint32* pixels, quint32* reference, std::size_t width)
    {
        std::size_t x = 0;
        // Blocks look at the pixel before them.
        if (x < width)
            encodePixel(pixels[0], reference[0]);
        for (x = 1; x + blockSize <= width; x += blockSize)
            encodeBlock(pixels + x, reference + x);
        for (; x < width; ++x)
            encodePixel(pixels[x], reference[x]);
    }

    void finish() { m_run.close(m_output); }

private:
    void encodePixel(quint32 pixel, quint32& reference)
    {
        const quint32 colour = pixel & colourMask;
        const bool isUnchanged = colour == reference;
        reference = colour;
        if (isUnchanged == m_run.isSkip && (isUnchanged || colour == m_run.colour)) {
            ++m_run.length;
        } else {
            m_run.close(m_output);
            m_run = {isUnchanged, colour, 1};
        }
    }

    void encodeBlock(const quint32* pixels, quint32* reference)
    {
        const bool goesOn
            = m_run.isSkip ? isUnchanged(pixels, reference) : fillWith(m_run.colour, pixels, reference);
        if (goesOn) {
            m_run.length += blockSize;
            return;
        }
        const BlockMasks masks = updateReference(pixels, reference);
        const quint64 starts = masks.runStarts(m_run.isSkip);
        if (starts == 0) {
            m_run.length += blockSize;
            return;
        }
        m_run.length += hwy::Num0BitsBelowLS1Bit_Nonzero64(starts);
        m_run.close(m_output);

        quint32 spill[blockSize];
        quint32* room = m_output.room(blockSize);
        quint32* words = room != nullptr ? room : spill;
        unsigned int count = 0;
        unsigned int last = 0;
        if (starts == allPixels) {
            storeSinglePixels(masks, reference, words);
            last = count = blockSize - 1;
        } else {
            last = storeRuns(starts, masks, reference, words, count);
        }
        if (room != nullptr) {
            m_output.stored(count);
        } else {
            for (unsigned int i = 0; i < count; ++i)
                m_output.write(qFromBigEndian(spill[i]));
        }
        m_run = {masks.isUnchanged(last), reference[last], blockSize - last};
    }

    OpenRun m_run;
    SegmentBuffer& m_output;
};

void encode(PixelRows<const quint32> pixels, PixelRows<quint32> reference, std::size_t width,
    std::size_t height, SegmentBuffer& output)
{
    Encoder encoder(*pixels.first, *reference.first, output);
    for (std::size_t y = 0; y < height; ++y) {
        encoder.encodeRow(pixels.first + y * pixels.stride, reference.first + y * reference.stride, width);
    }
    encoder.finish();
}

} // namespace HWY_NAMESPACE
} // namespace Zendra
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Zendra
{

HWY_EXPORT(encode);

void encodeRectangle(PixelRows<const quint32> pixels, PixelRows<quint32> reference, std::size_t width,
    std::size_t height, SegmentBuffer& output)
{
    HWY_DYNAMIC_DISPATCH(encode)(pixels, reference, width, height, output);
}

} // namespace Zendra
#endif
