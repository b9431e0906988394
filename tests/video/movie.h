#pragma once

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include <QImage>

#include "ffmpeg.h"

namespace Zendra::Tests
{

/// A movie file, decoded as far as it goes; its frames' times are milliseconds.
struct Movie {
    double seconds = 0; ///< as the container says
    std::vector<Video::FFmpegPointer<AVFrame>> frames;

    explicit Movie(const std::string& fileName)
    {
        AVFormatContext* file = nullptr;
        if (avformat_open_input(&file, fileName.c_str(), nullptr, nullptr) < 0)
            return;
        avformat_find_stream_info(file, nullptr);
        seconds = static_cast<double>(file->duration) / AV_TIME_BASE;
        const AVStream& stream = *file->streams[0];
        Video::FFmpegPointer<AVCodecContext> codec(
            avcodec_alloc_context3(avcodec_find_decoder(stream.codecpar->codec_id)));
        avcodec_parameters_to_context(codec.get(), stream.codecpar);
        avcodec_open2(codec.get(), nullptr, nullptr);
        const Video::FFmpegPointer<AVPacket> packet(av_packet_alloc());
        for (bool isEnd = false; !isEnd; av_packet_unref(packet.get())) {
            isEnd = av_read_frame(file, packet.get()) < 0;
            avcodec_send_packet(codec.get(), isEnd ? nullptr : packet.get());
            Video::FFmpegPointer<AVFrame> next(av_frame_alloc());
            for (; avcodec_receive_frame(codec.get(), next.get()) >= 0; next.reset(av_frame_alloc())) {
                next->pts = av_rescale_q(next->pts, stream.time_base, {1, 1000});
                frames.push_back(std::move(next));
            }
        }
        avformat_close_input(&file);
    }

    /// When the last picture appears, in seconds.
    double lastPicture() const { return frames.empty() ? 0 : static_cast<double>(frames.back()->pts) / 1000; }

    /// How close the last picture's brightness is to that of an image, in decibels.
    double likeness(const QImage& image) const
    {
        double sum = 0.1;
        for (int y = 0; y < image.height() && !frames.empty(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb pixel = image.pixel(x, y);
                const double wanted = 0.299 * qRed(pixel) + 0.587 * qGreen(pixel) + 0.114 * qBlue(pixel);
                const double luma = frames.back()->data[0][y * frames.back()->linesize[0] + x];
                sum += std::pow(255.0 / 219.0 * (luma - 16.0) - wanted, 2.0);
            }
        }
        return frames.empty() ? 0.0 : 10 * std::log10(255.0 * 255.0 * image.width() * image.height() / sum);
    }
};

} // namespace Zendra::Tests
