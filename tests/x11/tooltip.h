#pragma once

#include <gtest/gtest.h>

#include <memory>

#include <QImage>
#include <QRect>

#include "highlighter_x11.h"
#include "puresession.h"

namespace Zendra::Tests
{

/// One server with two screens, and one session, for all tests of a suite.
class TooltipTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();

    static PureSession& session() { return *s_session; }
    static Connection& observer() { return *s_observer; }

private:
    static std::unique_ptr<XServer> s_server;
    static std::unique_ptr<PureSession> s_session;
    static std::unique_ptr<Connection> s_observer;
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

/// The contents of a window or pixmap with 24 bits a pixel.
QImage pictureOf(Display* display, unsigned long drawable, QSize size);

constexpr QRgb yellow = 0xFFFFFF00;

} // namespace Zendra::Tests
