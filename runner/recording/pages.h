#pragma once

#include <cstddef>

#include <QtGlobal>

namespace Zendra::Runner
{

/// Memory that begins with a page, and grows without being copied.
class Pages
{
public:
    Pages() = default;
    ~Pages();

    char* data() const { return m_data; }
    /// Makes it hold this many bytes at least. Those that it has stay as they are.
    void require(std::size_t size);

private:
    Q_DISABLE_COPY(Pages)

    char* m_data = nullptr;
    std::size_t m_size = 0;
};

} // namespace Zendra::Runner
