// What films show on top of the screen: the pointer, rings where buttons go down, and captions.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "movie.h"
#include "recordingtest.h"

#include <X11/Xlib.h>

namespace Zendra::Tests
{

namespace
{

const QColor background(0, 0, 160);
const QColor cursorColour(0, 255, 0);
const QColor ringColour(229, 57, 53);
constexpr int ringRadius = 14;

/// A screen of one colour, with a square of 16 pixels as its pointer.
class Films : public RecordingTest
{
protected:
    Films()
        : RecordingTest(withScreens({"320x240x24", "320x240x24"}))
    {
        for (int screen = 0; screen < 2; ++screen) {
            const Window root = RootWindow(m_connection.get(), screen);
            XSetWindowBackground(m_connection, root, background.rgb() & 0xffffff);
            XClearWindow(m_connection, root);
            const std::vector<char> ones(32, '\xff');
            const Pixmap square = XCreateBitmapFromData(m_connection, root, ones.data(), 16, 16);
            XColor green {0, 0, 0xffff, 0, DoRed | DoGreen | DoBlue, 0};
            XDefineCursor(
                m_connection, root, XCreatePixmapCursor(m_connection, square, square, &green, &green, 8, 8));
        }
        m_connection.sync();
    }

    Movie film(const char* name, const std::string& script, const Words& options = {}) const
    {
        Words words {"script", "--record", path(name)};
        words.insert(words.end(), options.begin(), options.end());
        words.emplace_back("-");
        EXPECT_EQ(zendra(m_server, words, script).status, 0);
        return Movie(path(name));
    }
};

TEST_F(Films, ShowThePointerAndWhereItClicks)
{
    const QPoint first(100, 60);
    const QPoint second(200, 160);
    const QPoint right(ringRadius, 0);
    const std::string script
        = "warp 100 60\nwait 200\nclick\nwait 200\nwarp 200 160\nwait 900\nwarp 201 160\n";
    const Movie movie = film("a.mkv", script);
    EXPECT_TRUE(movie.shows({{first, cursorColour}, {first + right, background}}));
    EXPECT_TRUE(movie.shows({{first, cursorColour}, {first + right, ringColour}}));
    EXPECT_TRUE(movie.shows({{second, cursorColour}, {first + right, ringColour}, {first, background}}))
        << "the ring stays where the button went down";
    EXPECT_TRUE(movie.shows({{second, cursorColour}, {first + right, background}, {first, background}}));
    EXPECT_FALSE(movie.shows({{second, cursorColour}, {first, cursorColour}}));
    const Movie without = film("b.mkv", script, {"--no-pointer"});
    EXPECT_TRUE(without.shows({{first, background}}));
    EXPECT_FALSE(without.shows({{first, cursorColour}}) || without.shows({{first + right, ringColour}}));
    expectDone(zendra(m_server, {"script", "--record", path("a.zrle"), "-"}, script));
    EXPECT_EQ(lastPicture("a.zrle"), screenshot()) << "without the pointer";
}

TEST_F(Films, ShowNoPointerOfAnotherScreenAndNoHiddenOne)
{
    const Movie movie = film("a.mkv", "warp 50 50\nwait 200\nwarp 90 90 --screen 1\nclick\nwait 200\n");
    EXPECT_TRUE(movie.shows({{{50, 50}, cursorColour}}));
    EXPECT_TRUE(movie.shows({{{50, 50}, background}}));
    EXPECT_FALSE(
        movie.shows({{{90, 90}, cursorColour}}) || movie.shows({{{90 + ringRadius, 90}, ringColour}}));
    const Pixmap none
        = XCreateBitmapFromData(m_connection, DefaultRootWindow(m_connection.get()), "\0\0", 8, 2);
    XColor black {};
    XDefineCursor(m_connection, DefaultRootWindow(m_connection.get()),
        XCreatePixmapCursor(m_connection, none, none, &black, &black, 0, 0));
    m_connection.sync();
    EXPECT_FALSE(film("b.mkv", "warp 50 50\nwait 200\n").shows({{{50, 50}, cursorColour}}));
}

TEST_F(Films, ShowClicksFromInsideAnApplication)
{
    const Movie movie = film("a.mkv", "start --hook -- " ZENDRA_EXAMPLE_FORM "\nclick 100 60\nwait 300\n");
    EXPECT_TRUE(movie.shows({{{100 + ringRadius, 60}, ringColour}}));
}

TEST_F(Films, HaveNoMorePicturesThanTheRateAllows)
{
    std::string script;
    for (int step = 0; step < 300; ++step)
        script += "warp " + std::to_string(step % 200) + " 90\nwait 5\n";
    const Movie movie = film("a.mkv", script);
    EXPECT_GT(movie.frames.size(), 10U);
    for (std::size_t i = 1; i + 1 < movie.frames.size(); ++i)
        EXPECT_GE(movie.frames[i]->pts - movie.frames[i - 1]->pts, 39) << i;
}

TEST_F(Films, ShowAPartOfTheScreen)
{
    ZendraCommand command({"record", "--area", "100,60,80,40", path("a.mkv")}, &m_server);
    ASSERT_TRUE(grows("a.mkv"));
    expectDone(zendra(m_server, {"warp", "104", "64"}));
    m_connection.fill(0xff0000, 150, 80, 10, 10);
    m_connection.sync();
    EXPECT_TRUE(waitFor([&] {
        return Movie(path("a.mkv")).shows({{{4, 4}, cursorColour}, {{55, 25}, QColor(255, 0, 0)}});
    }));
    command.signal(SIGINT);
    EXPECT_EQ(command.outcome().status, 0);
    EXPECT_EQ(Movie(path("a.mkv")).frames.at(0)->width, 80);
    expectFailure(zendra(m_server, {"record", "--area", "900,0,9,9", path("b.mkv")}), 1, "not on the screen");
    for (const char* option : {"--captions", "--area=0,0,9,9"})
        expectFailure(zendra({"record", option, "a.zrle"}), 2, "A .zrle file holds the screen as it is");
    expectFailure(zendra({"script", "--captions", "-"}), 2, "--no-pointer and --captions need --record");
}

TEST_F(Films, HaveCaptions)
{
    const QPoint box(160, 229);
    const QColor dark(0, 0, 34); // 200 of 255 black
    EXPECT_FALSE(film("a.mkv", "step 'Log in'\nkeys abc\nwait 200\n").shows({{box, dark}}));
    const Movie movie = film("b.mkv", "wait 200\nstep 'Log in'\nkeys abc\nwait 200\n", {"--captions"});
    EXPECT_TRUE(movie.shows({{box, background}}));
    EXPECT_TRUE(movie.shows({{box, dark}}));
}

TEST_F(Films, AndScreenshotsShowThePointer)
{
    expectDone(zendra(m_server, {"warp", "50", "40"}));
    expectDone(zendra(m_server, {"screenshot", "--pointer", "--area", "40,30,100,90", path("a.png")}));
    const QImage image(m_folder.filePath(QStringLiteral("a.png")));
    EXPECT_EQ(image.pixelColor(10, 10), cursorColour);
    EXPECT_EQ(image.pixelColor(17, 10), cursorColour);
    EXPECT_EQ(image.pixelColor(18, 10), background);
    expectDone(zendra(m_server, {"screenshot", path("b.png")}));
    EXPECT_EQ(QImage(m_folder.filePath(QStringLiteral("b.png"))).pixelColor(50, 40), background);
}

} // namespace

} // namespace Zendra::Tests
