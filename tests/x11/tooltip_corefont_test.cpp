// Tooltips where fontconfig knows no fonts: wrapped lines in a font of the server. The process has to begin
// like that, so that this is a program of its own.

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "tooltip.h"

#include <X11/Xlib.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

class CoreFontTooltip : public TooltipTest
{
protected:
    CoreFontTooltip()
    {
        QFile file(m_folder.filePath(QStringLiteral("fonts.conf")));
        file.open(QIODevice::WriteOnly);
        file.write("<?xml version=\"1.0\"?><fontconfig/>");
        qputenv("FONTCONFIG_FILE", file.fileName().toLocal8Bit());
    }
    ~CoreFontTooltip() override { XFreeFont(observer, m_font); }

    int widthOf(const std::string& characters) const
    {
        return XTextWidth(m_font, characters.data(), static_cast<int>(characters.size()));
    }

    /// Expects a tooltip with so many lines in that width.
    void expectLines(const std::string& characters, int lines, int width)
    {
        SCOPED_TRACE(characters);
        const int lineHeight = m_font->ascent + m_font->descent;
        tooltip.setText(characters);
        EXPECT_EQ(tooltip.place(), QRect(0, 0, width, lineHeight * lines + 3));
        for (int line = 0; line < lines; ++line)
            EXPECT_FALSE(inkOf(tooltip.image().copy(0, line * lineHeight, width, lineHeight)).isNull())
                << line;
    }

    Tooltip tooltip {session, observer};

private:
    static XFontStruct* loadFont(Display* display)
    {
        XFontStruct* font = XLoadQueryFont(display, "6x10");
        return font != nullptr ? font : XLoadQueryFont(display, "fixed");
    }

    QTemporaryDir m_folder;
    XFontStruct* m_font = loadFont(observer);
};

} // namespace

TEST_F(CoreFontTooltip, WrapsItsTextAtEightyColumns)
{
    expectLines("one two", 1, widthOf("one two"));
    expectLines("one  two ", 1, widthOf("one two "));
    // Words of nine letters: eight of them, with their blanks, are eighty characters.
    std::string words;
    for (int i = 0; i < 20; ++i)
        words += "wonderful ";
    expectLines(words, 3, widthOf(words.substr(0, 80)));
    const std::string longWord(90, 'x');
    expectLines("a " + longWord + " b", 3, widthOf(longWord));
}

TEST_F(CoreFontTooltip, ABlankTextIsASinglePixel)
{
    tooltip.setText("   ");
    EXPECT_EQ(tooltip.place(), QRect(0, 0, 1, 1));
    EXPECT_TRUE(inkOf(tooltip.image()).isNull());
}

TEST_F(CoreFontTooltip, ANewTextOfTheSameSizeWaitsForAnExposure)
{
    tooltip.setText("one two");
    tooltip.highlighter.setToolTipMode(WidgetHighlighter::FixedToolTip);
    tooltip.highlighter.show();
    const QImage before = tooltip.image();
    tooltip.setText("two one");
    EXPECT_EQ(tooltip.image(), before);
    tooltip.highlighter.hide();
    tooltip.highlighter.show();
    EXPECT_NE(tooltip.image(), before);
}
