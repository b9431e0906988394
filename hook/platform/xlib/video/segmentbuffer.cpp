#include "segmentbuffer.h"

namespace Zendra
{

SegmentBuffer::SegmentBuffer(BinaryStream* stream)
    : m_stream(stream)
    , m_buffer(static_cast<int>(capacity * sizeof(quint32)), '\0')
    , m_cursor(reinterpret_cast<quint32*>(m_buffer.data()))
{
}

void SegmentBuffer::flush()
{
    if (m_count > 0)
        m_stream->sendNextSegment(m_buffer.left(static_cast<int>(m_count * sizeof(quint32))));
    restart();
}

void SegmentBuffer::handOver()
{
    m_stream->sendNextSegment(m_buffer);
    restart();
}

void SegmentBuffer::restart()
{
    // The receiver may have kept the segment: data() detaches then.
    m_cursor = reinterpret_cast<quint32*>(m_buffer.data());
    m_count = 0;
}

} // namespace Zendra
