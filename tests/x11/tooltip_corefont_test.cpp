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
    ~CoreFontTooltip() override { XFreeFont(observer(), m_font); }

    int widthOf(const std::string& characters) const
    {
        return XTextWidth(m_font, characters.data(), static_cast<int>(characters.size()));
    }
    int lineHeight() const { return m_font->ascent + m_font->descent; }

    /// A picture of lines in the font.
    QImage drawn(const Lines& lines, QSize size) const
    {
        const Pixmap pixmap = XCreatePixmap(observer(), DefaultRootWindow(observer().get()),
            static_cast<unsigned int>(size.width()), static_cast<unsigned int>(size.height()), 24);
        const GC gc = XCreateGC(observer(), pixmap, 0, nullptr);
        XSetForeground(observer(), gc, yellow & 0xFFFFFF);
        XFillRectangle(observer(), pixmap, gc, 0, 0, static_cast<unsigned int>(size.width()),
            static_cast<unsigned int>(size.height()));
        XSetForeground(observer(), gc, 0);
        XSetFont(observer(), gc, m_font->fid);
        int baseline = 0;
        for (const std::string& line : lines) {
            baseline += lineHeight();
            XDrawString(observer(), pixmap, gc, 0, baseline, line.data(), static_cast<int>(line.size()));
        }
        QImage picture = pictureOf(observer(), pixmap, size);
        XFreeGC(observer(), gc);
        return picture;
    }

    /// Expects a tooltip with these lines in that width.
    void expectLines(const std::string& characters, const Lines& lines, int width)
    {
        SCOPED_TRACE(characters);
        tooltip.setText(characters);
        const QSize size(width, lineHeight() * static_cast<int>(lines.size()) + 3);
        EXPECT_EQ(tooltip.place(), QRect(QPoint(0, 0), size));
        EXPECT_EQ(tooltip.image(), drawn(lines, size));
    }

    Tooltip tooltip {session(), observer()};

private:
    static XFontStruct* loadFont(Display* display)
    {
        XFontStruct* font = XLoadQueryFont(display, "6x10");
        return font != nullptr ? font : XLoadQueryFont(display, "fixed");
    }

    QTemporaryDir m_folder;
    XFontStruct* m_font = loadFont(observer());
};

} // namespace

TEST_F(CoreFontTooltip, WrapsItsTextAtEightyColumns)
{
    expectLines("one two", {"one two"}, widthOf("one two"));
    expectLines("one  two ", {"one two"}, widthOf("one two "));
    // Words of nine letters: eight of them, with their blanks, are eighty characters.
    std::string words;
    for (int i = 0; i < 20; ++i)
        words += "wonderful ";
    expectLines(
        words, {words.substr(0, 80), words.substr(0, 80), words.substr(0, 40)}, widthOf(words.substr(0, 80)));
    const std::string longWord(90, 'x');
    expectLines("a " + longWord + " b", {"a", longWord, "b"}, widthOf(longWord));
}

TEST_F(CoreFontTooltip, ABlankTextIsASinglePixel)
{
    tooltip.setText("   ");
    EXPECT_EQ(tooltip.place(), QRect(0, 0, 1, 1));
    EXPECT_EQ(tooltip.image().pixel(0, 0), yellow);
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
