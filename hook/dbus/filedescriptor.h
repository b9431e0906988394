#pragma once

#include <memory>

#include <unistd.h>

namespace Zendra::DBus
{

/// A file descriptor, which goes with its last copy.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    /// Takes `number` over; a negative one is none.
    explicit FileDescriptor(int number)
    {
        if (number < 0)
            return;
        m_number.reset(new int(number), [](const int* owned) {
            close(*owned);
            delete owned;
        });
    }

    bool isValid() const { return m_number != nullptr; }
    int number() const { return m_number == nullptr ? -1 : *m_number; }

private:
    std::shared_ptr<const int> m_number;
};

} // namespace Zendra::DBus
