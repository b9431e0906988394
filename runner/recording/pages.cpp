#include "pages.h"

#include <sys/mman.h>

namespace Zendra::Runner
{

Pages::~Pages()
{
    if (m_data != nullptr)
        munmap(m_data, m_size);
}

void Pages::require(std::size_t size)
{
    if (size <= m_size)
        return;
    // What is not touched takes no memory.
    constexpr std::size_t step = 1 << 20;
    const std::size_t newSize = (size + step - 1) / step * step;
    void* data = m_data == nullptr
        ? mmap(nullptr, newSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
        : mremap(m_data, m_size, newSize, MREMAP_MAYMOVE);
    if (data == MAP_FAILED)
        qBadAlloc();
    m_data = static_cast<char*>(data);
    m_size = newSize;
}

} // namespace Zendra::Runner
