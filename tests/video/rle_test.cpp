// The run-length encoder against a receiver written from the format alone, and against the plain loop.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include <QtEndian>

#include "plainencoder.h"
#include "rlerectupdatecompressor.h"

using namespace Zendra;
using Pixels = std::vector<quint32>;

namespace
{

/// Keeps the words of all segments and their sizes.
class Receiver : public BinaryStreamProducer
{
public:
    QString configure(const QMap<QString, QVariant>&) override { return {}; }
    void pause() override { }
    void resume() override { }
    void stop() override { }

    void sendNextSegment(QByteArray segment) override
    {
        sizes.push_back(segment.size());
        for (int offset = 0; offset < segment.size(); offset += 4)
            words.push_back(qFromBigEndian<quint32>(segment.constData() + offset));
    }

    Pixels take() { return std::exchange(words, {}); }

    Pixels words;
    std::vector<int> sizes;
};

/// The words for pixels that go from `old` to `now`.
Pixels words(RectangleEncoder encode, Pixels old, const Pixels& now, std::size_t width)
{
    Receiver receiver;
    SegmentBuffer output(&receiver);
    encode({now.data(), width}, {old.data(), width}, width, now.size() / width, output);
    output.flush();
    for (std::size_t i = 0; i < now.size(); ++i)
        EXPECT_EQ(old[i], now[i] & 0xFFFFFF);
    return receiver.take();
}

struct Stream {
    Receiver receiver;
    RLERectUpdateCompressor compressor {&receiver};

    explicit Stream(const QRect& bounds)
    {
        compressor.boundsChanged(bounds, 1.0F, 1.25F);
        compressor.updateDone();
    }

    /// The words of a chunk alone, without its header.
    Pixels chunk(const QRect& rect, Pixels pixels)
    {
        receiver.take();
        compressor.updateChunk(rect, pixels.data(), static_cast<unsigned int>(rect.width()));
        compressor.updateDone();
        return receiver.take();
    }
};

} // namespace

TEST(RleCompressor, WritesTheMessagesOfTheFormat)
{
    Stream stream({10, 20, 100, 50});
    EXPECT_EQ(stream.receiver.take(), (Pixels {1, 10, 20, 110, 70, 65536, 81920}));
    stream.compressor.startUpdate(7, {{QRect(1, 2, 3, 4)}}, {QRect(10, 20, 4, 1), QRect(11, 21, 2, 2)});
    stream.compressor.updateDone();
    EXPECT_EQ(stream.receiver.take(), (Pixels {2, 1, 2, 7, 1, 2, 4, 6, 10, 20, 14, 21, 11, 21, 13, 23}));
    stream.compressor.updateDone();
    EXPECT_EQ(stream.receiver.sizes.size(), 2U);
}

TEST(RleCompressor, EncodesRuns)
{
    Stream stream({0, 0, 300, 2});
    const QRect row(0, 0, 300, 1);
    EXPECT_EQ(stream.chunk({0, 0, 4, 1}, {0, 0xFF000000, 0, 0}), (Pixels {4})); // the top byte does not count
    EXPECT_EQ(stream.chunk(row, Pixels(300, 0x123456)), (Pixels {0xFF123456, 0x2D123456}));
    EXPECT_EQ(stream.chunk(row, Pixels(300, 0x123456)), (Pixels {300}));
    EXPECT_EQ(stream.chunk({0, 0, 3, 1}, {0x123456, 0xBB, 0x123456}), (Pixels {1, 0x010000BB, 1}));
    EXPECT_EQ(stream.chunk({0, 0, 3, 0}, {0x123456}), (Pixels {0}));
    EXPECT_EQ(stream.chunk({0, 0, 3, 0}, {5}), (Pixels {5}));

    // The longest skip, and one pixel more.
    Stream large({0, 0, 4096, 4096});
    EXPECT_EQ(large.chunk({0, 0, 4096, 4096}, Pixels(size_t {4096} * 4096, 0)), (Pixels {0xFFFFFF, 1}));
}

TEST(RleCompressor, KeepsWhatBothBoundsShow)
{
    Stream stream({0, 0, 100, 3});
    stream.chunk({0, 0, 100, 3}, Pixels(300, 9));
    stream.compressor.boundsChanged({0, 0, 200, 3}, 1.0F, 1.0F);
    stream.compressor.updateDone();
    Pixels row(200, 9);
    std::fill(row.begin() + 100, row.end(), 0);
    EXPECT_EQ(stream.chunk({0, 1, 200, 1}, row), (Pixels {200}));
}

TEST(RleCompressor, GivesTheWordsOfThePlainLoopWithAllVectors)
{
    std::mt19937 random(1);
    const int width = 1000;
    const QRect all(0, 0, width, 100);
    Stream stream(all);
    Pixels old(static_cast<size_t>(width) * 100, 0);
    for (const unsigned int colours : {1U, 2U, 3U, 50U, 0xFFFFFFU}) {
        for (const int runLength : {1, 3, 70, 600}) {
            Pixels now = old;
            for (size_t i = 0; i < now.size();) {
                const unsigned int colour = random() % colours;
                const bool change = random() % 3 != 0;
                for (size_t left = 1 + random() % static_cast<unsigned>(runLength);
                     left > 0 && i < now.size(); --left, ++i)
                    now[i] = change ? colour : now[i];
            }
            const Pixels expected = words(&Tests::encodePlainly, old, now, width);
            EXPECT_EQ(stream.chunk(all, now), expected) << colours << " colours, runs " << runLength;
            for (const RectangleEncoder encode : supportedEncoders())
                EXPECT_EQ(words(encode, old, now, width), expected)
                    << colours << " colours, runs " << runLength;
            old = now;
        }
    }
    // All segments but the last of a frame are full.
    for (const int size : stream.receiver.sizes)
        EXPECT_LE(size, 53248);
    EXPECT_GT(std::count(stream.receiver.sizes.begin(), stream.receiver.sizes.end(), 53248), 10);
}
