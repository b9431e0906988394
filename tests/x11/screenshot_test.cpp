// Screenshots: every pixel as another program sees it, on screens of all kinds; areas, and what goes wrong.

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <set>

#include <QImage>

#include "puresession.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

constexpr Rect everything {0, 0, -1, -1};

unsigned long patternPixel(int x, int y)
{
    return static_cast<unsigned int>(x * 0x030507 + y * 0x0B3D61);
}

/// Covers the root window with all colours that it can show, no two neighbours the same.
void drawPattern(Display* display)
{
    const int screen = DefaultScreen(display);
    const Colormap colormap = DefaultColormap(display, screen);
    const bool hasOwnColours = (DefaultVisual(display, screen)->c_class & 1) != 0; // else they are fixed
    for (int i = 0; hasOwnColours && i < 256; ++i) {
        XColor colour {};
        colour.red = static_cast<unsigned short>(i * 257);
        colour.green = static_cast<unsigned short>(i * 7001);
        colour.blue = static_cast<unsigned short>(~i * 12007);
        XAllocColor(display, colormap, &colour);
    }

    const Window root = RootWindow(display, screen);
    XImage* image = XGetImage(display, root, 0, 0, static_cast<unsigned int>(DisplayWidth(display, screen)),
        static_cast<unsigned int>(DisplayHeight(display, screen)), AllPlanes, ZPixmap);
    for (int y = 0; y < image->height; ++y) {
        for (int x = 0; x < image->width; ++x)
            XPutPixel(image, x, y, patternPixel(x, y));
    }
    XPutImage(display, root, DefaultGC(display, screen), image, 0, 0, 0, 0,
        static_cast<unsigned int>(image->width), static_cast<unsigned int>(image->height));
    XDestroyImage(image);
    XSync(display, False);
}

/// A channel's share of its full strength, of 255.
int channel(unsigned long pixel, unsigned long mask)
{
    return static_cast<int>(static_cast<double>(pixel & mask) / static_cast<double>(mask) * 255 + 1e-9);
}

/// What another client sees on the screen, pixel by pixel.
QImage seen(const XServer& server)
{
    const Connection display(server);
    const Visual* visual = DefaultVisual(display.get(), 0);
    const int width = DisplayWidth(display.get(), 0);
    const int height = DisplayHeight(display.get(), 0);
    XImage* image = XGetImage(display, DefaultRootWindow(display.get()), 0, 0,
        static_cast<unsigned int>(width), static_cast<unsigned int>(height), AllPlanes, ZPixmap);
    QImage result(width, height, QImage::Format_RGB32);
    std::map<unsigned long, QRgb> palette;
    for (int i = 0; i < width * height; ++i) {
        const unsigned long pixel = XGetPixel(image, i % width, i / width);
        const auto [colour, isNew] = palette.emplace(pixel,
            qRgb(channel(pixel, visual->red_mask), channel(pixel, visual->green_mask),
                channel(pixel, visual->blue_mask)));
        if (isNew && visual->c_class < TrueColor) {
            XColor entry {};
            entry.pixel = pixel;
            XQueryColor(display, DefaultColormap(display.get(), 0), &entry);
            colour->second = qRgb(entry.red >> 8, entry.green >> 8, entry.blue >> 8);
        }
        result.setPixel(i % width, i / width, colour->second);
    }
    XDestroyImage(image);
    return result;
}

/// The pixels that occur in an image, as they are in memory.
std::set<QRgb> pixelsOf(const QImage& image)
{
    std::set<QRgb> pixels;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        pixels.insert(row, row + image.width());
    }
    return pixels;
}

struct ScreenKind {
    const char* name;
    const char* size;
    const char* visualClass;
    std::size_t colours; ///< at least so many are in the picture
};

class ScreenshotOf : public ::testing::TestWithParam<ScreenKind>
{
};

/// A screen with the pattern, and what is seen of it.
class Screenshots : public ::testing::Test
{
protected:
    Screenshots() { drawPattern(Connection(m_server)); }

    /// Where a picture lies on the screen and how large it is, "3,4 101x67", or why there is none.
    std::string taken(const Rect& area, const QImage& screen)
    {
        const Screenshot shot = m_session->desktopScreenshot(area, 0);
        if (!shot.errorText.isEmpty()) {
            EXPECT_TRUE(shot.image.isNull());
            EXPECT_TRUE(shot.transform.isIdentity());
            EXPECT_EQ(shot.scale, 1.0);
            return text(shot.errorText);
        }
        const QPoint corner = shot.transform.inverted().map(QPoint(0, 0));
        EXPECT_EQ(shot.transform.type(), corner.isNull() ? QTransform::TxNone : QTransform::TxTranslate);
        EXPECT_EQ(shot.image, screen.copy(QRect(corner, shot.image.size())));
        return std::to_string(corner.x()) + ',' + std::to_string(corner.y()) + ' '
            + std::to_string(shot.image.width()) + 'x' + std::to_string(shot.image.height());
    }

    const XServer& server() const { return m_server; }

private:
    XServer m_server {withScreens({"101x67x24"})};
    PureSession m_session {m_server};
};

const char* const outside = "Specified area lies outside the desktop bounds";

} // namespace

TEST_P(ScreenshotOf, HasThePixelsThatOthersSee)
{
    const XServer server(withScreens({GetParam().size}, {"-cc", GetParam().visualClass}));
    drawPattern(Connection(server));
    PureSession session(server);
    const Screenshot shot = session->desktopScreenshot(everything, 0);
    EXPECT_EQ(text(shot.errorText), "");
    EXPECT_EQ(shot.image.format(), QImage::Format_RGB32);
    EXPECT_EQ(shot.scale, 1.0);
    EXPECT_TRUE(shot.transform.isIdentity());
    EXPECT_EQ(shot.image, seen(server));
    const std::set<QRgb> pixels = pixelsOf(shot.image);
    EXPECT_GE(pixels.size(), GetParam().colours);
    EXPECT_GE(*pixels.begin(), 0xFF000000U);
}

INSTANTIATE_TEST_SUITE_P(Screens, ScreenshotOf,
    ::testing::Values(ScreenKind {"depth_24", "331x199x24", "4", 10000},
        ScreenKind {"depth_16", "321x200x16", "4", 10000}, ScreenKind {"palette", "323x200x8", "3", 200},
        ScreenKind {"fixed_grey", "320x200x8", "0", 200},
        ScreenKind {"true_colour_8", "320x200x8", "4", 200}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(Screenshots, AreClippedToTheScreen)
{
    const QImage screen = seen(server());
    const std::pair<Rect, const char*> areas[]
        = {{{7, 5, 13, 3}, "7,5 13x3"}, {{90, 60, 50, 50}, "90,60 11x7"}, {{-5, -6, 10, 10}, "0,0 5x4"},
            {{50, 40, -1, 7}, "0,0 101x67"}, {{50, 40, 7, -1}, "0,0 101x67"}, {{5, 5, 0, 7}, outside},
            {{5, 5, 7, 0}, outside}, {{-10, 5, 10, 7}, outside}, {{5, 67, 10, 7}, outside},
            // Corners and extents that no screen has.
            {{0, 0, INT_MAX, INT_MAX}, "0,0 101x67"}, {{INT_MIN, INT_MIN, INT_MAX, INT_MAX}, outside},
            {{100, 66, INT_MAX, INT_MAX}, "100,66 1x1"}};
    for (const auto& [area, expected] : areas) {
        EXPECT_EQ(taken(area, screen), expected)
            << area.x << ' ' << area.y << ' ' << area.width << ' ' << area.height;
    }
}
