#include "h264streamproducer.h"

#include <algorithm>
#include <cstring>

#include <QByteArray>
#include <QtEndian>

#include <zendra/binarystream.h>

// Reads FFmpeg's structures only; does not call or link FFmpeg.
extern "C" {
#include <libavcodec/codec_par.h>
#include <libavcodec/packet.h>
}

namespace Zendra::Video
{

namespace
{

constexpr unsigned int startMessage = 0;
constexpr unsigned int packetMessage = 1;
constexpr unsigned int finishMessage = 2;

constexpr unsigned int keyFrame = 2;

constexpr int wordSize = 4;
constexpr int headerSize = 3 * wordSize;

quint32 bitsOf(float number)
{
    static_assert(sizeof number == wordSize);
    quint32 bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
}

template <std::size_t count>
void storeWords(const quint32 (&words)[count], char* target)
{
    qToBigEndian<quint32>(words, count, target);
}

} // namespace

void H264StreamProducer::start(AVCodecParameters* parameters, float first, float second)
{
    const quint32 words[] {bitsOf(first), bitsOf(second), static_cast<quint32>(parameters->bit_rate),
        static_cast<quint32>(parameters->width), static_cast<quint32>(parameters->height)};
    char payload[sizeof words];
    storeWords(words, payload);
    send(startMessage, 0, payload, sizeof payload);
}

void H264StreamProducer::appendPacket(AVPacket* packet)
{
    const bool isKeyFrame = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    send(packetMessage, isKeyFrame ? keyFrame : 0, reinterpret_cast<const char*>(packet->data), packet->size);
}

void H264StreamProducer::finish(unsigned int code, const QString& text)
{
    const QByteArray payload = text.toUtf8();
    send(finishMessage, code, payload.constData(), payload.size());
}

void H264StreamProducer::send(unsigned int type, unsigned int argument, const char* payload, int size)
{
    QByteArray message(headerSize + size, Qt::Uninitialized);
    storeWords({type, argument, static_cast<quint32>(size)}, message.data());
    std::copy_n(payload, size, message.data() + headerSize);
    m_stream->sendNextSegment(message);
}

} // namespace Zendra::Video
