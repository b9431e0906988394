#pragma once

#include <QtGlobal>

namespace Zendra::Xlib
{

/// A System V shared memory segment, removed with the object. Failures are thrown as std::runtime_error.
class ShmSegment
{
public:
    /// See shmget().
    ShmSegment(int key, unsigned long size, int flags);
    ~ShmSegment();

    int id() const { return m_id; }
    /// Prevents other users from attaching the segment, and marks it for removal with its last mapping, also
    /// if this process is killed.
    void restrictToAttached() const;
    void swap(ShmSegment& other) noexcept;

private:
    Q_DISABLE_COPY(ShmSegment)

    int m_id;
};

/// A segment in the memory of this process. Failures are thrown as std::runtime_error.
class ShmMapping
{
public:
    /// See shmat(); with a null `address` the system chooses one.
    ShmMapping(int segmentId, int flags, void* address);
    ShmMapping(const ShmSegment& segment, int flags, void* address);
    ~ShmMapping();

    void* address() const { return m_address; }
    void swap(ShmMapping& other) noexcept;

private:
    Q_DISABLE_COPY(ShmMapping)

    void* m_address;
};

/// Memory that other processes can map: a private segment and its mapping, of exactly the size asked for.
class ShmBuffer
{
public:
    explicit ShmBuffer(unsigned long size);

    int id() const { return m_segment.id(); }
    void* address() const { return m_mapping.address(); }
    unsigned long size() const { return m_size; }
    void restrictToAttached() const { m_segment.restrictToAttached(); }
    /// Allocates a new segment, without copying, unless the size is the same. On failure the old one stays.
    void resize(unsigned long size);
    void swap(ShmBuffer& other) noexcept;

private:
    Q_DISABLE_COPY(ShmBuffer)

    ShmSegment m_segment;
    ShmMapping m_mapping; ///< destroyed before the segment
    unsigned long m_size;
};

} // namespace Zendra::Xlib
