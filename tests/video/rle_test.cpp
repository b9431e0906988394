// The run-length encoder against a receiver written from the format alone, and against the plain loop.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include <QtEndian>

#include "plainencoder.h"
#include "rledecoder.h"
#include "rlerectupdatecompressor.h"

using namespace Zendra;
using Zendra::Tests::Pixels;
using Decoder = Zendra::Tests::RleDecoder;

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

/// The words for pixels that go from `old` to `now`, by the plain loop.
Pixels plainWords(Pixels old, const Pixels& now)
{
    Receiver receiver;
    SegmentBuffer output(&receiver);
    Tests::encodePlainly({now.data(), now.size()}, {old.data(), old.size()}, now.size(), 1, output);
    output.flush();
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

TEST(RleCompressor, WhatIsDecodedIsWhatWasEncoded)
{
    std::mt19937 random(4711);
    const auto below
        = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    Receiver receiver;
    RLERectUpdateCompressor compressor(&receiver);
    Decoder decoder;
    Pixels screen;
    for (int round = 0; round < 300; ++round) {
        if (round % 20 == 0) {
            const QRect bounds(below(50) - 25, below(50) - 25, 1 + below(400), 1 + below(60));
            compressor.boundsChanged(bounds, 1.0F, 1.0F);
        }
        const QRect bounds = compressor.bounds();
        FList<QRect> rects;
        for (int count = 1 + below(3); count > 0; --count) {
            const int x = below(bounds.width());
            const int y = below(bounds.height());
            rects.emplace_back(bounds.x() + x, bounds.y() + y, 1 + below(bounds.width() - x),
                1 + below(bounds.height() - y));
        }
        compressor.startUpdate(static_cast<unsigned int>(round), {}, rects);
        const int colours = 1 << below(10);
        std::vector<std::pair<QRect, Pixels>> drawn;
        for (const QRect& rect : rects) {
            const int stride = rect.width() + below(5);
            Pixels pixels(static_cast<size_t>(stride) * static_cast<size_t>(rect.height()));
            for (unsigned int& pixel : pixels)
                pixel = (random() & 0xFF000000) | static_cast<unsigned int>(below(colours));
            compressor.updateChunk(rect, pixels.data(), static_cast<unsigned int>(stride));
            Pixels kept;
            for (int y = 0; y < rect.height(); ++y) {
                for (int x = 0; x < rect.width(); ++x)
                    kept.push_back(
                        pixels[static_cast<size_t>(y) * static_cast<size_t>(stride) + static_cast<size_t>(x)]
                        & 0xFFFFFF);
            }
            drawn.emplace_back(rect, kept);
        }
        compressor.updateDone();
        decoder.decode(receiver.take());
        ASSERT_EQ(decoder.bounds, bounds);
        // The last rectangle is as it was drawn; the ones before may lie below it.
        const auto& [rect, pixels] = drawn.back();
        for (int i = 0; i < rect.width() * rect.height(); ++i) {
            const QPoint at = rect.topLeft() - bounds.topLeft() + QPoint(i % rect.width(), i / rect.width());
            ASSERT_EQ(decoder.frame.at(static_cast<size_t>(at.y() * bounds.width() + at.x())),
                pixels.at(static_cast<size_t>(i)));
        }
    }
}

TEST(RleCompressor, GivesTheWordsOfThePlainLoop)
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
            EXPECT_EQ(stream.chunk(all, now), plainWords(old, now))
                << colours << " colours, runs " << runLength;
            old = now;
        }
    }
    // All segments but the last of a frame are full.
    for (const int size : stream.receiver.sizes)
        EXPECT_LE(size, 53248);
    EXPECT_GT(std::count(stream.receiver.sizes.begin(), stream.receiver.sizes.end(), 53248), 10);
}
