#pragma once

#include <memory>

struct _XDisplay;

namespace Bench
{

struct CloseDisplay {
    void operator()(_XDisplay* display) const;
};

using DisplayPointer = std::unique_ptr<_XDisplay, CloseDisplay>;

/// A connection of its own to the display that DISPLAY names; ends the program when there is none.
DisplayPointer openDisplay();

/// One request that waits for its reply: the one that every input operation starts with.
void roundTrip(_XDisplay* display);

/// English with capitals and punctuation, 1,000 characters.
const char* text();
constexpr int textLength = 1000;

} // namespace Bench
