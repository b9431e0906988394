#pragma once

namespace Zendra
{

/// A place on screen, in pixels of the root window.
struct Point {
    int x = 0;
    int y = 0;
    /// X screen number; -1 is the screen that the pointer is on, or the default screen. The
    /// caller checks that the display has the screen.
    int screen = -1;
};

/// An area on screen, in pixels of the root window.
struct Rect {
    int x = 0;
    int y = 0;
    int width = 0; ///< a negative width or height stands for the whole desktop where an operation says so
    int height = 0;
    int screen = -1; ///< X screen number; -1 is the default screen
};

} // namespace Zendra
