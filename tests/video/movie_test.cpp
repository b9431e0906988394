// The module zendravideo as a host uses it: what it writes is read and decoded again.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <stdexcept>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>

#include <zendra/video/compressor.h>
#include <zendra/video/moviewriter.h>

#include "movie.h"

using namespace Zendra::Video;
using Zendra::Tests::Movie;

namespace
{

/// Random glyphs, black on white and light on dark blue, or waves of colour; the unused byte holds anything.
QImage picture(const QSize& size, unsigned int seed, bool isText)
{
    QImage image(size, QImage::Format_RGB32);
    const auto wave = [](double phase) { return static_cast<int>(127.5 + 127 * std::sin(phase)); };
    for (int i = 0; i < size.width() * size.height(); ++i) {
        const int x = i % size.width();
        const int y = i / size.width();
        const auto random = (static_cast<unsigned int>(y / 2 * 10000 + x / 2) ^ seed << 20) * 2654435761U;
        const bool isInk = x % 8 < 6 && y % 15 < 10 && random >> 31 != 0;
        const QRgb glyphs = y / 60 % 2 != 0 ? (isInk ? 0xE0E0E0U : 0x203050U) : (isInk ? 0U : 0xFFFFFFU);
        const QRgb waves = qRgb(wave(x * 0.02 + seed), wave(y * 0.03), wave((x + y) * 0.01 + seed));
        image.setPixel(x, y, (random & 0xFF000000) | ((isText ? glyphs : waves) & 0xFFFFFF));
    }
    return image;
}

struct Receiver : Compressor::PacketConsumer {
    std::vector<FFmpegPointer<AVPacket>> packets;
    bool isFull = false;

    void appendPacket(AVPacket* packet) override
    {
        if (isFull)
            throw std::runtime_error("full");
        packets.emplace_back(av_packet_clone(packet));
    }
};

QByteArray bytes(const AVPacket& packet)
{
    return {reinterpret_cast<const char*>(packet.data), packet.size};
}

void append(RGBCompressor& compressor, const QImage& image, long long time)
{
    compressor.appendFrame(image.constBits(), image.bytesPerLine(), time);
}

/// Messages that FFmpeg would have printed, here and in the module.
int messages = 0;

class Movies : public ::testing::TestWithParam<std::string>
{
protected:
    Movies()
    {
        av_log_set_callback(
            [](void*, int level, const char*, va_list) { messages += level <= AV_LOG_WARNING; });
    }
    ~Movies() override { EXPECT_EQ(messages, 0); }

    /// Writes the pictures in turn, one for each of the times; a null one repeats the one before.
    static void write(MovieWriter& writer, const std::vector<long long>& times,
        const std::vector<QImage>& images = {picture({160, 121}, 1, true), picture({160, 121}, 2, true)})
    {
        Receiver receiver;
        RGBCompressor compressor(images.front().size());
        compressor.start(&receiver);
        writer.start(compressor.frameSize());
        for (size_t i = 0; i < times.size(); ++i) {
            const QImage& image = images[i % images.size()];
            image.isNull() ? compressor.repeatFrame(times[i]) : append(compressor, image, times[i]);
            const AVPacket& packet = *receiver.packets.at(i); // the encoder holds nothing back
            writer.append(bytes(packet), packet.flags == AV_PKT_FLAG_KEY, times[i]);
        }
        compressor.finish();
    }

    static std::string failure(const std::function<void()>& action)
    {
        try {
            action();
            return {};
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    const QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("movie") + QString::fromStdString(GetParam()));
};

std::vector<long long> every(int interval, int end)
{
    std::vector<long long> times;
    for (int time = 0; time < end; time += interval)
        times.push_back(time);
    return times;
}

} // namespace

TEST_P(Movies, ShowThePicturesThatWereEncoded)
{
    for (const QSize& size : {QSize(320, 240), QSize(333, 201), QSize(34, 17), QSize(1, 1)}) {
        const std::vector<QImage> images {
            picture(size, 1, true), {}, picture(size, 1, false), {}, picture(size, 7, true), {}};
        const auto writer = createMovieWriter(name);
        write(*writer, every(40, 240), images);
        writer->finish(240);
        const Movie movie(name.toStdString());
        ASSERT_EQ(movie.frames.size(), 6U);
        for (size_t i = 0; i < 6; ++i) {
            const AVFrame& frame = *movie.frames[i];
            EXPECT_EQ(frame.width, size.width() + size.width() % 2);
            EXPECT_EQ(frame.height, size.height() + size.height() % 2);
            EXPECT_GE(Zendra::Tests::likeness(frame, images[i / 2 * 2]), 35)
                << size.width() << " wide, " << i;
            EXPECT_EQ(frame.color_range, AVCOL_RANGE_MPEG);
            EXPECT_EQ(frame.colorspace, AVCOL_SPC_SMPTE170M);
            EXPECT_EQ(frame.chroma_location, AVCHROMA_LOC_CENTER);
            const auto at = [&](int x, int y) { return frame.data[0][y * frame.linesize[0] + x]; };
            EXPECT_NEAR(at(frame.width - 1, frame.height - 1), at(size.width() - 1, size.height() - 1), 60);
        }
    }
}

TEST(LosslessMovie, HasEveryPixelAsItWas)
{
    const QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("lossless.mkv"));
    for (const char* codec : {static_cast<const char*>(nullptr), "libx264rgb", "ffv1"}) {
        const QSize size(333, 201);
        const QImage images[] = {picture(size, 1, true), picture(size, 7, false)};
        Receiver receiver;
        LosslessCompressor compressor(size, codec);
        compressor.start(&receiver);
        const auto writer = createMovieWriter(name);
        writer->start(compressor.frameSize(), compressor.parameters());
        for (int i = 0; i < 2; ++i) {
            append(compressor, images[i], 40LL * i);
            writer->append(bytes(*receiver.packets.at(static_cast<size_t>(i))), i == 0, 40LL * i);
        }
        writer->finish(80);
        const Movie movie(name.toStdString());
        ASSERT_EQ(movie.frames.size(), 2U);
        for (size_t i = 0; i < 2; ++i) {
            const AVFrame& frame = *movie.frames[i]; // planar GBR of 8 bits, or the pixels themselves
            for (int y = 0; y < size.height(); ++y) {
                for (int x = 0; x < size.width(); ++x) {
                    const auto at
                        = [&](int plane) { return frame.data[plane][y * frame.linesize[plane] + x]; };
                    const uchar* packed = frame.data[0] + ptrdiff_t(y) * frame.linesize[0] + ptrdiff_t(4) * x;
                    const QRgb decoded = frame.format == AV_PIX_FMT_GBRP
                        ? qRgb(at(2), at(0), at(1))
                        : qRgb(packed[2], packed[1], packed[0]);
                    ASSERT_EQ(decoded & 0xFFFFFF, images[i].pixel(x, y) & 0xFFFFFF) << x << ',' << y;
                }
            }
        }
    }
}

TEST_P(Movies, LastAsLongAsTheRecording)
{
    const std::pair<std::vector<long long>, long long> recordings[] = {{{0}, 10000}, {{0}, 40},
        {every(1000, 10000), 10000}, {every(40, 3000), 3300}, {{300, 317, 333, 2000, 2000, 70000}, 71234}};
    for (const auto& [times, end] : recordings) {
        const auto writer = createMovieWriter(name);
        write(*writer, times);
        writer->finish(end);
        EXPECT_EQ(writer->size(), QFileInfo(name).size());
        const Movie movie(name.toStdString());
        EXPECT_NEAR(1000 * movie.seconds, static_cast<double>(end), 50);
        ASSERT_EQ(movie.frames.size(), times.size());
        EXPECT_EQ(movie.frames.back()->pts, times.size() == 1 ? 0 : times.back());
    }
}

TEST_P(Movies, KeepWhatAKilledProcessWrote)
{
    for (const int interval : {40, 1000}) {
        if (fork() == 0) {
            const auto writer = createMovieWriter(name);
            write(*writer, every(interval, 5990));
            _exit(0);
        }
        ASSERT_GT(wait(nullptr), 0);
        EXPECT_GE(static_cast<int>(Movie(name.toStdString()).frames.size()) * interval, 4990);
    }
    write(*createMovieWriter(name), every(40, 800));
    EXPECT_EQ(Movie(name.toStdString()).frames.size(), 20U);
}

TEST_P(Movies, HaveChapters)
{
    const auto writer = createMovieWriter(name);
    writer->addChapter(QStringLiteral("Before"), 0);
    write(*writer, {0, 500, 1000});
    writer->addChapter(QStringLiteral("Grüße").repeated(60), 700);
    // As of a process that was killed.
    EXPECT_EQ(Movie(name.toStdString()).chapters.size(), GetParam() == ".mp4" ? 2U : 0U);
    for (int number = 3; number <= 300; ++number)
        writer->addChapter(QString::number(number).repeated(15), 1000 + number);
    writer->finish(2000);
    const Movie movie(name.toStdString());
    EXPECT_EQ(movie.frames.size(), 3U);
    ASSERT_GT(movie.chapters.size(), 100U);
    EXPECT_EQ(movie.chapters[0], std::make_pair(std::string("Before"), 0.0));
    EXPECT_EQ(movie.chapters[1].first.rfind("Grüße", 0), 0U);
    EXPECT_EQ(movie.chapters[1].first.size() % 7, GetParam() == ".mp4" ? 2U : 0U) << "whole characters";
    EXPECT_NEAR(movie.chapters[99].second, 1.1, 1e-6);
}

TEST_P(Movies, SayWhyTheyCannotBeWritten)
{
    const std::string start = "Cannot write '" + name.toStdString() + "': ";
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/full"), name));
    const auto full = createMovieWriter(name);
    EXPECT_EQ(failure([&] { write(*full, {0, 600, 1200}); }), start + "No space left on device");
    EXPECT_EQ(failure([&] { full->finish(3000); }), start + "No space left on device");
    ASSERT_TRUE(QFile::remove(name));
    const QByteArray noUnit("\0\0\1", 3);
    for (const QByteArray& unit : {noUnit, noUnit + '\x67' + noUnit + noUnit + '\x65'}) {
        const auto writer = createMovieWriter(name);
        EXPECT_EQ(failure([&] { writer->append(unit, true, 0); }), start + "the movie is not started");
        writer->start({16, 16});
        EXPECT_EQ(failure([&] { writer->append(unit, true, 0); }),
            start + "the first picture comes without H.264 parameter sets");
    }
    ASSERT_TRUE(QFile::remove(name) && QDir().mkdir(name));
    EXPECT_EQ(failure([&] { createMovieWriter(name); }), start + "Is a directory");
    const std::string unknown = failure([&] { createMovieWriter(name + QStringLiteral("x")); });
    EXPECT_NE(unknown.find(".mp4 or .mkv"), std::string::npos) << unknown;
}

INSTANTIATE_TEST_SUITE_P(Video, Movies, ::testing::Values(".mp4", ".mkv"));

TEST(H264Encoder, KeepsTimestampsIncreasingAndRestarts)
{
    EXPECT_THROW(RGBCompressor({0, 5}), std::runtime_error);
    const QImage image = picture({64, 48}, 1, true);
    RGBCompressor compressor(image.size());
    for (int round = 0; round < 10; ++round) {
        EXPECT_THROW(append(compressor, image, 0), std::runtime_error);
        Receiver receiver;
        compressor.start(&receiver);
        compressor.repeatFrame(1); // nothing to repeat yet
        for (const long long time : {10, 10, 5, 5000})
            append(compressor, image, time);
        while (receiver.packets.size() <= 250)
            compressor.repeatFrame(5001);
        for (size_t i = 0; i <= 250; ++i) {
            const AVPacket& packet = *receiver.packets[i];
            const bool isKey = i % 250 == 0;
            EXPECT_EQ(packet.pts, static_cast<long long>(i) + (i < 3 ? 10 : 4997));
            EXPECT_EQ(packet.flags, isKey ? AV_PKT_FLAG_KEY : 0) << i;
            EXPECT_EQ(bytes(packet).contains(QByteArray("\0\0\0\1\x67", 5)), isKey) << i;
            EXPECT_TRUE(isKey || packet.size < 30) << packet.size;
        }
        receiver.isFull = true;
        EXPECT_THROW(compressor.repeatFrame(6000), std::runtime_error);
        compressor.finish();
        compressor.finish();
    }
}
