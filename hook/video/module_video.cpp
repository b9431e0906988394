// The module's entry functions.

#include <zendra/video/compressor.h>
#include <zendra/video/moviewriter.h>

#include "h264encoder.h"
#include "moviewriter_ffmpeg.h"

extern "C" {
Q_DECL_EXPORT Zendra::Video::Compressor::Encoder* zendraVideoEncoder(const QSize& inputSize);
Q_DECL_EXPORT Zendra::Video::Compressor::Encoder* zendraLosslessEncoder(
    const QSize& inputSize, const char* codecName);
Q_DECL_EXPORT Zendra::Video::MovieWriter* zendraMovieWriter(const QString& fileName);
Q_DECL_EXPORT const char* zendraVideoEncoderName();
}

using namespace Zendra::Video;

Compressor::Encoder* zendraVideoEncoder(const QSize& inputSize)
{
    return new H264Encoder(inputSize);
}

Compressor::Encoder* zendraLosslessEncoder(const QSize& inputSize, const char* codecName)
{
    return new H264Encoder(inputSize, findLosslessEncoder(codecName));
}

MovieWriter* zendraMovieWriter(const QString& fileName)
{
    return new FFmpegMovieWriter(fileName);
}

const char* zendraVideoEncoderName()
{
    const AVCodec* encoder = findH264Encoder();
    return encoder != nullptr ? encoder->name : nullptr;
}
