#pragma once

#include <memory>

#include <QSize>

#include <zendra/export.h>

struct AVCodecParameters;
struct AVPacket;

namespace Zendra::Video
{

/// An H.264 encoder (ITU-T H.264). The encoder itself lives in the module `zendravideo`, which is loaded with
/// the first compressor of a process.
///
/// Times are milliseconds on a monotonic clock. Failures are thrown as std::runtime_error.
class ZENDRA_EXPORT Compressor
{
public:
    /// Receives the encoded packets in order, on the thread that appends the frames.
    class ZENDRA_EXPORT PacketConsumer
    {
    public:
        /// `packet` is owned by the encoder and valid during the call only.
        virtual void appendPacket(AVPacket* packet) = 0;

    protected:
        virtual ~PacketConsumer();
    };

    /// What the module implements.
    class ZENDRA_EXPORT Encoder
    {
    public:
        virtual ~Encoder();
        virtual QSize frameSize() const = 0;
        virtual AVCodecParameters* parameters() = 0;
        virtual void start(PacketConsumer* consumer) = 0;
        virtual void appendFrame(const unsigned char* pixels, int bytesPerLine, long long time) = 0;
        virtual void repeatFrame(long long time) = 0;
        virtual void finish() = 0;
    };

    /// The signature of the entry function `zendraVideoEncoder` that the module exports with C linkage.
    using EncoderFactory = Encoder* (*)(const QSize& inputSize);
    /// That of `zendraLosslessEncoder`. `codecName` is libavcodec's name of the encoder, or null for the best
    /// one.
    using LosslessEncoderFactory = Encoder* (*)(const QSize& inputSize, const char* codecName);

    virtual ~Compressor();

    /// Starts encoding; packets go to `consumer`, which must live until finish() returned.
    void start(PacketConsumer* consumer);
    /// Ends encoding; the packets still inside the encoder go out first.
    void finish();
    /// The size of the encoded picture, even in both directions.
    QSize frameSize() const;
    /// The encoder's parameters, which it owns.
    AVCodecParameters* parameters() const;

protected:
    explicit Compressor(const QSize& inputSize);
    /// Takes ownership of the encoder.
    explicit Compressor(Encoder* encoder);
    Encoder& encoder() const { return *m_encoder; }

private:
    Q_DISABLE_COPY(Compressor)

    std::unique_ptr<Encoder> m_encoder;
};

/// Encodes frames of 32-bit pixels, 0x00RRGGBB in the machine's byte order.
class ZENDRA_EXPORT RGBCompressor : public Compressor
{
public:
    explicit RGBCompressor(const QSize& inputSize);

    QSize inputSize() const { return m_inputSize; }
    /// Encodes the frame whose top-left pixel is at `pixels`, at `time`.
    void appendFrame(const unsigned char* pixels, int bytesPerLine, long long time);
    /// Encodes the last frame again, at `time`.
    void repeatFrame(long long time);

protected:
    RGBCompressor(Encoder* encoder, const QSize& inputSize);

private:
    QSize m_inputSize;
};

/// Encodes the same frames without loss: H.264 in RGB at quantiser 0 (libx264rgb),
/// or FFV1 (RFC 9043) where libavcodec lacks that. The encoded picture has the frame's size, even or odd.
class ZENDRA_EXPORT LosslessCompressor : public RGBCompressor
{
public:
    /// `codecName` is libavcodec's name of the encoder; null for the best one.
    explicit LosslessCompressor(const QSize& inputSize, const char* codecName = nullptr);
};

} // namespace Zendra::Video
