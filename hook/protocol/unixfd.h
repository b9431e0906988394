#pragma once

#include <memory>

#include <unistd.h>

namespace Zendra::DBus
{

/// A file descriptor in a message (UNIX_FD); closed when the last reference is dropped.
class UnixFd
{
public:
    UnixFd() = default;
    /// Takes ownership; a negative number makes an invalid one.
    explicit UnixFd(int number)
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
