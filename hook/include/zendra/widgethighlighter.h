#pragma once

#include <QString>

#include <zendra/export.h>
#include <zendra/geometry.h>

namespace Zendra
{

/// Marks a rectangle on screen with a frame and, on request, a tooltip.
class ZENDRA_EXPORT WidgetHighlighter
{
public:
    /// What happens to the tooltip; any value but NoToolTip and FollowPointer leaves it where it is.
    enum ToolTipMode { NoToolTip = 0, FollowPointer = 1, FixedToolTip = 2 };

    WidgetHighlighter() = default;
    virtual ~WidgetHighlighter();

    /// Moves the frame round `rect`, in screen pixels.
    virtual void setGeometry(const Rect& rect) = 0;
    /// Sets the tooltip's text; an empty text changes nothing.
    virtual void setToolTip(const QString& text) = 0;
    /// Applies the tooltip mode: hides the tooltip, moves it to the pointer, or leaves it in place.
    virtual void updateToolTip() = 0;
    virtual bool isVisible() const = 0;
    virtual void show() = 0;
    virtual void hide() = 0;

    int toolTipMode() const { return m_toolTipMode; }
    void setToolTipMode(int mode) { m_toolTipMode = mode; }

private:
    Q_DISABLE_COPY(WidgetHighlighter)

    int m_toolTipMode = NoToolTip;
};

} // namespace Zendra
