#include <zendra/video/compressor.h>

#include <stdexcept>

#include "module.h"

namespace Zendra::Video
{

namespace
{

Compressor::Encoder* createEncoder(const QSize& inputSize)
{
    const ModuleFunction module
        = loadModuleFunction(QStringLiteral("video module"), QStringLiteral("zendravideo"),
            moduleRoot() + QStringLiteral("/modules/zendravideo.so"), "zendraVideoEncoder");
    if (!module.errorText.isEmpty())
        throw std::runtime_error(module.errorText.toStdString());
    return reinterpret_cast<Compressor::EncoderFactory>(module.function)(inputSize);
}

} // namespace

Compressor::PacketConsumer::~PacketConsumer() = default;

Compressor::Encoder::~Encoder() = default;

Compressor::Compressor(const QSize& inputSize)
    : m_encoder(createEncoder(inputSize))
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

void RGBCompressor::appendFrame(const unsigned char* pixels, int bytesPerLine, long long time)
{
    encoder().appendFrame(pixels, bytesPerLine, time);
}

void RGBCompressor::repeatFrame(long long time)
{
    encoder().repeatFrame(time);
}

} // namespace Zendra::Video
