#include "rleencoder.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "segmentbuffer.h"

// Compiled once per vector target: Highway includes this file again below.
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

/// The open run.
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

// One block of 64 pixels, here 8 of them with the colours A and B, when the run before it was a skip:
//
//   pixels          A A B B B A A A
//   reference       A A A A B A B B
//   unchanged       1 1 0 0 1 1 0 0      equal to the reference: skipped
//   likePrevious    . 1 0 1 1 0 1 1      same colour as the previous pixel
//   run starts      0 0 1 0 1 0 1 0      where "unchanged" flips, or the colour does within a fill
//   words           (open skip) | 2 x B | skip 2 | 2 x A, still open
//
// The masks come from vector comparisons; a word is written for each set bit of "run starts". The last run
// stays open, since the next block may continue it.

/// Pixels per block, one for each bit of a mask.
constexpr std::size_t blockSize = 64;
constexpr quint64 allPixels = ~quint64(0);
/// The remainder of a row is padded to a block if it has at least this many pixels.
constexpr std::size_t worthABlock = 16;
/// The words of a block, and one vector more.
constexpr unsigned int mostWords = blockSize + 16;

using Lanes = hn::CappedTag<quint32, 16>;

template <typename Mask>
HWY_INLINE quint64 toBits(Lanes lanes, Mask mask)
{
    quint8 bytes[8] = {};
    hn::StoreMaskBits(lanes, mask, bytes);
    quint64 bits = 0;
    std::memcpy(&bits, bytes, sizeof bits);
    return qFromLittleEndian(bits);
}

HWY_INLINE auto loadColours(Lanes lanes, const quint32* pixels)
{
    return hn::And(hn::LoadU(lanes, pixels), hn::Set(lanes, colourMask));
}

template <typename Vector>
HWY_INLINE Vector toBigEndian(Lanes lanes, Vector words)
{
    if (Q_BYTE_ORDER == Q_BIG_ENDIAN)
        return words;
    const auto middle = hn::Set(lanes, 0xFF00);
    const auto outer = hn::Or(hn::ShiftLeft<24>(words), hn::ShiftRight<24>(words));
    const auto inner
        = hn::Or(hn::ShiftLeft<8>(hn::And(words, middle)), hn::And(hn::ShiftRight<8>(words), middle));
    return hn::Or(outer, inner);
}

/// Whether the colours are all zero, whatever the top bytes are.
template <typename Vector>
HWY_INLINE bool isZero(Lanes lanes, Vector pixels)
{
    return hn::AllTrue(lanes, hn::Eq(hn::And(pixels, hn::Set(lanes, colourMask)), hn::Zero(lanes)));
}

/// Whether a whole block is unchanged.
HWY_INLINE bool isUnchanged(const quint32* pixels, const quint32* reference)
{
    const Lanes lanes;
    auto difference = hn::Zero(lanes);
    for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes)) {
        difference
            = hn::Or(difference, hn::Xor(hn::LoadU(lanes, pixels + i), hn::LoadU(lanes, reference + i)));
    }
    return isZero(lanes, difference);
}

/// The number of pixels in the unchanged blocks at the beginning.
HWY_INLINE std::size_t countUnchanged(const quint32* pixels, const quint32* reference, std::size_t count)
{
    std::size_t unchanged = 0;
    while (unchanged + blockSize <= count && isUnchanged(pixels + unchanged, reference + unchanged))
        unchanged += blockSize;
    return unchanged;
}

/// Whether a block has a single colour and no unchanged pixel; updates the reference if so.
HWY_INLINE bool fillWith(quint32 colour, const quint32* pixels, quint32* reference)
{
    const Lanes lanes;
    const auto wanted = hn::Set(lanes, colour);
    auto difference = hn::Zero(lanes);
    auto skipped = hn::Ne(wanted, wanted);
    for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes)) {
        difference = hn::Or(difference, hn::Xor(hn::LoadU(lanes, pixels + i), wanted));
        skipped = hn::Or(skipped, hn::Eq(hn::LoadU(lanes, reference + i), wanted));
    }
    if (!isZero(lanes, difference) || !hn::AllFalse(lanes, skipped))
        return false;
    for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes))
        hn::StoreU(wanted, lanes, reference + i);
    return true;
}

/// Masks with a bit for each pixel of a block.
struct BlockMasks {
    quint64 unchanged = 0;
    quint64 likePrevious = 0; ///< same colour as the previous pixel

    /// The pixels at which a new run starts.
    quint64 runStarts(bool afterSkip) const
    {
        const quint64 afterUnchanged = unchanged << 1 | (afterSkip ? 1U : 0U);
        return ~((unchanged & afterUnchanged) | (~unchanged & ~afterUnchanged & likePrevious));
    }

    bool isUnchanged(unsigned int pixel) const { return (unchanged >> pixel & 1U) != 0; }
};

/// Compares a block with the reference and updates that. The caller handles the first pixel's likePrevious.
HWY_INLINE BlockMasks updateReference(const quint32* pixels, quint32* reference)
{
    const Lanes lanes;
    BlockMasks masks;
    for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes)) {
        const auto current = loadColours(lanes, pixels + i);
        // There may be no pixel before the block, so its first vector is compared with the next one.
        const std::size_t later = i == 0 ? 1 : i;
        const auto isLikePrevious
            = hn::Eq(loadColours(lanes, pixels + later), loadColours(lanes, pixels + later - 1));
        masks.likePrevious |= toBits(lanes, isLikePrevious) << later;
        masks.unchanged |= toBits(lanes, hn::Eq(current, hn::LoadU(lanes, reference + i))) << i;
        hn::StoreU(current, lanes, reference + i);
    }
    return masks;
}

HWY_INLINE auto toMask(Lanes lanes, quint64 bits)
{
    quint8 bytes[8];
    bits = qToLittleEndian(bits);
    std::memcpy(bytes, &bits, sizeof bits);
    return hn::LoadMaskBits(lanes, bytes);
}

/// Moves the lanes in a set of bits to the beginning of a vector, in order.
#if HWY_TARGET == HWY_AVX2
// Highway's Compress has its table on the stack; GCC rebuilds that kilobyte for each vector.
struct LaneNumbers {
    quint32 ofSet[256] = {}; ///< the lanes in a set, lowest first, four bits each

    constexpr LaneNumbers()
    {
        for (unsigned int set = 0; set < 256; ++set) {
            unsigned int shift = 0;
            for (unsigned int lane = 0; lane < 8; ++lane) {
                if ((set >> lane & 1U) == 0)
                    continue;
                ofSet[set] |= lane << shift;
                shift += 4;
            }
        }
    }
};
constexpr LaneNumbers laneNumbers;

class Selection
{
public:
    HWY_INLINE Selection(Lanes lanes, quint64 set)
        : m_lanes(hn::IndicesFromVec(lanes,
            hn::And(
                hn::Shr(hn::Set(lanes, laneNumbers.ofSet[set & 0xFF]), hn::ShiftLeft<2>(hn::Iota(lanes, 0))),
                hn::Set(lanes, 7))))
    {
    }
    template <typename Vector>
    HWY_INLINE Vector of(Vector vector) const
    {
        return hn::TableLookupLanes(vector, m_lanes);
    }

private:
    decltype(hn::IndicesFromVec(Lanes(), hn::Zero(Lanes()))) m_lanes;
};
#else
class Selection
{
public:
    HWY_INLINE Selection(Lanes lanes, quint64 set)
        : m_mask(toMask(lanes, set))
    {
    }
    template <typename Vector>
    HWY_INLINE Vector of(Vector vector) const
    {
        return hn::Compress(vector, m_mask);
    }

private:
    decltype(toMask(Lanes(), 0)) m_mask;
};
#endif

/// Stores the words of a block in which each pixel is its own run, in big-endian order.
HWY_INLINE void storeSinglePixels(const BlockMasks& masks, const quint32* colours, quint32* words)
{
    const Lanes lanes;
    for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes)) {
        const auto fill = hn::Or(hn::LoadU(lanes, colours + i), hn::Set(lanes, 1U << fillShift));
        const auto isSkip = toMask(lanes, masks.unchanged >> i);
        hn::StoreU(toBigEndian(lanes, hn::IfThenElse(isSkip, hn::Set(lanes, 1), fill)), lanes, words + i);
    }
}

/// The runs that start in a block, with room for one more vector, as vectors are stored whole.
struct BlockRuns {
    quint32 starts[blockSize + 16];
    quint32 kinds[blockSize + 16]; ///< 0 for a skip; the colour of a fill, with the top byte set
    std::size_t count = 0;

    HWY_INLINE void gather(quint64 startBits, const BlockMasks& masks, const quint32* colours)
    {
        const Lanes lanes;
        const auto numbers = hn::Iota(lanes, 0); // with a variable it is built in memory
        for (std::size_t i = 0; i < blockSize; i += hn::Lanes(lanes)) {
            const Selection started(lanes, startBits >> i);
            const auto isSkip = toMask(lanes, masks.unchanged >> i);
            const auto fill = hn::Or(hn::LoadU(lanes, colours + i), hn::Set(lanes, ~colourMask));
            hn::StoreU(started.of(hn::IfThenZeroElse(isSkip, fill)), lanes, kinds + count);
            const auto pixels = hn::Add(numbers, hn::Set(lanes, static_cast<quint32>(i)));
            hn::StoreU(started.of(pixels), lanes, starts + count);
            count += hn::CountTrue(lanes, toMask(lanes, startBits >> i));
        }
    }

    /// Stores the words of all runs but the last, in big-endian order, and up to a vector more. The runs are
    /// too short to reach a limit.
    HWY_INLINE void storeWords(quint32* words) const
    {
        const Lanes lanes;
        const auto colours = hn::Set(lanes, colourMask);
        for (std::size_t i = 0; i + 1 < count; i += hn::Lanes(lanes)) {
            const auto length = hn::Sub(hn::LoadU(lanes, starts + i + 1), hn::LoadU(lanes, starts + i));
            const auto kind = hn::LoadU(lanes, kinds + i);
            const auto fill = hn::Or(hn::ShiftLeft<fillShift>(length), hn::And(kind, colours));
            const auto isSkip = hn::Eq(kind, hn::Zero(lanes));
            hn::StoreU(toBigEndian(lanes, hn::IfThenElse(isSkip, length, fill)), lanes, words + i);
        }
    }
};

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
        while (x + blockSize <= width) {
            if (m_run.isSkip) {
                const std::size_t unchanged = countUnchanged(pixels + x, reference + x, width - x);
                m_run.length += unchanged;
                x += unchanged;
                if (x + blockSize > width)
                    break;
            }
            encodeBlock(pixels + x, reference + x);
            x += blockSize;
        }
        if (width - x >= worthABlock)
            encodePartOfBlock(pixels + x, reference + x, width - x);
        else
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

    /// Whether a whole block continues the open run; if so, adds it.
    bool goesOn(const quint32* pixels, quint32* reference)
    {
        const quint32 first = pixels[0] & colourMask;
        if (first != (m_run.isSkip ? reference[0] : m_run.colour))
            return false;
        const bool answer
            = m_run.isSkip ? isUnchanged(pixels, reference) : fillWith(m_run.colour, pixels, reference);
        if (answer)
            m_run.length += blockSize;
        return answer;
    }

    /// Encodes less than a block. The rest is padded with the last run's pixels, and then subtracted from
    /// that run.
    void encodePartOfBlock(const quint32* pixels, quint32* reference, std::size_t count)
    {
        quint32 blockPixels[blockSize];
        quint32 blockReference[blockSize];
        std::fill(std::copy_n(pixels, count, blockPixels), std::end(blockPixels), pixels[count - 1]);
        std::fill(
            std::copy_n(reference, count, blockReference), std::end(blockReference), reference[count - 1]);
        encodeBlock(blockPixels, blockReference);
        std::copy_n(blockReference, count, reference);
        m_run.length -= blockSize - count;
    }

    void encodeBlock(const quint32* pixels, quint32* reference)
    {
        if (goesOn(pixels, reference))
            return;
        BlockMasks masks = updateReference(pixels, reference);
        masks.likePrevious |= reference[0] == m_run.colour ? 1U : 0U;
        const quint64 starts = masks.runStarts(m_run.isSkip);
        if (starts == 0) {
            m_run.length += blockSize;
            return;
        }
        m_run.length += hwy::Num0BitsBelowLS1Bit_Nonzero64(starts);
        m_run.close(m_output);

        BlockRun last {};
        if (m_output.hasRoom(mostWords)) {
            last = storeRuns(starts, masks, reference, m_output.room());
            m_output.stored(last.number);
        } else {
            quint32 words[mostWords] = {};
            last = storeRuns(starts, masks, reference, words);
            for (unsigned int i = 0; i < last.number; ++i)
                m_output.write(qFromBigEndian(words[i]));
        }
        m_run = {masks.isUnchanged(last.start), reference[last.start], blockSize - last.start};
    }

    struct BlockRun {
        unsigned int number; ///< its index in the block
        unsigned int start;
    };

    /// Stores the words of the runs that start and end in a block, and returns the one that stays open.
    static BlockRun storeRuns(quint64 starts, const BlockMasks& masks, const quint32* colours, quint32* words)
    {
        if (starts == allPixels) {
            storeSinglePixels(masks, colours, words);
            return {blockSize - 1, blockSize - 1};
        }
        BlockRuns runs;
        runs.gather(starts, masks, colours);
        runs.storeWords(words);
        const auto last = static_cast<unsigned int>(runs.count - 1);
        return {last, runs.starts[last]};
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

/// Highway can list them as well, but its library adds five milliseconds to the start of every host.
std::vector<RectangleEncoder> supportedEncoders()
{
    std::vector<RectangleEncoder> encoders;
#if HWY_TARGETS & (HWY_AVX3 | HWY_AVX2 | HWY_SSE4)
    __builtin_cpu_init();
    const bool hasSse4 = __builtin_cpu_supports("sse4.2") != 0 && __builtin_cpu_supports("aes") != 0
        && __builtin_cpu_supports("pclmul") != 0;
    const bool hasAvx2 = hasSse4 && __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0
        && __builtin_cpu_supports("bmi2") != 0 && __builtin_cpu_supports("fma") != 0;
#endif
#if HWY_TARGETS & HWY_AVX3
    if (hasAvx2 && __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vl") != 0
        && __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512bw") != 0
        && __builtin_cpu_supports("avx512cd") != 0)
        encoders.push_back(&N_AVX3::encode);
#endif
#if HWY_TARGETS & HWY_AVX2
    if (hasAvx2)
        encoders.push_back(&N_AVX2::encode);
#endif
#if HWY_TARGETS & HWY_SSE4
    if (hasSse4)
        encoders.push_back(&N_SSE4::encode);
#endif
    encoders.push_back(&HWY_STATIC_DISPATCH(encode));
    return encoders;
}

void encodeRectangle(PixelRows<const quint32> pixels, PixelRows<quint32> reference, std::size_t width,
    std::size_t height, SegmentBuffer& output)
{
    static const RectangleEncoder best = supportedEncoders().front();
    best(pixels, reference, width, height, output);
}

} // namespace Zendra
#endif
