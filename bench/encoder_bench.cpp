// The run-length encoder of recordings on frames of 1920x1080, beside what cannot be faster and beside the
// plain loop.

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <random>
#include <vector>

#include "plainencoder.h"

namespace
{

using namespace Zendra;

constexpr std::size_t width = 1920;
constexpr std::size_t height = 1080;

using Frame = std::vector<quint32>;
/// Two pictures that the screen goes back and forth between.
using Scene = std::array<Frame, 2>;

/// Throws the segments away.
class Sink : public BinaryStreamProducer
{
public:
    QString configure(const QMap<QString, QVariant>&) override { return {}; }
    void pause() override { }
    void resume() override { }
    void stop() override { }
    void sendNextSegment(QByteArray segment) override { benchmark::DoNotOptimize(segment.constData()); }
};

Scene unchanged()
{
    const Frame frame(width * height, 0x204060);
    return {frame, frame};
}

Scene oneColour()
{
    return {Frame(width * height, 0x204060), Frame(width * height, 0x806040)};
}

Scene noise()
{
    std::mt19937 random(1); // NOLINT: the same frames on every run
    Scene scene;
    for (Frame& frame : scene) {
        frame.resize(width * height);
        for (quint32& pixel : frame)
            pixel = random() & 0xFFFFFF;
    }
    return scene;
}

constexpr std::size_t cellWidth = 8;
constexpr std::size_t cellHeight = 16;
using Glyph = std::array<quint32, cellWidth * cellHeight>;

/// A letter's like: upright and level strokes with soft edges on white.
Glyph makeGlyph(std::mt19937& random)
{
    Glyph glyph;
    glyph.fill(0xFFFFFF);
    const auto dot = [&glyph](std::size_t x, std::size_t y, quint32 grey) {
        glyph[y * cellWidth + x] = grey * 0x010101;
    };
    const std::size_t stem = 1 + random() % 4;
    for (std::size_t y = 3; y < 12; ++y) {
        dot(stem, y, 0x10);
        dot(stem + 1, y, 0x90 + random() % 0x40);
    }
    const std::size_t bar = 3 + random() % 8;
    for (std::size_t x = 1; x < cellWidth - 1; ++x)
        dot(x, bar, x == 1 ? 0xA0 : 0x10);
    return glyph;
}

/// Full lines of a terminal, other ones in each of the two pictures; every sixth character is a blank.
Scene pageOfText()
{
    std::mt19937 random(2); // NOLINT: the same frames on every run
    std::array<Glyph, 64> glyphs;
    for (Glyph& glyph : glyphs)
        glyph = makeGlyph(random);
    Scene scene;
    for (Frame& frame : scene) {
        frame.assign(width * height, 0xFFFFFF);
        for (std::size_t top = 0; top + cellHeight <= height; top += cellHeight) {
            for (std::size_t left = 0; left + cellWidth <= width; left += cellWidth) {
                if (random() % 6 == 0)
                    continue;
                const Glyph& glyph = glyphs[random() % glyphs.size()];
                for (std::size_t y = 0; y < cellHeight; ++y)
                    std::copy_n(&glyph[y * cellWidth], cellWidth, &frame[(top + y) * width + left]);
            }
        }
    }
    return scene;
}

using Encode
    = void (*)(PixelRows<const quint32>, PixelRows<quint32>, std::size_t, std::size_t, SegmentBuffer&);

void encode(benchmark::State& state, Encode function, Scene (*makeScene)())
{
    const Scene scene = makeScene();
    Frame reference = scene[0];
    Sink sink;
    SegmentBuffer output(&sink);
    std::size_t next = 1;
    for (auto _ : state) {
        function({scene[next].data(), width}, {reference.data(), width}, width, height, output);
        next = 1 - next;
    }
}

void compare(benchmark::State& state)
{
    const Scene scene = unchanged();
    for (auto _ : state)
        benchmark::DoNotOptimize(std::memcmp(scene[0].data(), scene[1].data(), width * height * 4));
}

void copy(benchmark::State& state)
{
    const Scene scene = oneColour();
    Frame target(width * height);
    std::size_t next = 1;
    for (auto _ : state) {
        std::memcpy(target.data(), scene[next].data(), width * height * 4);
        benchmark::ClobberMemory();
        next = 1 - next;
    }
}

void add(const char* name, void (*function)(benchmark::State&))
{
    benchmark::RegisterBenchmark(name, function)->Unit(benchmark::kMillisecond);
}

const bool added = [] {
    add("encode an unchanged frame/zendra", [](auto& state) { encode(state, encodeRectangle, unchanged); });
    add("encode an unchanged frame/memcmp", compare);
    add("encode a frame of a new colour/zendra",
        [](auto& state) { encode(state, encodeRectangle, oneColour); });
    add("encode a frame of a new colour/memcpy", copy);
    add("encode a new page of text/zendra", [](auto& state) { encode(state, encodeRectangle, pageOfText); });
    add("encode a new page of text/plain loop",
        [](auto& state) { encode(state, Tests::encodePlainly, pageOfText); });
    add("encode a frame of noise/zendra", [](auto& state) { encode(state, encodeRectangle, noise); });
    add("encode a frame of noise/plain loop",
        [](auto& state) { encode(state, Tests::encodePlainly, noise); });
    return true;
}();

} // namespace
