#pragma once

#include <cmath>
#include <string>
#include <utility>

#include <QImage>

#include "ffmpeg.h"

namespace Zendra::Tests
{

/// What a player makes of a movie file: how long it is, and its last picture.
class Movie
{
public:
    explicit Movie(const std::string& fileName)
    {
        AVFormatContext* file = nullptr;
        if (avformat_open_input(&file, fileName.c_str(), nullptr, nullptr) < 0)
            return;
        avformat_find_stream_info(file, nullptr);
        seconds = static_cast<double>(file->duration) / AV_TIME_BASE;
        Video::FFmpegPointer<AVCodecContext> codec(
            avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264)));
        avcodec_parameters_to_context(codec.get(), file->streams[0]->codecpar);
        avcodec_open2(codec.get(), nullptr, nullptr);
        const Video::FFmpegPointer<AVPacket> packet(av_packet_alloc());
        for (bool isEnd = false; !isEnd; av_packet_unref(packet.get())) {
            isEnd = av_read_frame(file, packet.get()) < 0;
            avcodec_send_packet(codec.get(), isEnd ? nullptr : packet.get());
            Video::FFmpegPointer<AVFrame> next(av_frame_alloc());
            for (; avcodec_receive_frame(codec.get(), next.get()) >= 0; next.reset(av_frame_alloc())) {
                m_last = std::move(next);
                lastPicture = static_cast<double>(m_last->pts) * av_q2d(file->streams[0]->time_base);
                ++frames;
            }
        }
        avformat_close_input(&file);
    }

    /// How close the last picture's brightness is to that of an image, in decibels.
    double likeness(const QImage& image) const
    {
        double sum = 0.1;
        for (int y = 0; y < image.height() && m_last; ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb pixel = image.pixel(x, y);
                const double wanted = 0.299 * qRed(pixel) + 0.587 * qGreen(pixel) + 0.114 * qBlue(pixel);
                const double luma = m_last->data[0][y * m_last->linesize[0] + x];
                sum += std::pow(255.0 / 219.0 * (luma - 16.0) - wanted, 2.0);
            }
        }
        return m_last ? 10 * std::log10(255.0 * 255.0 * image.width() * image.height() / sum) : 0.0;
    }

    double seconds = 0;
    double lastPicture = 0; ///< when it appears, in seconds
    int frames = 0;

private:
    Video::FFmpegPointer<AVFrame> m_last;
};

} // namespace Zendra::Tests
