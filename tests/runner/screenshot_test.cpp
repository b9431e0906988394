// The command 'screenshot': files, pixels, and what becomes of files that cannot be written.

#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QImage>
#include <QTemporaryDir>

#include "zendracommand.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Tests
{

namespace
{

constexpr int width = 120;
constexpr int height = 90;

/// A colour that no other pixel of the pattern has.
unsigned int patternColour(int x, int y)
{
    return static_cast<unsigned int>((x * 2) << 16 | (y * 2) << 8 | ((x * 31 + y * 17) & 0xff));
}

/// Covers the screen with the pattern. It goes away with the connection.
void drawPattern(const Connection& connection)
{
    Display* display = connection;
    const Window root = DefaultRootWindow(display);
    XSetWindowAttributes attributes {};
    attributes.override_redirect = True;
    const Window window = XCreateWindow(display, root, 0, 0, width, height, 0, CopyFromParent, InputOutput,
        nullptr, CWOverrideRedirect, &attributes);
    XMapRaised(display, window);
    XImage* image = XGetImage(display, root, 0, 0, width, height, AllPlanes, ZPixmap);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            XPutPixel(image, x, y, patternColour(x, y));
    }
    XPutImage(display, window, DefaultGC(display, 0), image, 0, 0, 0, 0, width, height);
    XDestroyImage(image);
    connection.sync();
}

std::string contentOf(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// How many pixels are not those of the pattern from `left`, `top` on.
int strangePixels(const QImage& image, int left = 0, int top = 0)
{
    int strange = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            strange += image.pixel(x, y) != (0xff000000U | patternColour(left + x, top + y)) ? 1 : 0;
    }
    return strange;
}

class Screenshots : public testing::Test
{
protected:
    Screenshots()
        : m_server(withScreens({"120x90x24"}))
        , m_connection(m_server)
    {
        drawPattern(m_connection);
    }

    std::string path(const char* name) const { return m_folder.filePath(QLatin1String(name)).toStdString(); }

    QImage taken(const char* name, const Words& options = {}) const
    {
        Words words {"screenshot", path(name)};
        words.insert(words.end(), options.begin(), options.end());
        expectDone(zendra(m_server, words));
        return QImage(m_folder.filePath(QLatin1String(name)));
    }

    /// What is in the folder.
    Words files() const
    {
        Words names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.path().toStdString()))
            names.push_back(entry.path().filename());
        return names;
    }

    const QTemporaryDir m_folder;
    const XServer m_server;
    const Connection m_connection;
};

TEST_F(Screenshots, TheEndingNamesTheFormat)
{
    struct Format {
        const char* name;
        const char* signature;
    };
    for (const Format& format : {Format {"a.png", "\x89PNG\r\n\x1a\n"}, {"a.PNG", "\x89PNG\r\n\x1a\n"},
             {"a.jpg", "\xff\xd8\xff"}, {"a.jpeg", "\xff\xd8\xff"}, {"a.bmp", "BM"}}) {
        EXPECT_EQ(taken(format.name).size(), QSize(width, height)) << format.name;
        EXPECT_THAT(contentOf(path(format.name)), testing::StartsWith(format.signature));
    }
    EXPECT_EQ(files().size(), 5U);
    expectFailure(zendra({"screenshot", "a.gif"}), 2, "Unsupported file extension of 'a.gif'");
    expectFailure(zendra({"screenshot", "png"}), 2, "Unsupported file extension of 'png'");
}

TEST_F(Screenshots, ShowAPartOfTheScreen)
{
    const QImage part = taken("a.png", {"--area", "10,20,30,40"});
    EXPECT_EQ(part.size(), QSize(30, 40));
    EXPECT_EQ(strangePixels(part, 10, 20), 0);

    EXPECT_EQ(strangePixels(taken("b.bmp")), 0);
    expectFailure(zendra(m_server, {"screenshot", "--area", "120,0,5,5", path("d.png")}), 1,
        "Specified area lies outside the desktop bounds");
    EXPECT_EQ(files().size(), 2U);
}

TEST_F(Screenshots, GoToStandardOutputToo)
{
    taken("a.png");
    expectDone(zendra(m_server, {"screenshot", "-"}), contentOf(path("a.png")));
    expectFailure(shell(m_server, "\"$zendra\" screenshot - >/dev/full"), 1,
        "Cannot write to standard output: No space left on device");
}

TEST_F(Screenshots, InJsonNameTheirFile)
{
    const std::string file = path("a.png");
    expectDone(zendra(m_server, {"--json", "screenshot", file}),
        "{\"file\":\"" + file + "\",\"height\":90,\"width\":120}\n");
    const Outcome outcome = zendra(m_server, {"--json", "screenshot", "-"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(outcome.output, testing::StartsWith("{\"error\":\"--json cannot be combined with a picture"));
}

TEST_F(Screenshots, ReplaceAFileAsAWholeOrNotAtAll)
{
    std::ofstream(path("old.bmp")) << "old";
    taken("real.png");
    std::filesystem::create_symlink("real.png", path("link.png"));

    // Half a picture fits.
    expectFailure(shell(m_server, "ulimit -f 16; \"$zendra\" screenshot " + path("old.bmp")), 1,
        "Cannot write '" + path("old.bmp") + "': File too large");
    EXPECT_EQ(contentOf(path("old.bmp")), "old");

    EXPECT_FALSE(taken("old.bmp").isNull());
    EXPECT_FALSE(taken("link.png", {"--area", "0,0,9,9"}).isNull());
    EXPECT_TRUE(std::filesystem::is_symlink(path("link.png")));
    EXPECT_EQ(QImage(QString::fromStdString(path("real.png"))).width(), 9);
    EXPECT_THAT(files(), testing::UnorderedElementsAre("old.bmp", "real.png", "link.png"));
}

TEST_F(Screenshots, TellWhereTheyCannotBeWritten)
{
    std::ofstream(path("file")) << "no folder";
    std::filesystem::create_directory(path("folder.png"));
    expectFailure(zendra(m_server, {"screenshot", "/proc/a.png"}), 1, "Cannot write '/proc/a.png': ");
    expectFailure(zendra(m_server, {"screenshot", path("none/a.png")}), 1, "No such file or directory");
    expectFailure(zendra(m_server, {"screenshot", path("file/a.png")}), 1, "Not a directory");
    expectFailure(zendra(m_server, {"screenshot", path("folder.png")}), 1, "Is a directory");
    EXPECT_THAT(files(), testing::UnorderedElementsAre("file", "folder.png"));
}

TEST_F(Screenshots, GoIntoPipesAndDevicesAsTheyAre)
{
    ASSERT_EQ(mkfifo(path("pipe.png").c_str(), 0600), 0);
    const Outcome outcome = shell(
        m_server, "cat " + path("pipe.png") + "& \"$zendra\" screenshot " + path("pipe.png") + "; wait");
    expectDone(outcome, outcome.output);
    EXPECT_EQ(strangePixels(QImage::fromData(QByteArray::fromStdString(outcome.output))), 0);

    std::filesystem::create_symlink("/dev/full", path("full.png"));
    expectFailure(zendra(m_server, {"screenshot", path("full.png")}), 1,
        "Cannot write '" + path("full.png") + "': No space left on device");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    EXPECT_TRUE(std::filesystem::is_fifo(path("pipe.png")));
}

} // namespace

} // namespace Zendra::Tests
