#include <zendra/video/moviewriter.h>

#include "videomodule.h"

namespace Zendra::Video
{

MovieWriter::~MovieWriter() = default;

std::unique_ptr<MovieWriter> createMovieWriter(const QString& fileName)
{
    return std::unique_ptr<MovieWriter>(
        videoModuleFunction<MovieWriter::Factory>("zendraMovieWriter")(fileName));
}

QString encoderName()
{
    const char* name = videoModuleFunction<EncoderNameFunction>("zendraVideoEncoderName")();
    if (name == nullptr)
        throw std::runtime_error("libavcodec has no H.264 encoder here");
    return QString::fromLatin1(name);
}

} // namespace Zendra::Video
