// The messages of the H.264 stream, byte by byte.

#include <gtest/gtest.h>

#include <QStringList>

#include <zendra/video/videostreamproducer.h>

#include "h264streamproducer.h"

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavcodec/packet.h>
}

using namespace Zendra;

namespace
{

struct Stream : Video::VideoStreamProducer {
    Stream()
        : VideoStreamProducer(Video::H264Format)
    {
    }
    void sendUpdate(unsigned int) override { }
};

} // namespace

TEST(H264StreamProducer, WritesASegmentForEachMessage)
{
    Stream stream;
    QStringList segments;
    QObject::connect(&stream, &BinaryStream::nextSegment,
        [&](const QByteArray& segment) { segments += QString::fromLatin1(segment.toHex()); });
    Video::H264StreamProducer producer(&stream);
    AVCodecParameters parameters {};
    parameters.width = 1920;
    parameters.height = 1080;
    parameters.bit_rate = 4'000'000;
    producer.start(&parameters, 1.0F, 1.0F);
    parameters.bit_rate += 1LL << 33;
    producer.start(&parameters, 1.0F, 0.5F);
    std::uint8_t data[] {0, 0, 1, 0x65, 0xFF};
    AVPacket packet {};
    packet.data = data;
    packet.size = sizeof data;
    packet.flags = AV_PKT_FLAG_KEY | AV_PKT_FLAG_DISPOSABLE;
    producer.appendPacket(&packet);
    packet.flags = AV_PKT_FLAG_DISPOSABLE;
    packet.size = 4;
    producer.appendPacket(&packet);
    producer.finish(3, {});
    producer.finish(0, QStringLiteral("\u00E9!"));
    EXPECT_EQ(segments.join(QLatin1Char(' ')).toStdString(),
        "0000000000000000000000143f8000003f800000003d09000000078000000438 "
        "0000000000000000000000143f8000003f000000003d09000000078000000438 "
        "00000001000000020000000500000165ff 00000001000000000000000400000165 "
        "000000020000000300000000 000000020000000000000003c3a921");
}
