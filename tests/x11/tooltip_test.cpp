// Tooltips: their lines, their text where there are fonts to draw it smoothly, and their place.

#include <gtest/gtest.h>

#include <cstring>

#include "tooltip.h"
#include "tooltip_x11.h"

#include <X11/Xft/Xft.h>
#include <X11/Xlib.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

/// The lines of a text, each between bars.
std::string wrapped(const QString& characters, int width = 80)
{
    std::string lines;
    for (const QString& line : softwrap(characters, width))
        lines += (lines.empty() ? "|" : "") + text(line) + '|';
    return lines;
}

/// The size of a text in the font that tooltips use.
QSize measured(Display* display, const char* characters)
{
    XftFont* font
        = XftFontOpen(display, 0, XFT_FAMILY, XftTypeString, "sans", XFT_SIZE, XftTypeDouble, 10.0, nullptr);
    if (font == nullptr) {
        ADD_FAILURE() << "There are no fonts (is a font package installed?)";
        return {};
    }
    XGlyphInfo extents {};
    XftTextExtentsUtf8(display, font, reinterpret_cast<const FcChar8*>(characters),
        static_cast<int>(std::strlen(characters)), &extents);
    XftFontClose(display, font);
    return {extents.width, extents.height};
}

using Tooltips = TooltipTest;

} // namespace

TEST(SoftWrap, FillsLinesWithWholeWords)
{
    EXPECT_EQ(wrapped({}), "");
    EXPECT_EQ(wrapped(QStringLiteral("   ")), "");
    EXPECT_EQ(wrapped(QStringLiteral(" one  two ")), "|one two |");
    EXPECT_EQ(wrapped(QStringLiteral("one\ttwo\nthree four")), "|one\ttwo\nthree four |");
    // Four letters, a blank and five more fit ten columns, together with the blank that is one too many.
    EXPECT_EQ(wrapped(QStringLiteral("abcd efghi jk"), 10), "|abcd efghi |jk |");
    EXPECT_EQ(wrapped(QStringLiteral("abcd efghij k"), 10), "|abcd |efghij k |");
    EXPECT_EQ(wrapped(QStringLiteral("abcdefghij k"), 10), "|abcdefghij |k |");
}

TEST_F(Tooltips, AreDrawnInBlackWithRoomRoundTheText)
{
    Tooltip tooltip(session, observer);
    for (const char* characters : {"Save", "Grüße, ű и Ω: gjpqy ÅŐ", "___", "two\nlines are one"}) {
        SCOPED_TRACE(characters);
        const QSize size = measured(session.display(), characters);
        const int room = size.height() / 4;
        tooltip.setText(characters);
        EXPECT_EQ(tooltip.place(), QRect(QPoint(0, 0), size + QSize(2 * room, 2 * room)));

        const QImage image = tooltip.image();
        const QRect drawn(QPoint(room, room), size);
        const QRect ink = inkOf(image);
        EXPECT_EQ(ink | drawn, drawn);
        EXPECT_EQ(ink.adjusted(-1, -1, 1, 1) | drawn, ink.adjusted(-1, -1, 1, 1)); // edges may be faint
    }
}

TEST_F(Tooltips, AreNoWiderThanADrawable)
{
    Tooltip tooltip(session, observer);
    tooltip.setText(std::string(4'000, 'M'));
    EXPECT_EQ(tooltip.place().width(), 32767);
}

TEST_F(Tooltips, FollowThePointerOrStayOnEachScreen)
{
    for (const int screen : {0, 1}) {
        SCOPED_TRACE(screen);
        Tooltip tooltip(session, observer, screen);
        tooltip.setText("Here");
        const QSize size = tooltip.place().size();
        const QImage image = tooltip.image();
        EXPECT_FALSE(inkOf(image).isNull());

        session->pointerWarp({200, 100, screen});
        tooltip.highlighter.setToolTipMode(WidgetHighlighter::FollowPointer);
        tooltip.highlighter.updateToolTip();
        EXPECT_EQ(tooltip.place(), QRect(QPoint(200, 105), size));
        session->pointerWarp({250, 120, screen});
        tooltip.highlighter.show();
        EXPECT_EQ(tooltip.place(), QRect(QPoint(250, 125), size));
        EXPECT_EQ(tooltip.image(), image);

        tooltip.highlighter.setToolTipMode(WidgetHighlighter::NoToolTip);
        tooltip.highlighter.updateToolTip();
        EXPECT_FALSE(tooltip.isVisible());
    }
}
