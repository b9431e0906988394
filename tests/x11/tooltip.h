#pragma once

#include <gtest/gtest.h>

#include <QImage>
#include <QRect>

#include "highlighter_x11.h"
#include "puresession.h"

namespace Zendra::Tests
{

class TooltipTest : public ::testing::Test
{
protected:
    XServer server {withScreens({"800x600x24", "640x480x24"}, {"-dpi", "96"})};
    PureSession session {server};
    Connection observer {server};
};

/// A highlighter whose tooltip stays where it is, and what another client sees of the tooltip's window.
class Tooltip
{
public:
    Tooltip(const PureSession& session, const Connection& observer, int screen = 0);

    void setText(const std::string& text) { highlighter.setToolTip(QString::fromStdString(text)); }

    bool isVisible() const;
    /// Without the border.
    QRect place() const;
    QImage image() const;

    X11WidgetHighlighter highlighter;

private:
    Display* m_display;
    const Connection& m_observer;
    XWindow m_window;
};

/// The smallest rectangle with all pixels that are not of the background.
QRect inkOf(const QImage& image);

} // namespace Zendra::Tests
