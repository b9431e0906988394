// Streams: the byte counts that flow control rests on, and the pacing of a recording's frames.

#include <gtest/gtest.h>

#include <stdexcept>

#include <QElapsedTimer>

#include <zendra/video/videostreamproducer.h>

#include "wait.h"

using namespace Zendra;
using namespace Zendra::Tests;
using Zendra::Video::ScreenRecordFormat;
using Zendra::Video::VideoStreamProducer;

namespace
{

/// Longer than a few frames at any rate.
constexpr int aWhile = 150;

/// A stream whose updates send `segmentSize` bytes each. It notes every call and how it ended.
class Frames : public VideoStreamProducer
{
public:
    explicit Frames(ScreenRecordFormat format = Video::RleFormat)
        : VideoStreamProducer(format)
    {
        clock.start();
        connect(this, &BinaryStream::closed, this, [this](unsigned int code, const QString& reason) {
            endings.push_back(std::to_string(code) + ' ' + text(reason));
        });
    }

    using VideoStreamProducer::markDirty;

    void sendUpdate(unsigned int milliseconds) override
    {
        callTimes.push_back(clock.elapsed());
        updates.push_back(milliseconds);
        if (throws)
            throw std::runtime_error("The pixels ran out");
        sendNextSegment(QByteArray(segmentSize, 'x'));
        if (staysDirty)
            markDirty();
    }

    void sendNoop(unsigned int milliseconds) override { noops.push_back(milliseconds); }

    bool waitForUpdates(std::size_t count)
    {
        return waitFor([this, count] { return updates.size() >= count; });
    }

    int segmentSize = 1;
    bool staysDirty = false;
    bool throws = false;
    QElapsedTimer clock;
    std::vector<qint64> callTimes;
    std::vector<unsigned int> updates;
    std::vector<unsigned int> noops;
    std::vector<std::string> endings;
};

} // namespace

TEST(VideoStreamProducer, KeepsToItsFrameRate)
{
    Frames frames;
    frames.staysDirty = true;
    ASSERT_EQ(text(frames.configure({{QStringLiteral("fps"), 20}})), "");
    frames.markDirty();
    ASSERT_TRUE(frames.waitForUpdates(8));
    // Seven intervals of 50 ms; a busy machine may make them longer, nothing may make them shorter.
    EXPECT_GE(frames.callTimes[7] - frames.callTimes[0], 7 * 50 - 10);
}

TEST(VideoStreamProducer, AnUpdateThatSendsNothingHandsItsTimeOn)
{
    Frames frames;
    frames.segmentSize = 0;
    runEventLoop(aWhile);
    frames.markDirty();
    ASSERT_TRUE(frames.waitForUpdates(1));
    frames.segmentSize = 1;
    for (std::size_t count = 2; count <= 3; ++count) {
        frames.markDirty();
        ASSERT_TRUE(frames.waitForUpdates(count));
        EXPECT_GE(frames.callTimes[count - 1] - frames.callTimes[count - 2], 40 - 5);
    }
    EXPECT_GE(frames.updates[0], static_cast<unsigned int>(aWhile));
    EXPECT_GE(frames.updates[1], frames.updates[0] + 40 - 5);
    // Its own time alone: counted twice, the sum would exceed what has passed.
    EXPECT_LE(frames.updates[1] + frames.updates[2], frames.clock.elapsed() + 5);
}

TEST(VideoStreamProducer, AnExceptionClosesTheStream)
{
    Frames frames;
    frames.throws = true;
    frames.markDirty();
    ASSERT_TRUE(waitFor([&frames] { return frames.isClosed(); }));
    frames.markDirty();
    runEventLoop(aWhile);
    EXPECT_EQ(frames.endings, (std::vector<std::string> {"3 The pixels ran out"}));
    EXPECT_EQ(frames.updates.size(), 1U);
}

TEST(VideoStreamProducer, OnlyARunningClockGoesOnWhileNothingChanges)
{
    Frames h264(Video::H264Format);
    Frames rle(Video::RleFormat);
    h264.markDirty();
    rle.markDirty();
    ASSERT_TRUE(waitFor([&] { return h264.noops.size() == 2; }));
    EXPECT_GE(h264.noops.back(), 1000U);
    EXPECT_EQ(rle.noops.size(), 0U);
    EXPECT_EQ(rle.updates.size(), 1U);
    // A second look, for what changed while the first picture was taken.
    ASSERT_EQ(h264.updates.size(), 2U);
    EXPECT_GE(h264.updates.back(), 250U);
    EXPECT_LE(h264.updates.back() + h264.noops.front() + h264.noops.back(), h264.clock.elapsed());
}
