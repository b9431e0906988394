#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
}

namespace Zendra::Video
{

/// Deleters for the objects of FFmpeg.
struct FFmpegDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
    void operator()(AVFormatContext* context) const { avformat_free_context(context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVDictionary* dictionary) const { av_dict_free(&dictionary); }
    void operator()(AVIOContext* io) const
    {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
};

template <typename Type>
using FFmpegPointer = std::unique_ptr<Type, FFmpegDeleter>;

/// The text for an error code of FFmpeg.
inline std::string ffmpegError(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

} // namespace Zendra::Video
