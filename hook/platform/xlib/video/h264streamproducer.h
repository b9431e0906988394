#pragma once

#include <QString>

#include <zendra/video/compressor.h>

namespace Zendra
{
class BinaryStream;
}

namespace Zendra::Video
{

/// Writes the packets of an H.264 encoder (ITU-T H.264, Annex B) into a stream, a segment for each message.
///
/// A message is a header of three 32-bit big-endian words and a payload: its type (0 start, 1 packet,
/// 2 finish), an argument and the payload's length in bytes. In order: start() once, appendPacket() for each
/// packet, finish() once.
class H264StreamProducer : public Compressor::PacketConsumer
{
public:
    /// The caller owns the stream.
    explicit H264StreamProducer(BinaryStream* stream)
        : m_stream(stream)
    {
    }

    /// Sends two floats, and the bit rate, width and height that `parameters` have. The argument is 0.
    void start(AVCodecParameters* parameters, float first, float second);
    /// Sends the packet's data as it is. The argument is 2 for a key frame, else 0.
    void appendPacket(AVPacket* packet) override;
    /// Sends `text` in UTF-8, with `code` as the argument.
    void finish(unsigned int code, const QString& text);

private:
    Q_DISABLE_COPY(H264StreamProducer)

    void send(unsigned int type, unsigned int argument, const char* payload, int size);

    BinaryStream* m_stream;
};

} // namespace Zendra::Video
