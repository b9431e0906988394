#include <zendra/video/compressor.h>

#include "videomodule.h"

namespace Zendra::Video
{

Compressor::PacketConsumer::~PacketConsumer() = default;

Compressor::Encoder::~Encoder() = default;

Compressor::Compressor(const QSize& inputSize)
    : m_encoder(videoModuleFunction<EncoderFactory>("zendraVideoEncoder")(inputSize))
{
}

Compressor::Compressor(Encoder* encoder)
    : m_encoder(encoder)
{
}

Compressor::~Compressor() = default;

void Compressor::start(PacketConsumer* consumer)
{
    m_encoder->start(consumer);
}

void Compressor::finish()
{
    m_encoder->finish();
}

QSize Compressor::frameSize() const
{
    return m_encoder->frameSize();
}

AVCodecParameters* Compressor::parameters() const
{
    return m_encoder->parameters();
}

RGBCompressor::RGBCompressor(const QSize& inputSize)
    : Compressor(inputSize)
    , m_inputSize(inputSize)
{
}

RGBCompressor::RGBCompressor(Encoder* encoder, const QSize& inputSize)
    : Compressor(encoder)
    , m_inputSize(inputSize)
{
}

LosslessCompressor::LosslessCompressor(const QSize& inputSize, const char* codecName)
    : RGBCompressor(
        videoModuleFunction<LosslessEncoderFactory>("zendraLosslessEncoder")(inputSize, codecName), inputSize)
{
}

void RGBCompressor::appendFrame(const unsigned char* pixels, int bytesPerLine, long long time)
{
    encoder().appendFrame(pixels, bytesPerLine, time);
}

void RGBCompressor::repeatFrame(long long time)
{
    encoder().repeatFrame(time);
}

} // namespace Zendra::Video
