#pragma once

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include <QColor>
#include <QImage>
#include <QPoint>

#include "ffmpeg.h"

namespace Zendra::Tests
{

/// The peak signal-to-noise ratio in RGB, in decibels. What the encoder added on the right and below is left
/// out.
inline double likeness(const AVFrame& frame, const QImage& original)
{
    double sum = 0.1;
    for (int i = 0; i < original.width() * original.height(); ++i) {
        const int x = i % original.width();
        const int y = i / original.width();
        const auto at = [&](int plane, int column, int row) {
            return frame.data[plane][row * frame.linesize[plane] + column];
        };
        const double luma = 255.0 / 219 * (at(0, x, y) - 16);
        const double blue = 255.0 / 224 * (at(1, x / 2, y / 2) - 128);
        const double red = 255.0 / 224 * (at(2, x / 2, y / 2) - 128);
        QRgb wanted = original.pixel(x, y);
        for (const double decoded :
            {luma + 1.772 * blue, luma - 0.344136 * blue - 0.714136 * red, luma + 1.402 * red}) {
            sum += std::pow(std::clamp(decoded, 0.0, 255.0) - (wanted & 0xFF), 2);
            wanted >>= 8;
        }
    }
    return 10 * std::log10(255 * 255 * 3.0 * original.width() * original.height() / sum);
}

/// Whether a pixel of a decoded picture has about this colour.
inline bool shows(const AVFrame& frame, int x, int y, const QColor& colour)
{
    const auto at = [&](int plane, int column, int row) {
        return frame.data[plane][row * frame.linesize[plane] + column];
    };
    const double luma = 255.0 / 219 * (at(0, x, y) - 16);
    const double blue = 255.0 / 224 * (at(1, x / 2, y / 2) - 128);
    const double red = 255.0 / 224 * (at(2, x / 2, y / 2) - 128);
    const auto isNear = [](double decoded, int wanted) { return std::abs(decoded - wanted) < 60; };
    return isNear(luma + 1.402 * red, colour.red())
        && isNear(luma - 0.344136 * blue - 0.714136 * red, colour.green())
        && isNear(luma + 1.772 * blue, colour.blue());
}

/// A movie file, decoded as far as it goes; its frames' times are milliseconds.
struct Movie {
    double seconds = 0; ///< as the container says
    std::vector<Video::FFmpegPointer<AVFrame>> frames;
    std::vector<std::pair<std::string, double>> chapters; ///< titles, and the seconds when they begin

    explicit Movie(const std::string& fileName)
    {
        AVFormatContext* file = nullptr;
        if (avformat_open_input(&file, fileName.c_str(), nullptr, nullptr) < 0)
            return;
        avformat_find_stream_info(file, nullptr);
        seconds = static_cast<double>(file->duration) / AV_TIME_BASE;
        for (unsigned i = 0; i < file->nb_chapters; ++i) {
            const AVChapter& chapter = *file->chapters[i];
            const AVDictionaryEntry* title = av_dict_get(chapter.metadata, "title", nullptr, 0);
            chapters.emplace_back(title != nullptr ? title->value : "",
                static_cast<double>(chapter.start) * av_q2d(chapter.time_base));
        }
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

    /// Whether a picture has about these colours at all of these places.
    bool shows(const std::vector<std::pair<QPoint, QColor>>& pixels) const
    {
        return std::any_of(frames.begin(), frames.end(), [&](const auto& frame) {
            return std::all_of(pixels.begin(), pixels.end(), [&](const auto& pixel) {
                return Tests::shows(*frame, pixel.first.x(), pixel.first.y(), pixel.second);
            });
        });
    }

    /// When the last picture appears, in seconds.
    double lastPicture() const { return frames.empty() ? 0 : static_cast<double>(frames.back()->pts) / 1000; }

    /// How close the last picture is to an image.
    double likeness(const QImage& image) const
    {
        return frames.empty() ? 0.0 : Tests::likeness(*frames.back(), image);
    }
};

} // namespace Zendra::Tests
