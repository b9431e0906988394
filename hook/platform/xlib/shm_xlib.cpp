#include "shm_xlib.h"

#include <cstdint>
#include <stdexcept>
#include <utility>

#include <sys/ipc.h>
#include <sys/shm.h>

namespace Zendra::Xlib
{

namespace
{

/// Deliberate: world-accessible until the X server, which may run as any user, has attached the segment.
constexpr int sharedWithAll = 0666;
constexpr int sharedWithNobody = 0600;

} // namespace

ShmSegment::ShmSegment(int key, unsigned long size, int flags)
    : m_id(shmget(key, size, flags))
{
    if (m_id == -1)
        throw std::runtime_error("Failed allocating shared memory segment");
}

ShmSegment::~ShmSegment()
{
    shmctl(m_id, IPC_RMID, nullptr);
}

void ShmSegment::restrictToAttached() const
{
    shmid_ds status {};
    if (shmctl(m_id, IPC_STAT, &status) == 0) {
        status.shm_perm.mode = sharedWithNobody;
        shmctl(m_id, IPC_SET, &status);
    }
    shmctl(m_id, IPC_RMID, nullptr);
}

void ShmSegment::swap(ShmSegment& other) noexcept
{
    std::swap(m_id, other.m_id);
}

ShmMapping::ShmMapping(int segmentId, int flags, void* address)
    : m_address(shmat(segmentId, address, flags))
{
    if (reinterpret_cast<std::intptr_t>(m_address) == -1)
        throw std::runtime_error("Failed mapping the shared memory segment");
}

ShmMapping::ShmMapping(const ShmSegment& segment, int flags, void* address)
    : ShmMapping(segment.id(), flags, address)
{
}

ShmMapping::~ShmMapping()
{
    shmdt(m_address);
}

void ShmMapping::swap(ShmMapping& other) noexcept
{
    std::swap(m_address, other.m_address);
}

ShmBuffer::ShmBuffer(unsigned long size)
    : m_segment(IPC_PRIVATE, size, IPC_CREAT | sharedWithAll)
    , m_mapping(m_segment, 0, nullptr)
    , m_size(size)
{
}

void ShmBuffer::resize(unsigned long size)
{
    if (size == m_size)
        return;
    ShmBuffer fresh(size);
    swap(fresh);
}

void ShmBuffer::swap(ShmBuffer& other) noexcept
{
    m_segment.swap(other.m_segment);
    m_mapping.swap(other.m_mapping);
    std::swap(m_size, other.m_size);
}

} // namespace Zendra::Xlib
