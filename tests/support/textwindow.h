#pragma once

#include <string>

#include <sys/types.h>

#include "xserver.h"

namespace Zendra::Tests
{

/// A client in a process of its own whose window has the focus and takes text as Xlib's input method gives
/// it, in UTF-8.
class TextWindow
{
public:
    /// The client sleeps for so many milliseconds before it looks a key up.
    explicit TextWindow(const XServer& server, unsigned int delay = 0);
    ~TextWindow();
    TextWindow(const TextWindow&) = delete;
    TextWindow& operator=(const TextWindow&) = delete;

    /// Waits for so many bytes, a few seconds at the most, and returns all that have arrived.
    std::string take(std::size_t bytes);

private:
    pid_t m_process;
    int m_output;
};

} // namespace Zendra::Tests
