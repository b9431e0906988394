// The messages of the H.264 stream, byte by byte.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <zendra/binarystream.h>

#include "h264streamproducer.h"

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavcodec/packet.h>
}

using namespace Zendra;

namespace
{

/// Keeps the segments as groups of eight hexadecimal digits.
class HexStream : public BinaryStreamProducer
{
public:
    QString configure(const QMap<QString, QVariant>&) override { return {}; }
    void pause() override { }
    void resume() override { }
    void stop() override { }
    void sendNextSegment(QByteArray segment) override
    {
        std::string words;
        for (int offset = 0; offset < segment.size(); offset += 4)
            words += (offset == 0 ? "" : " ") + segment.mid(offset, 4).toHex().toStdString();
        segments.push_back(words);
    }

    std::vector<std::string> segments;
};

} // namespace

TEST(H264StreamProducer, WritesASegmentForEachMessage)
{
    HexStream stream;
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
    EXPECT_EQ(stream.segments,
        (std::vector<std::string> {"00000000 00000000 00000014 3f800000 3f800000 003d0900 00000780 00000438",
            "00000000 00000000 00000014 3f800000 3f000000 003d0900 00000780 00000438",
            "00000001 00000002 00000005 00000165 ff", "00000001 00000000 00000004 00000165",
            "00000002 00000003 00000000", "00000002 00000000 00000003 c3a921"}));
}
