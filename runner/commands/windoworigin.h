#pragma once

#include <optional>

#include <zendra/geometry.h>

#include "windowselector.h"

namespace Zendra::Runner
{

class Arguments;

/// The option --window: coordinates are relative to the upper left corner of a window without its frame.
class WindowOrigin
{
public:
    void declare(Arguments& arguments);
    /// Throws a Failure of status WrongUsage.
    void check();
    bool isGiven() const { return m_selector.has_value(); }

    /// The place on the screen. Waits for the window, and throws when it does not appear in five seconds.
    Point toScreen(Session& session, const Point& place) const;
    /// The area on the screen; of negative size for all of the window, or of the screen without the option.
    Rect toScreen(Session& session, const Rect& area) const;

private:
    Rect windowArea(Session& session) const;

    std::optional<QString> m_text;
    std::optional<WindowSelector> m_selector;
};

} // namespace Zendra::Runner
