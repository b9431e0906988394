#pragma once

#include <deque>
#include <memory>
#include <optional>

#include <QByteArray>

#include <dbus/filedescriptor.h>

namespace Zendra::Agent
{

/// A file in memory where segments of a recording lie, one behind the other, until their client acknowledges
/// them.
class SegmentRing
{
public:
    /// An update of 1920x1080 pixels, each of another colour, fits in besides the usual window.
    static constexpr unsigned int size = 16U << 20;

    /// Throws a Failure.
    SegmentRing();

    const DBus::FileDescriptor& file() const { return m_file; }
    /// Returns the position that the segment has in the file; none where there is no room for it, and it has
    /// to go another way. All segments of a recording come here, since all of them are acknowledged.
    std::optional<unsigned int> place(const QByteArray& segment);
    /// Takes back the room of so many more bytes of segments, however they went.
    void acknowledge(unsigned int count);

private:
    Q_DISABLE_COPY(SegmentRing)

    struct Segment {
        unsigned int position;
        quint64 end; ///< in the stream
    };

    struct Unmap {
        void operator()(char* memory) const;
    };

    const DBus::FileDescriptor m_file;
    std::unique_ptr<char, Unmap> m_memory;
    unsigned int m_allocated = 0;   ///< bytes of the file that have memory
    std::deque<Segment> m_segments; ///< that lie in the file
    unsigned int m_end = 0;         ///< of the last of them
    quint64 m_sent = 0;             ///< bytes of the stream
    quint64 m_acknowledged = 0;
};

} // namespace Zendra::Agent
