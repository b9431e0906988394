#pragma once

#include <optional>

#include <zendra/video/compressor.h>

#include "h264streamproducer.h"
#include "image_xlib.h"
#include "screenrecording_xlib.h"

namespace Zendra::Xlib
{

/// Encodes pictures of the whole screen as H.264. The subclass handles the packets.
///
/// The screen's size is fixed at construction: when it shrinks the server refuses the next picture, and the
/// stream ends with code Failed.
class H264ScreenRecording : public ScreenRecording, protected Video::Compressor::PacketConsumer
{
public:
    /// Takes ownership of the connection.
    H264ScreenRecording(Video::ScreenRecordFormat format, Display* display);
    /// Takes a reference on `display`.
    H264ScreenRecording(Video::ScreenRecordFormat format, XDisplay* display);
    ~H264ScreenRecording() override;

    void start() override;
    void sendUpdate(unsigned int milliseconds) override;
    void sendNoop(unsigned int milliseconds) override;
    void closeStream(BinaryStream::TerminationCode code, const QString& text) override;
    /// Flushes the encoder and ends the encoding. Called once, by closeStream().
    virtual void finish(int code, const QString& text);

    QSize frameSize() const { return m_compressor.frameSize(); }
    QSize inputSize() const { return m_compressor.inputSize(); }
    /// The encoder's parameters, owned by the encoder.
    AVCodecParameters* parameters() const { return m_compressor.parameters(); }

private:
    Q_DISABLE_COPY(H264ScreenRecording)

    struct End {
        BinaryStream::TerminationCode code;
        QString text;
    };

    XImage* newShmImage();
    template <typename Operation>
    void encode(Operation operation);

    Video::RGBCompressor m_compressor; ///< Deliberate: for the size that the screen has at the beginning
    long long m_clock = 10; ///< the time of the last picture in milliseconds; the first one comes after 0
    Image m_image;
    bool m_isEncoding = false;
    std::optional<End> m_delayedEnd; ///< requested by the receiver during encoding
    bool m_isFinished = false;
};

/// Records the screen as a stream of H.264 packets in the format of Video::H264StreamProducer.
class H264StreamScreenRecording : public H264ScreenRecording
{
public:
    /// Takes ownership of the connection. `scale` is the display's scale factor, 1.0 for 96 dots per inch.
    H264StreamScreenRecording(Display* display, double scale);
    /// Takes a reference on `display`.
    H264StreamScreenRecording(XDisplay* display, double scale);
    ~H264StreamScreenRecording() override;

    void start() override;
    void finish(int code, const QString& text) override;

protected:
    void appendPacket(AVPacket* packet) override;

private:
    Q_DISABLE_COPY(H264StreamScreenRecording)

    Video::H264StreamProducer m_producer;
    double m_scale;
};

} // namespace Zendra::Xlib
