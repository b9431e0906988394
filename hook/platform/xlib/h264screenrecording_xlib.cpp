#include "h264screenrecording_xlib.h"

#include <exception>
#include <stdexcept>
#include <utility>

#include <QScopedValueRollback>

#include <X11/Xlib.h>

namespace Zendra::Xlib
{

namespace
{

/// The scale of the encoded picture, which may be smaller than the screen.
double scaleOfFrames(const H264ScreenRecording& recording, double displayScale)
{
    const double frameWidth = recording.frameSize().width();
    const double inputWidth = recording.inputSize().width();
    return displayScale * frameWidth / inputWidth;
}

} // namespace

H264ScreenRecording::H264ScreenRecording(Video::ScreenRecordFormat format, Display* display)
    : ScreenRecording(format, display)
    , m_compressor(getDisplaySize(display))
    , m_image(newShmImage())
{
}

H264ScreenRecording::H264ScreenRecording(Video::ScreenRecordFormat format, XDisplay* display)
    : ScreenRecording(format, display)
    , m_compressor(getDisplaySize(display->display()))
    , m_image(newShmImage())
{
}

H264ScreenRecording::~H264ScreenRecording() = default;

void H264ScreenRecording::start()
{
    ScreenRecording::start();
    m_compressor.start(this);
}

void H264ScreenRecording::sendUpdate(unsigned int milliseconds)
{
    m_clock += milliseconds;
    const unsigned char* pixels = grabRect(m_image.get(), {0, 0});
    encode([&] { m_compressor.appendFrame(pixels, m_image->bytes_per_line, m_clock); });
    // Deliberate: also what changed since the picture was taken counts as seen; it shows with the next
    // change, or when the host looks once more.
    takeDamageRegion(None);
    ScreenRecording::sendUpdate(milliseconds);
}

void H264ScreenRecording::sendNoop(unsigned int milliseconds)
{
    m_clock += milliseconds;
    encode([&] { m_compressor.repeatFrame(m_clock); });
}

/// A receiver may stop the stream while it handles a packet, but the encoder cannot be finished from within
/// its own callback.
template <typename Operation>
void H264ScreenRecording::encode(Operation operation)
{
    {
        const QScopedValueRollback<bool> encoding(m_isEncoding, true);
        operation();
    }
    if (m_delayedEnd)
        closeStream(m_delayedEnd->code, m_delayedEnd->text);
}

void H264ScreenRecording::closeStream(BinaryStream::TerminationCode code, const QString& text)
{
    if (m_isEncoding) {
        m_delayedEnd = End {code, text};
        return;
    }
    // The receiver may stop the stream again while it handles the last packets.
    if (std::exchange(m_isFinished, true))
        return;
    finish(code, text);
    ScreenRecording::closeStream(code, text);
}

void H264ScreenRecording::finish(int /*code*/, const QString& /*text*/)
{
    try {
        m_compressor.finish();
    } catch (const std::exception&) {
        // The receiver has the earlier packets, and the stream ends either way.
    }
}

XImage* H264ScreenRecording::newShmImage()
{
    XWindowAttributes root;
    if (XGetWindowAttributes(display(), DefaultRootWindow(display()), &root) == 0)
        throw std::runtime_error("Failed retrieving the display geometry");
    return ScreenRecording::newShmImage(
        {root.width, root.height}, root.visual, static_cast<unsigned int>(root.depth));
}

H264StreamScreenRecording::H264StreamScreenRecording(Display* display, double scale)
    : H264ScreenRecording(Video::H264Format, display)
    , m_producer(this)
    , m_scale(scaleOfFrames(*this, scale))
{
}

H264StreamScreenRecording::H264StreamScreenRecording(XDisplay* display, double scale)
    : H264ScreenRecording(Video::H264Format, display)
    , m_producer(this)
    , m_scale(scaleOfFrames(*this, scale))
{
}

H264StreamScreenRecording::~H264StreamScreenRecording() = default;

void H264StreamScreenRecording::start()
{
    H264ScreenRecording::start();
    m_producer.start(parameters(), 1.0F, static_cast<float>(m_scale));
}

void H264StreamScreenRecording::finish(int code, const QString& text)
{
    H264ScreenRecording::finish(code, text);
    m_producer.finish(static_cast<unsigned int>(code), text);
}

void H264StreamScreenRecording::appendPacket(AVPacket* packet)
{
    m_producer.appendPacket(packet);
}

} // namespace Zendra::Xlib
