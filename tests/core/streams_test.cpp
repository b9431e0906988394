// Streams: the byte counts that flow control rests on, and the pacing of a recording's frames.

#include <gtest/gtest.h>

#include <numeric>
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

class PlainStream : public BinaryStreamProducer
{
public:
    QString configure(const QMap<QString, QVariant>&) override { return {}; }
    void pause() override { }
    void resume() override { }
    void stop() override { }
};

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

TEST(BinaryStreamProducer, HandsSegmentsOnAndCountsThem)
{
    PlainStream stream;
    QByteArray received;
    QObject::connect(&stream, &BinaryStream::nextSegment, &stream,
        [&received](const QByteArray& segment) { received += segment; });
    stream.sendNextSegment("four");
    stream.sendNextSegment("fifth");
    EXPECT_EQ(received, "fourfifth");
    EXPECT_EQ(stream.bytesSent(), 9U);
    stream.bytesReceived(4);
    EXPECT_EQ(stream.bytesAcknowledged(), 4U);
    EXPECT_EQ(stream.bytesOnTheWay(), 5U);
}

TEST(BinaryStreamProducer, CountsWrapRoundAfterFourGigabytes)
{
    PlainStream stream;
    const QByteArray big(1 << 28, Qt::Uninitialized); // never touched: it costs address space only
    for (int count = 0; count < 16; ++count) {
        stream.sendNextSegment(big);
        EXPECT_EQ(stream.bytesOnTheWay(), 1U << 28);
        stream.bytesReceived(1U << 28);
    }
    EXPECT_EQ(stream.bytesSent(), 0U);
    stream.bytesReceived(0xFFFFFFFFU - 9);
    EXPECT_EQ(stream.bytesOnTheWay(), 10U);
}

TEST(VideoStreamProducer, SleepsWhileNothingChanges)
{
    Frames frames;
    runEventLoop(aWhile);
    EXPECT_EQ(frames.updates.size(), 0U);
    frames.markDirty();
    frames.markDirty();
    ASSERT_TRUE(frames.waitForUpdates(1));
    runEventLoop(aWhile);
    EXPECT_EQ(frames.updates.size(), 1U);
}

TEST(VideoStreamProducer, KeepsToItsFrameRate)
{
    Frames frames;
    frames.staysDirty = true;
    ASSERT_EQ(text(frames.configure({{QStringLiteral("fps"), 20}})), "");
    frames.markDirty();
    ASSERT_TRUE(frames.waitForUpdates(8));
    // Seven intervals of 50 ms; a busy machine may make them longer, nothing may make them shorter.
    EXPECT_GE(frames.callTimes[7] - frames.callTimes[0], 7 * 50 - 10);
    EXPECT_LE(frames.callTimes[7] - frames.callTimes[0], 7 * 50 * 4);
}

TEST(VideoStreamProducer, TheMillisecondsAddUpToTheClock)
{
    Frames frames;
    frames.staysDirty = true;
    ASSERT_EQ(text(frames.configure({{QStringLiteral("fps"), 60}})), "");
    frames.markDirty();
    ASSERT_TRUE(frames.waitForUpdates(61));
    const qint64 sum = std::accumulate(frames.updates.begin() + 1, frames.updates.end(), qint64 {0});
    EXPECT_NEAR(
        static_cast<double>(sum), static_cast<double>(frames.callTimes.back() - frames.callTimes.front()), 5);
}

TEST(VideoStreamProducer, HoldsUpdatesBackUntilTheReceiverCatchesUp)
{
    Frames frames;
    frames.segmentSize = 600;
    frames.staysDirty = true;
    ASSERT_EQ(text(frames.configure({{QStringLiteral("window"), 1000}, {QStringLiteral("fps"), 60}})), "");
    frames.markDirty();
    ASSERT_TRUE(frames.waitForUpdates(2)); // 600 bytes leave room, 1200 do not
    EXPECT_FALSE(frames.canSendUpdate());
    runEventLoop(aWhile);
    EXPECT_EQ(frames.updates.size(), 2U);
    frames.bytesReceived(200);
    EXPECT_FALSE(frames.canSendUpdate());
    frames.bytesReceived(1);
    EXPECT_TRUE(frames.canSendUpdate());
    EXPECT_TRUE(frames.waitForUpdates(3));
    runEventLoop(aWhile);
    EXPECT_EQ(frames.updates.size(), 3U);
}

TEST(VideoStreamProducer, PausesAndResumes)
{
    Frames frames;
    frames.pause();
    frames.markDirty();
    runEventLoop(aWhile);
    EXPECT_EQ(frames.updates.size(), 0U);
    frames.resume();
    EXPECT_TRUE(frames.waitForUpdates(1));
    EXPECT_TRUE(frames.endings.empty());
}

TEST(VideoStreamProducer, StopsOnceAndForGood)
{
    Frames frames;
    frames.markDirty();
    frames.stop();
    frames.stop();
    frames.markDirty();
    frames.resume();
    runEventLoop(aWhile);
    EXPECT_EQ(frames.endings, (std::vector<std::string> {"1 "}));
    EXPECT_TRUE(frames.isClosed());
    EXPECT_EQ(frames.updates.size(), 0U);
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

TEST(VideoStreamProducer, RefusesOptionsThatMakeNoSense)
{
    Frames frames;
    const std::pair<const char*, QVariant> refused[]
        = {{"fps", 0}, {"fps", 61}, {"fps", -5}, {"fps", QStringLiteral("fast")}, {"window", 0},
            {"window", -1}, {"window", QStringLiteral("wide")}, {"colour", 1}};
    for (const auto& [name, value] : refused) {
        const QString error = frames.configure({{QLatin1String(name), value}});
        EXPECT_TRUE(error.contains(QLatin1String(name)))
            << name << ' ' << text(value.toString()) << ": " << text(error);
    }
    for (const int fps : {1, 60})
        EXPECT_EQ(text(frames.configure({{QStringLiteral("fps"), fps}})), "");
    EXPECT_TRUE(frames.endings.empty());
}

TEST(VideoStreamProducer, ARefusedSetOfOptionsChangesNothing)
{
    Frames frames;
    frames.segmentSize = 50;
    EXPECT_NE(text(frames.configure({{QStringLiteral("window"), 10}, {QStringLiteral("fps"), 1000}})), "");
    EXPECT_NE(text(frames.configure({{QStringLiteral("window"), 10}, {QStringLiteral("zoom"), 1}})), "");
    frames.sendNextSegment(QByteArray(50, 'x'));
    EXPECT_TRUE(frames.canSendUpdate());
}

TEST(VideoStreamProducer, OnlyARunningClockTicksOverWhileNothingChanges)
{
    Frames h264(Video::H264Format);
    Frames rle(Video::RleFormat);
    h264.markDirty();
    rle.markDirty();
    runEventLoop(2300);
    EXPECT_EQ(rle.noops.size(), 0U);
    ASSERT_GE(h264.noops.size(), 1U);
    EXPECT_LE(h264.noops.size(), 2U);
    EXPECT_NEAR(h264.noops.front(), 1000, 300);
    EXPECT_EQ(h264.updates.size(), 1U);
}
