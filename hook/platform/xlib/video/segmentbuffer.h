#pragma once

#include <QByteArray>
#include <QtEndian>

#include <zendra/binarystream.h>

namespace Zendra
{

/// Collects 32-bit words, most significant byte first, and hands them to a stream in segments of one size.
class SegmentBuffer
{
public:
    static constexpr unsigned int capacity = 13312; ///< words, 53,248 bytes

    /// The stream stays the caller's.
    explicit SegmentBuffer(BinaryStream* stream);

    void write(quint32 word)
    {
        // Still full when the stream did not take the segment.
        if (m_count == capacity)
            handOver();
        m_cursor[m_count++] = qToBigEndian(word);
        if (m_count == capacity)
            handOver();
    }

    /// Whether the segment takes so many words without being handed over.
    bool hasRoom(unsigned int count) const { return m_count + count < capacity; }
    /// Where words may be stored in big-endian order, for stored() to count them in.
    quint32* room() { return m_cursor + m_count; }
    void stored(unsigned int count) { m_count += count; }

    /// Hands over what there is of a segment.
    void flush();

private:
    Q_DISABLE_COPY(SegmentBuffer)

    void handOver();
    void restart();

    BinaryStream* m_stream;
    QByteArray m_buffer; ///< of full size, never shared while it is written
    quint32* m_cursor;   ///< the buffer's own data
    unsigned int m_count = 0;
};

} // namespace Zendra
