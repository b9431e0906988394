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

    /// The caller owns the stream.
    explicit SegmentBuffer(BinaryStream* stream);

    void write(quint32 word)
    {
        // Still full if the stream did not accept the segment.
        if (m_count == capacity)
            handOver();
        m_cursor[m_count++] = qToBigEndian(word);
        if (m_count == capacity)
            handOver();
    }

    /// Whether the segment has room for this many words.
    bool hasRoom(unsigned int count) const { return m_count + count < capacity; }
    /// Where words can be stored in big-endian order before a call of stored().
    quint32* room() { return m_cursor + m_count; }
    void stored(unsigned int count) { m_count += count; }

    /// Sends an incomplete segment.
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
