#pragma once

#include <limits>

#include <zendra/video/compressor.h>

#include "ffmpeg.h"

namespace Zendra::Video
{

/// The encoder to use: libx264, or another H.264 encoder of libavcodec. Null if there is none.
const AVCodec* findH264Encoder();

/// The lossless encoder with that name, or the best one for null. Null if there is none.
const AVCodec* findLosslessEncoder(const char* name);

/// Encodes frames with libavcodec: converted to YUV by an H.264 encoder, or as they are by a lossless one.
class H264Encoder : public Compressor::Encoder
{
public:
    explicit H264Encoder(const QSize& inputSize);
    H264Encoder(const QSize& inputSize, const AVCodec* losslessEncoder);

    QSize frameSize() const override { return m_frameSize; }
    AVCodecParameters* parameters() override { return m_parameters.get(); }
    void start(Compressor::PacketConsumer* consumer) override;
    void appendFrame(const unsigned char* pixels, int bytesPerLine, long long time) override;
    /// Does nothing before the first frame.
    void repeatFrame(long long time) override;
    void finish() override;

private:
    Q_DISABLE_COPY(H264Encoder)

    H264Encoder(const QSize& inputSize, const QSize& frameSize, const AVCodec* encoder, bool isLossless);
    void openCodec();
    void convert(const unsigned char* pixels, int bytesPerLine);
    void encodeFrame(long long time);
    void encode(const AVFrame* frame);
    void requireStart() const;

    const AVCodec* m_encoder;
    bool m_isLossless;
    QSize m_inputSize;
    QSize m_frameSize;
    FFmpegPointer<AVCodecContext> m_codec; ///< null between finish() and the next start()
    FFmpegPointer<AVCodecParameters> m_parameters;
    FFmpegPointer<AVFrame> m_frame; ///< the last frame, converted
    FFmpegPointer<AVPacket> m_packet;
    Compressor::PacketConsumer* m_consumer = nullptr; ///< null unless started
    bool m_hasFrame = false;
    long long m_lastTime = std::numeric_limits<long long>::min();
};

} // namespace Zendra::Video
