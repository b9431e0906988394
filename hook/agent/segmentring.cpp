#include "segmentring.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "failure.h"

namespace Zendra::Agent
{

SegmentRing::SegmentRing()
    : m_file(memfd_create("zendra-recording", MFD_CLOEXEC | MFD_ALLOW_SEALING))
{
    const int file = m_file.number();
    void* memory = file >= 0 && ftruncate(file, size) == 0
        ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0)
        : MAP_FAILED;
    if (memory != MAP_FAILED)
        m_memory.reset(static_cast<char*>(memory));
    // Neither side can take pages away from the other, which would end it.
    constexpr int seals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_FUTURE_WRITE | F_SEAL_SEAL;
    if (m_memory == nullptr || fcntl(file, F_ADD_SEALS, seals) != 0)
        throw Failure(operationFailed(), QStringLiteral("Cannot share memory: %1").arg(qt_error_string()));
}

void SegmentRing::Unmap::operator()(char* memory) const
{
    munmap(memory, size);
}

std::optional<unsigned int> SegmentRing::place(const QByteArray& segment)
{
    const auto length = static_cast<unsigned int>(segment.size());
    m_sent += length;
    // Always at the beginning when it can be: pages that were never used take no memory.
    unsigned int position = m_segments.empty() ? 0 : m_end;
    const unsigned int oldest = m_segments.empty() ? 0 : m_segments.front().position;
    bool isBeforeOldest = !m_segments.empty() && position <= oldest;
    if (!isBeforeOldest && length > size - position) {
        position = 0;
        isBeforeOldest = true;
    }
    if (length > (isBeforeOldest ? oldest : size) - position)
        return {};
    // A system that has no page left says so now; it would end the application that writes to one.
    const unsigned int end = position + length;
    if (end > m_allocated && fallocate(m_file.number(), 0, m_allocated, end - m_allocated) != 0)
        return {};
    m_allocated = std::max(m_allocated, end);
    std::copy(segment.begin(), segment.end(), &m_memory.get()[position]);
    m_end = end;
    m_segments.push_back({position, m_sent});
    return position;
}

void SegmentRing::acknowledge(unsigned int count)
{
    // More than was sent would free what comes next.
    m_acknowledged = std::min(m_acknowledged + count, m_sent);
    while (!m_segments.empty() && m_segments.front().end <= m_acknowledged)
        m_segments.pop_front();
}

} // namespace Zendra::Agent
