// Real applications with the hook inside: recordings, crashes, stopped processes.

#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QElapsedTimer>

#include "movie.h"
#include "process.h"
#include "recordingtest.h"

#include <X11/Xlib.h>

namespace Zendra::Tests
{

namespace
{

/// An application on a server of its own, in a runtime folder of its own.
class Hooked : public RecordingTest
{
protected:
    Hooked()
        : m_program(
            {"run", "--", ZENDRA_EXAMPLE_FORM, "--place", "0,0,560,400", "--log", path("log")}, &m_server)
    {
        EXPECT_TRUE(
            waitFor([this] { return (m_id = zendra({"apps"}).output).find(" :") != std::string::npos; }));
        m_id.erase(m_id.find(' '));
        EXPECT_TRUE(waitFor([this] { return m_connection.isPainted(); }));
    }

    ~Hooked() override { kill(process(), SIGKILL); }

    pid_t process() const { return std::stoi(m_id); }

    Words words(Words command) const
    {
        command.insert(command.begin(), {"--app", m_id});
        return command;
    }
    Outcome run(const Words& command) const { return zendra(m_server, words(command)); }
    bool logs(const char* text) const
    {
        return waitFor([&] {
            return content(m_folder.filePath(QStringLiteral("log"))).find(text) != std::string::npos;
        });
    }
    /// Fills a part of the screen with a colour that it has not had.
    void draw() { m_connection.fill(m_colour += 0x102030, 600, 450, 90, 70); }

private:
    const EnvironmentVariable m_runtime {"XDG_RUNTIME_DIR", path("")};
    ZendraCommand m_program;
    std::string m_id;
    unsigned long m_colour = 0;
};

TEST_F(Hooked, TypesAndPastesEveryCharacter)
{
    expectDone(zendra(m_server, {"clipboard", "set", "old"}));
    expectDone(run({"click", "100", "60"}));
    expectDone(run({"type", "é漢😀"}));
    EXPECT_TRUE(logs("é漢😀"));
    expectDone(zendra(m_server, {"type", "--paste", "ж한"}));
    EXPECT_TRUE(logs("é漢😀ж한"));
    expectDone(zendra(m_server, {"clipboard", "get"}), "old");
    expectFailure(zendra(m_server, {"type", "--paste=x", "a"}), 2, "'x' is not one combination");
}

TEST_F(Hooked, RecordsTwoFilesWhileAnotherCommandActs)
{
    QElapsedTimer atMost;
    atMost.start();
    ZendraCommand stream(words({"--json", "record", path("a.zrle")}), &m_server);
    ZendraCommand movie(words({"--json", "record", "--format", "h264", path("a.mkv")}), &m_server);
    ASSERT_TRUE(grows("a.zrle") && grows("a.mkv"));
    QElapsedTimer atLeast;
    atLeast.start();
    expectDone(run({"click", "100", "60"}));
    expectDone(run({"type", "xyz"}));
    draw();
    EXPECT_TRUE(waitFor([&] { return lastPicture("a.zrle") == screenshot(); }));
    const double least = static_cast<double>(atLeast.elapsed()) / 1000;
    stream.signal(SIGINT);
    movie.signal(SIGTERM);
    std::vector<double> lengths;
    for (ZendraCommand* command : {&stream, &movie}) {
        lengths.push_back(seconds(command->outcome()));
        EXPECT_GE(lengths.back(), least);
        EXPECT_LE(lengths.back(), static_cast<double>(atMost.elapsed()) / 1000);
    }
    EXPECT_NEAR(Movie(path("a.mkv")).seconds, lengths[1], 0.1);
    EXPECT_EQ(lastPicture("a.zrle"), screenshot());
    EXPECT_GT(Movie(path("a.mkv")).likeness(screenshot()), 25.0);
}

TEST_F(Hooked, CompletesRecordingsWhenTheApplicationCrashes)
{
    ZendraCommand stream(words({"record", path("a.zrle")}), &m_server);
    ZendraCommand movie(words({"record", path("a.mkv")}), &m_server);
    ZendraCommand encoded(words({"record", "--format", "h264", path("b.mkv")}), &m_server);
    ASSERT_TRUE(grows("a.zrle") && grows("a.mkv") && grows("b.mkv"));
    QElapsedTimer clock;
    clock.start();
    expectDone(run({"click", "300", "60"}));
    const double least = static_cast<double>(clock.elapsed()) / 1000;
    kill(process(), SIGSEGV);
    for (ZendraCommand* command : {&stream, &movie, &encoded})
        expectFailure(command->outcome(), 4, "The connection to application 'zendra-example-form'");
    EXPECT_GE(Movie(path("a.mkv")).seconds, least);
    EXPECT_GE(Movie(path("b.mkv")).seconds, least);
    EXPECT_EQ(lastPicture("a.zrle").size(), QSize(800, 600));
    expectDone(zendra({"convert", path("a.zrle"), path("c.mkv")}));
    EXPECT_GE(Movie(path("c.mkv")).seconds, least);
}

TEST_F(Hooked, LeavesNothingDownWhenTheApplicationIsKilled)
{
    const auto heldDown = [this](const char* text) {
        EXPECT_THAT(
            zendra(m_server, {"info"}).output, testing::HasSubstr(std::string("Held down   ") + text));
    };
    ZendraCommand script(
        words({"script", "-"}), &m_server, "press '<Shift>'\nmouse down\nwhere\nwait 20000\n");
    script.waitForOutput();
    heldDown("Shift_L, button 1;");
    kill(process(), SIGKILL);
    EXPECT_EQ(script.outcome().status, 4);
    heldDown("nothing");
    expectDone(zendra(m_server, {"press", "<Ctrl>"}));
    expectDone(zendra(m_server, {"release", "--all"}));
    heldDown("nothing");
}

TEST_F(Hooked, CanBeInterruptedWhileTheApplicationIsStopped)
{
    std::string lines = "where\nwait 10\n";
    for (int i = 0; i < 2000; ++i)
        lines += "warp 1 1\nwait 10\n";
    ZendraCommand script(words({"script", "-"}), &m_server, lines);
    ZendraCommand movie(words({"record", path("a.mkv")}), &m_server);
    script.waitForOutput();
    EXPECT_TRUE(waitFor([&] { return !Movie(path("a.mkv")).frames.empty(); }));
    kill(process(), SIGSTOP);
    for (const ZendraCommand* command : {&script, &movie})
        command->signal(SIGINT);
    const Outcome left = script.outcome();
    EXPECT_EQ(left.status, 1);
    EXPECT_THAT(left.error, testing::EndsWith("nterrupted\n"));
    EXPECT_NE(movie.outcome().status, 0);
    EXPECT_FALSE(Movie(path("a.mkv")).frames.empty());
    kill(process(), SIGCONT);
    expectDone(run({"warp", "7", "8"}));
    expectDone(run({"where"}), "7 8\n");
}

TEST_F(Hooked, WorksWhileAMenuGrabsPointerAndKeyboard)
{
    const int windows = m_connection.visibleWindows();
    expectDone(run({"click", "20", "12"}));
    EXPECT_TRUE(waitFor([&] { return m_connection.visibleWindows() == windows + 1; }));
    EXPECT_NE(XGrabKeyboard(m_connection, DefaultRootWindow(m_connection.get()), False, GrabModeAsync,
                  GrabModeAsync, CurrentTime),
        GrabSuccess);
    expectDone(run({"where"}), "20 12\n");
    EXPECT_EQ(run({"screenshot", "-"}).output, zendra(m_server, {"screenshot", "-"}).output);
    expectDone(run({"highlight", "600,400,50,50", "--for", "0.1"}));
    expectDone(run({"keys", "<Down><Down><Enter>"}));
    EXPECT_TRUE(logs("action Post\n"));
    EXPECT_TRUE(waitFor([&] { return m_connection.visibleWindows() == windows; }));
}

TEST_F(Hooked, SeesTheSameScreenAsTheCommand)
{
    expectDone(zendra(m_server, {"screenshot", path("b.png")}));
    const std::vector<std::pair<Words, int>> commands {{{"expect-screen", path("a.png")}, 0},
        {{"expect-screen", path("b.png"), "--timeout", "0.1"}, 1}, {{"windows"}, 0},
        {{"wait-window", "Post*"}, 0}, {{"wait-window", "no such", "--timeout", "0.1"}, 1},
        {{"focus", "Postcard"}, 0}, {{"focus", "Past", "--timeout", "0.1"}, 1}};
    draw();
    expectDone(zendra(m_server, {"screenshot", path("a.png")}));
    for (const auto& [command, status] : commands) {
        const Outcome remote = run(command);
        const Outcome local = zendra(m_server, command);
        EXPECT_EQ(remote.status, status) << command.front();
        EXPECT_EQ(local.status, status) << command.front();
        EXPECT_EQ(remote.output, local.output);
        EXPECT_EQ(remote.error, local.error);
    }
}

} // namespace

} // namespace Zendra::Tests
