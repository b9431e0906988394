// The commands 'record' and 'convert', and scripts that are recorded, on real X servers.

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include <QElapsedTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "movie.h"
#include "recordingtest.h"

#include <X11/Xlib.h>

namespace Zendra::Tests
{

namespace
{

using namespace std::chrono_literals;

QElapsedTimer startedClock()
{
    QElapsedTimer clock;
    clock.start();
    return clock;
}

double secondsOf(const QElapsedTimer& clock)
{
    return static_cast<double>(clock.elapsed()) / 1000;
}

class Recordings : public RecordingTest
{
protected:
    Recordings()
        : RecordingTest(withScreens({"320x240x24"}))
    {
        XSetWindowAttributes attributes {};
        attributes.override_redirect = True;
        m_window = XCreateWindow(m_connection, DefaultRootWindow(m_connection.get()), 0, 0, 320, 240, 0,
            CopyFromParent, InputOutput, nullptr, CWOverrideRedirect, &attributes);
        XMapRaised(m_connection, m_window);
        draw();
    }

    /// Draws on the screen for a third of a second.
    void draw()
    {
        GC context = DefaultGC(m_connection.get(), 0);
        for (int step = 0; step < 30; ++step) {
            m_colour = m_colour * 1103515245 + 12345;
            XSetForeground(m_connection, context, m_colour & 0xffffff);
            XFillRectangle(m_connection, m_window, context, static_cast<int>(m_colour >> 8 & 0xff),
                static_cast<int>(m_colour >> 16 & 0x7f), 60, 40);
            m_connection.sync();
            std::this_thread::sleep_for(12ms);
        }
    }

    Window m_window = None;
    unsigned int m_colour = 1;
};

TEST_F(Recordings, ShowTheScreenForItsTime)
{
    for (const auto& [name, format] : std::initializer_list<std::pair<const char*, const char*>> {
             {"a.mp4", "h264"}, {"b.mp4", "rle"}, {"c.mkv", "h264"}, {"d.MKV", "rle"}}) {
        const QElapsedTimer clock = startedClock();
        const double shortLength
            = seconds(zendra(m_server, {"--json", "record", "--for", "0.5", "--format", format, path(name)}));
        EXPECT_GE(shortLength, 0.5) << name;
        EXPECT_LE(shortLength, secondsOf(clock)) << name;
        ZendraCommand command({"--json", "record", "--format", format, path(name)}, &m_server);
        ASSERT_TRUE(grows(name));
        draw();
        const QImage end = screenshot();
        // A picture that stays is repeated every half second.
        EXPECT_TRUE(waitFor([&end, file = path(name)] {
            const Movie movie(file);
            return movie.frames.size() >= 3 && movie.likeness(end) > 25;
        })) << name;
        command.signal(SIGINT);
        const double length = seconds(command.outcome());
        const Movie movie(path(name));
        EXPECT_NEAR(movie.seconds, length, 0.1) << name;
        EXPECT_GT(movie.likeness(end), 25.0) << name;
    }
}

TEST_F(Recordings, LoseNothingInAZrleFileAndBecomeAnythingElse)
{
    ZendraCommand command({"--json", "record", path("a.zrle")}, &m_server);
    ASSERT_TRUE(grows("a.zrle"));
    draw();
    EXPECT_TRUE(waitFor([&] { return lastPicture("a.zrle") == screenshot(); }));
    command.signal(SIGINT);
    const double length = seconds(command.outcome());
    EXPECT_EQ(lastPicture("a.zrle"), screenshot());
    expectFailure(zendra({"convert", path("a.zrle"), path("pictures")}), 1, "the folder is not empty");
    for (const char* name : {"a.mp4", "a.mkv"}) {
        EXPECT_NEAR(seconds(zendra({"--json", "convert", path("a.zrle"), path(name)})), length, 0.1);
        EXPECT_NEAR(Movie(path(name)).seconds, length, 0.1);
        EXPECT_GT(Movie(path(name)).likeness(screenshot()), 25.0);
    }
    expectDone(zendra({"convert", path("a.zrle"), path("a.gif")}));
    EXPECT_EQ(QImage(m_folder.filePath(QStringLiteral("a.gif"))).size(), QSize(320, 240));
    // A file without its end is a failure, but what could be read is there.
    std::filesystem::resize_file(path("a.zrle"), std::filesystem::file_size(path("a.zrle")) - 17);
    expectFailure(
        zendra({"convert", path("a.zrle"), path("b.mp4")}), 1, "it ends in the middle of a message");
    EXPECT_GT(Movie(path("b.mp4")).seconds, 0.2);
}

TEST_F(Recordings, OfAStillScreenEndWithASignal)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ZendraCommand movie({"--json", "record", path("a.mp4")}, &m_server);
        ZendraCommand stream({"--json", "record", path("a.zrle")}, &m_server);
        ASSERT_TRUE(grows("a.mp4") && grows("a.zrle"));
        const QElapsedTimer clock = startedClock();
        expectFailure(zendra(m_server, {"record", path("a.zrle")}), 1, "another process is writing it");
        EXPECT_TRUE(waitFor([&] { return Movie(path("a.mp4")).lastPicture() > 0.9; }));
        const double least = secondsOf(clock);
        movie.signal(signal);
        stream.signal(signal);
        EXPECT_GE(seconds(movie.outcome()), least);
        EXPECT_GE(seconds(stream.outcome()), least);
        EXPECT_GE(Movie(path("a.mp4")).seconds, least);
        std::filesystem::remove(path("a.mp4"));
        std::filesystem::remove(path("a.zrle"));
    }
}

TEST_F(Recordings, SurviveTheEndOfTheServerAndOfTheProcess)
{
    for (const bool isServer : {false, true}) {
        auto server = std::make_unique<XServer>();
        ZendraCommand movie({"record", "--format", "h264", path("a.mkv")}, server.get());
        ZendraCommand stream({"record", path("a.zrle")}, server.get());
        ZendraCommand script({"script", "--record", path("b.mp4"), "-"}, server.get(), "wait 60000\n");
        for (const char* name : {"a.mkv", "a.zrle", "b.mp4"})
            ASSERT_TRUE(grows(name));
        for (const char* name : {"a.mkv", "b.mp4"})
            ASSERT_TRUE(waitFor([&] { return Movie(path(name)).lastPicture() > 0.9; }));
        if (isServer)
            server.reset();
        for (ZendraCommand* command : {&movie, &stream, &script}) {
            command->signal(isServer ? 0 : SIGKILL);
            const Outcome outcome = command->outcome();
            if (isServer)
                expectFailure(outcome, 4, "was lost");
        }
        EXPECT_GT(Movie(path("a.mkv")).lastPicture(), 0.9);
        EXPECT_GT(Movie(path("b.mp4")).lastPicture(), 0.9);
        EXPECT_EQ(lastPicture("a.zrle").size(), QSize(800, 600));
        for (const char* name : {"a.mkv", "a.zrle", "b.mp4"})
            std::filesystem::remove(path(name));
    }
}

TEST_F(Recordings, SayWhatIsWrongWithTheFile)
{
    expectFailure(
        zendra({"record", "a.avi"}), 2, "Unsupported file extension of 'a.avi'; use .mp4, .mkv or .zrle");
    expectFailure(zendra({"record", "--format", "h264", "a.zrle"}), 2, "A .zrle file holds the format rle");
    expectFailure(zendra({"script", "--record", "a.gif", "-"}), 2, "'zendra convert' makes a GIF");
    expectFailure(zendra({"convert", "a.mp4", "a.gif"}), 2, "'a.mp4' is not a .zrle file");
    expectFailure(zendra({"convert", "a.zrle", "a.webm"}), 2, "use .mp4, .mkv, .gif, or a folder");
    for (const char* name : {"full.mp4", "full.mkv", "full.zrle"}) {
        std::filesystem::create_symlink("/dev/full", path(name));
        expectFailure(zendra(m_server, {"record", path(name)}), 1,
            "Cannot write '" + path(name) + "': No space left on device");
        expectFailure(zendra(m_server, {"record", path("none/") + name}), 1,
            "Cannot write '" + path("none/") + name + "': No such file or directory");
    }
    const XServer without(withoutExtension("DAMAGE"));
    for (const char* name : {"a.mp4", "a.zrle"})
        expectFailure(zendra(without, {"record", path(name)}), 1, "does not support the XDamage extension");
    EXPECT_FALSE(std::filesystem::exists(path("a.mp4")) || std::filesystem::exists(path("a.zrle")));
    EXPECT_THAT(zendra(without, {"info"}).output, testing::HasSubstr("not possible: DAMAGE missing"));
}

TEST_F(Recordings, OfScriptsShowTheirRun)
{
    const std::string script
        = "highlight 20,30,100,80 --for 0.4\nwait 700\nhighlight 10,10,40,40 --for 0.3\n";
    constexpr double least = 1.4; // what the script waits
    QElapsedTimer clock = startedClock();
    const double length
        = seconds(zendra(m_server, {"--json", "script", "--record", path("a.zrle"), "-"}, script));
    EXPECT_GE(length, least);
    EXPECT_LE(length, secondsOf(clock));
    EXPECT_EQ(lastPicture("a.zrle"), screenshot());

    clock.restart();
    const Outcome failing = zendra(
        m_server, {"script", "--record", path("a.mp4"), "-"}, script + "send-to nobody x\nwait 60000\n");
    expectFailure(failing, 1, "standard input:4: Could not find a window");
    EXPECT_GE(Movie(path("a.mp4")).seconds, least);
    EXPECT_LE(Movie(path("a.mp4")).seconds, secondsOf(clock));
    EXPECT_GT(Movie(path("a.mp4")).likeness(screenshot()), 25.0);

    const Outcome outcome
        = zendra(m_server, {"script", "--record", path("b.mkv"), "-"}, "step One\nwait 300\nchapter Two\n");
    expectDone(outcome, "One\n");
    const auto chapters = Movie(path("b.mkv")).chapters;
    ASSERT_EQ(chapters.size(), 2U);
    EXPECT_EQ(chapters[0].first + chapters[1].first, "OneTwo");
    EXPECT_GE(chapters[1].second - chapters[0].second, 0.29);

    std::filesystem::create_symlink("/dev/full", path("full.mp4"));
    expectFailure(zendra(m_server, {"script", "--record", path("full.mp4"), "-"}, script), 1,
        "full.mp4': No space left on device");
}

} // namespace

} // namespace Zendra::Tests
