#include "moviesink.h"

#include <algorithm>

extern "C" {
#include <libavcodec/packet.h>
}

namespace Zendra::Runner
{

MovieSink::MovieSink(const QString& fileName, bool isLossless)
    : m_isLossless(isLossless)
    , m_writer(Video::createMovieWriter(fileName))
{
}

MovieSink::~MovieSink() = default;

void MovieSink::show(const QImage& frame, const QRect&, qint64 time)
{
    if (!m_compressor) {
        m_compressor = m_isLossless ? std::make_unique<Video::LosslessCompressor>(frame.size())
                                    : std::make_unique<Video::RGBCompressor>(frame.size());
        m_writer->start(m_compressor->frameSize(), m_compressor->parameters());
        m_compressor->start(this);
    }
    const QImage picture = fitted(frame, m_compressor->inputSize());
    m_compressor->appendFrame(picture.constBits(), picture.bytesPerLine(), later(time));
}

/// Long gaps between pictures play badly, and a movie whose process is killed ends with its last picture.
void MovieSink::still(qint64 time)
{
    constexpr qint64 longestPause = 450;
    if (m_compressor && time - m_lastTime >= longestPause)
        m_compressor->repeatFrame(later(time));
}

void MovieSink::finish(qint64 endTime)
{
    if (!m_compressor)
        return;
    m_compressor->finish();
    m_writer->finish(later(endTime));
}

void MovieSink::appendPacket(AVPacket* packet)
{
    const auto* bytes = reinterpret_cast<const char*>(packet->data);
    m_writer->append(QByteArray(bytes, packet->size), (packet->flags & AV_PKT_FLAG_KEY) != 0, packet->pts);
}

/// The clocks of the stream and of the caller of still() may differ a little.
qint64 MovieSink::later(qint64 time)
{
    m_lastTime = std::max(time, m_lastTime + 1);
    return m_lastTime;
}

} // namespace Zendra::Runner
