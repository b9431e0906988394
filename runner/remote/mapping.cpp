#include "mapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace Zendra::Runner
{

std::unique_ptr<Mapping> Mapping::make(int file, qint64 size, int protection, int flags)
{
    const int seals = fcntl(file, F_GET_SEALS);
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0 || size > fileSize(file))
        return nullptr;
    void* memory = mmap(nullptr, static_cast<size_t>(size), protection, flags, file, 0);
    return memory != MAP_FAILED ? std::unique_ptr<Mapping>(new Mapping(memory, size)) : nullptr;
}

Mapping::Mapping(void* memory, qint64 size)
    : m_bytes(static_cast<uchar*>(memory))
    , m_size(size)
{
}

Mapping::~Mapping()
{
    munmap(m_bytes, static_cast<size_t>(m_size));
}

qint64 fileSize(int file)
{
    struct stat status = {};
    const bool isFile = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? qint64(status.st_size) : -1;
}

} // namespace Zendra::Runner
