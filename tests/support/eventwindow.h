#pragma once

#include <string>
#include <vector>

#include "xserver.h"

namespace Zendra::Tests
{

using Lines = std::vector<std::string>;

/// A second client: a window over a whole screen that has the input focus and writes down what it receives.
///
/// The lines read "KeyPress A(38) state=1", "ButtonPress 1 @100,50 state=0", "Motion @100,50 state=0"; an
/// event that came through SendEvent ends in " sent".
class EventWindow
{
public:
    explicit EventWindow(const XServer& server, int screen = 0);

    unsigned long id() const { return m_window; }
    /// Waits until `count` events arrived (a few seconds at the most), and returns them with all that came
    /// along.
    Lines take(std::size_t count);
    /// What arrived so far. Complete when the sending client has synced with the server.
    Lines take() { return take(0); }

private:
    void collect();

    Connection m_connection;
    unsigned long m_window;
    Lines m_lines;
};

} // namespace Zendra::Tests
