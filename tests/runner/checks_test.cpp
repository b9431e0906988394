// Windows that are listed, waited for and focused, and the screen compared with pictures.

#include <csignal>
#include <filesystem>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QImage>
#include <QTemporaryDir>

#include "eventwindow.h"
#include "wait.h"
#include "zendracommand.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Tests
{

namespace
{

/// On a server with openbox, which looks after the first screen only, or without a window manager.
class WindowChecks : public testing::TestWithParam<bool>
{
protected:
    WindowChecks()
    {
        if (!GetParam())
            return;
        qputenv("DISPLAY", m_server.displayName().c_str());
        m_manager.start(QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
        shell(m_server, "until xprop -root _NET_CLIENT_LIST | grep '# '; do :; done");
        // It loses windows that come while it still starts.
        for (bool isReady = false; !isReady;) {
            const Window probe = open("probe");
            isReady = zendra(m_server, {"wait-window", "probe", "--timeout", "1"}).status == 0;
            XDestroyWindow(m_display, probe);
            m_connection.sync();
        }
    }

    Window open(const char* title, int screen = 0) const
    {
        const Window window
            = XCreateSimpleWindow(m_display, RootWindow(m_display, screen), 30, 40, 200, 100, 0, 0, 0);
        XStoreName(m_display, window, title);
        XMapRaised(m_display, window);
        m_connection.sync();
        return window;
    }

    ~WindowChecks() override { m_manager.close(); }

    /// The window's line in the list.
    std::string row(
        Window window, const char* process, int screen, const char* className, const char* title) const
    {
        int x = 0;
        int y = 0;
        Window child = None;
        XTranslateCoordinates(m_display, window, RootWindow(m_display, screen), 0, 0, &x, &y, &child);
        const QByteArray area = QStringLiteral("%1,%2,200,100").arg(x).arg(y).toLatin1();
        return text(QString::asprintf(
            "0x%-10lx%-9s%-8d%-20s%-8s%s\n", window, process, screen, area.constData(), className, title));
    }

    Window focus() const
    {
        Window focus = None;
        int revert = 0;
        XGetInputFocus(m_display, &focus, &revert);
        return focus;
    }

    const XServer m_server {withScreens({"800x600x24", "640x480x24"})};
    const Connection m_connection {m_server};
    Display* const m_display {m_connection};
    QProcess m_manager;
};

TEST_P(WindowChecks, ListWhatAPersonSees)
{
    const EventWindow menu(m_server);
    const Window unicode = open("?");
    const std::string title("Живой\nтекст");
    XChangeProperty(m_display, unicode, XInternAtom(m_display, "_NET_WM_NAME", False),
        XInternAtom(m_display, "UTF8_STRING", False), 8, PropModeReplace,
        reinterpret_cast<const unsigned char*>(title.data()), static_cast<int>(title.size()));
    const long process = 4711;
    XChangeProperty(m_display, unicode, XInternAtom(m_display, "_NET_WM_PID", False), XA_CARDINAL, 32,
        PropModeReplace, reinterpret_cast<const unsigned char*>(&process), 1);
    char names[] = "editor\0Editor";
    XClassHint hint {names, names + 7};
    XSetClassHint(m_display, unicode, &hint);
    m_connection.sync();
    expectDone(zendra(m_server, {"wait-window", "*о?*т"}));
    expectDone(zendra(m_server, {"wait-window", "/^Жи.ой/"}));
    const Window latin = open("Gr\xfc\xdf\x65", 1);
    expectDone(zendra(m_server, {"wait-window", "Grüße"}));
    XStoreName(m_display, XCreateSimpleWindow(m_display, DefaultRootWindow(m_display), 0, 0, 9, 9, 0, 0, 0),
        "hidden");
    m_connection.sync();
    expectDone(zendra(m_server, {"windows"}),
        "Window      Process  Screen  Area                Class   Title\n"
            + row(unicode, "4711", 0, "Editor", "Живой\\nтекст") + row(latin, "-", 1, "-", "Grüße"));
    EXPECT_THAT(zendra(m_server, {"--json", "windows"}).output,
        testing::HasSubstr(
            ",{\"class\":\"\",\"height\":100,\"process\":null,\"screen\":1,\"title\":\"Grüße\","));
}

TEST_P(WindowChecks, WaitForWhatComesLate)
{
    expectDone(zendra(m_server, {"warp", "1", "2"}));
    ZendraCommand waiting({"script", "-"}, &m_server, "where\nwait-window Sp*Post\n");
    ZendraCommand waitingForTitle({"script", "-"}, &m_server, "where\nwait-window read\n");
    ZendraCommand waitingForEnd(
        {"script", "-"}, &m_server, "where\nfocus S*Post\nwait-window --gone S*Post\n");
    ZendraCommand interrupted({"script", "-"}, &m_server, "where\nwait-window never\n");
    for (const ZendraCommand* command : {&waiting, &waitingForTitle, &waitingForEnd, &interrupted})
        command->waitForOutput();
    const Window window = open("Sp\xe4te Post");
    expectDone(waiting.outcome(), "1 2\n");
    EXPECT_TRUE(waitFor([&] { return focus() == window; }));
    XStoreName(m_display, window, "read");
    m_connection.sync();
    expectDone(waitingForTitle.outcome(), "1 2\n");
    expectDone(waitingForEnd.outcome(), "1 2\n");
    interrupted.signal(SIGINT);
    EXPECT_THAT(interrupted.outcome().error, testing::HasSubstr("Interrupted"));
}

TEST_P(WindowChecks, MoveTheFocus)
{
    for (const auto& [seconds, status] : {std::pair("0.1", 1), std::pair("soon", 2)}) {
        const EnvironmentVariable timeout("ZENDRA_TIMEOUT", seconds);
        expectFailure(zendra(m_server, {"wait-window", "x"}), status, seconds);
    }
    expectFailure(zendra(m_server, {"wait-window", "x", "--timeout", "0.1"}), 1,
        "No window 'x' appeared within 0.1 s; no window with a title is visible");
    const Window first = open("*%1");
    const Window second = open("About %1");
    expectDone(zendra(m_server, {"wait-window", "*%1"}));
    expectDone(zendra(m_server, {"wait-window", "A*"}));
    expectDone(zendra(m_server, {"focus", "Ab*"}));
    EXPECT_EQ(focus(), second);
    expectDone(zendra(m_server, {"focus", "*%1"})); // the very title comes before what fits the pattern
    EXPECT_EQ(focus(), first);
    expectDone(zendra(m_server, {"focus", QString::asprintf("0x%lx", second).toStdString()}));
    EXPECT_EQ(focus(), second);
    expectFailure(zendra(m_server, {"focus", "about", "--timeout", "0.1"}), 1,
        "No window 'about' appeared within 0.1 s; did you mean 'About %1'? Visible are '");
    expectFailure(zendra(m_server, {"focus", "*%?"}), 1, "2 windows match '*%?': 0x");
    expectFailure(zendra(m_server, {"focus", "/(/"}), 2, "Invalid regular expression /(/: ");
}

TEST_P(WindowChecks, ChangeAWindow)
{
    const Window window = open("Editor");
    Atom protocol = XInternAtom(m_display, "WM_DELETE_WINDOW", False);
    const auto change = [&](Words words) {
        words.insert(words.begin() + 1, "Edit*");
        words.insert(words.end(), {"--timeout", "2"});
        return zendra(m_server, words);
    };
    const auto area = [&] { return zendra(m_server, {"windows"}).output; };
    expectDone(change({"move-window", "100", "90"}));
    expectDone(change({"resize-window", "300", "200"}));
    EXPECT_THAT(area(), testing::HasSubstr(" 100,90,300,200 "));
    for (const char* command : {"maximize", "minimize"}) {
        if (!GetParam())
            expectFailure(change({command}), 1, "needs a window manager that supports it");
    }
    if (GetParam()) {
        expectDone(change({"maximize"}));
        expectFailure(change({"resize-window", "10", "10"}), 1, "did not become 10x10, but is ");
        expectDone(change({"restore"}));
        EXPECT_THAT(area(), testing::HasSubstr(",300,200 "));
        expectDone(change({"minimize"}));
        EXPECT_THAT(area(), testing::Not(testing::HasSubstr("Editor")));
        expectDone(change({"restore"}));
        expectDone(change({"minimize"}));
        expectDone(change({"focus"}));
        EXPECT_EQ(focus(), window);
    } else {
        expectFailure(change({"close-window"}), 1, "it does not support WM_DELETE_WINDOW");
    }
    XSetWMProtocols(m_display, window, &protocol, 1);
    m_connection.sync();
    expectFailure(change({"close-window"}), 1, "The window 'Editor' did not close within 2 s");
    ZendraCommand closing({"close-window", "Editor"}, &m_server);
    XEvent event;
    while (XCheckTypedEvent(m_display, ClientMessage, &event) != False) { }
    do {
        XNextEvent(m_display, &event);
    } while (event.type != ClientMessage);
    XDestroyWindow(m_display, window);
    m_connection.sync();
    expectDone(closing.outcome());
}

TEST_P(WindowChecks, GiveCoordinatesAnOrigin)
{
    open("Origin");
    const std::string script
        = "move-window Origin 60 70\nclick --window Or* 5 6\nwhere\nwarp --window Origin 1 2\n"
          "where\nwheel 1 --at 7,8 --window Origin\nwhere\n";
    expectDone(zendra(m_server, {"script", "-"}, script), "65 76\n61 72\n67 78\n");
    const QTemporaryDir folder;
    const std::string picture = text(folder.filePath(QStringLiteral("a.png")));
    expectDone(zendra(m_server, {"screenshot", "--window", "Origin", picture}));
    EXPECT_EQ(QImage(QString::fromStdString(picture)).size(), QSize(200, 100));
    expectDone(zendra(m_server, {"expect-screen", picture, "--area", "60,70,200,100"}));
    expectFailure(zendra(m_server, {"click", "--window", "Origin"}), 2, "--window needs X and Y");
}

INSTANTIATE_TEST_SUITE_P(Openbox, WindowChecks, testing::Values(false, true));

TEST(Checks, WaitForTheClipboardAndForFiles)
{
    const XServer server;
    const QTemporaryDir folder;
    const std::string file = text(folder.filePath(QStringLiteral("new/a.txt")));
    ZendraCommand clipboard({"script", "-"}, &server, "where\nexpect-clipboard 'b*'\n");
    ZendraCommand waiting({"script", "-"}, &server,
        "where\nexpect-file " + file + "\nexpect-file " + file + " --contains 't?o'\n");
    clipboard.waitForOutput();
    waiting.waitForOutput();
    for (const char* content : {"a", "bb"})
        expectDone(zendra(server, {"clipboard", "set", content}));
    EXPECT_EQ(
        shell("cd " + text(folder.path()) + "; mkdir new; echo one >new/a.txt; echo two >>new/a.txt").status,
        0);
    EXPECT_EQ(clipboard.outcome().status, 0);
    EXPECT_EQ(waiting.outcome().status, 0);
    const auto late = [&](Words words) {
        words.insert(words.end(), {"--timeout", "0.2"});
        return zendra(server, words);
    };
    expectDone(late({"expect-clipboard", "/^b/"}));
    expectFailure(late({"expect-clipboard", "b"}), 1, "The clipboard holds 'bb', not 'b', after 0.2 s");
    expectFailure(late({"expect-file", file, "--contains", "three"}), 1,
        ", with 8 bytes, does not contain 'three' after");
    expectFailure(late({"expect-file", file + "x"}), 1, "There is no file");
}

TEST(Checks, WaitUntilNothingChanges)
{
    const XServer server;
    const Connection connection(server);
    expectDone(zendra(server, {"wait-stable", "--for", "50"}));
    // The pause is longer than any of this process under load.
    ZendraCommand anywhere({"wait-stable", "--for", "1900", "--timeout", "2"}, &server);
    ZendraCommand elsewhere({"wait-stable", "--area", "0,0,10,10"}, &server);
    for (unsigned long colour = 1; isRunning(anywhere.process()); ++colour) {
        connection.fill(colour, 30, 40, 5, 6);
        runEventLoop(20);
    }
    expectFailure(anywhere.outcome(), 1, "The screen still changed after 2 s, within 30,40,5,6");
    expectDone(elsewhere.outcome());
}

class ExpectScreen : public testing::Test
{
protected:
    ExpectScreen() { expectDone(zendra(m_server, {"screenshot", m_reference})); }

    std::string path(const char* name) const { return text(m_folder.filePath(QLatin1String(name))); }
    QImage picture(const char* name) const { return QImage(m_folder.filePath(QLatin1String(name))); }

    Outcome expectation(const char* option = "--tolerance", const char* value = "0") const
    {
        return zendra(m_server, {"expect-screen", m_reference, "--timeout", "0.1", option, value});
    }

    const XServer m_server {withScreens({"120x90x24"})};
    const Connection m_connection {m_server};
    const QTemporaryDir m_folder;
    const std::string m_reference = path("a.png");
};

TEST_F(ExpectScreen, ShowsTheDifferencesAndRemovesThem)
{
    m_connection.fill(0x00ff00, 10, 20, 3, 2);
    m_connection.fill(0x000001, 13, 22, 1, 1);
    expectFailure(expectation(), 1,
        "differs from '" + m_reference + "' in 7 pixels, within 10,20,4,3; see '" + path("a-actual.png")
            + "' and '" + path("a-difference.png") + "'");
    EXPECT_EQ(picture("a-actual.png").pixel(12, 21), 0xff00ff00);
    // Seven pixels, a frame two thick and four away from them, and the rest of the screen in a pale grey.
    const QImage difference = picture("a-difference.png");
    std::map<QRgb, int> colours;
    for (int pixel = 0; pixel < 120 * 90; ++pixel)
        ++colours[difference.pixel(pixel % 120, pixel / 120)];
    EXPECT_EQ(colours,
        (std::map<QRgb, int> {{0xffff0000, 7}, {0xff0040ff, 108}, {0xff808080, 120 * 90 - 7 - 108}}));

    ZendraCommand waiting({"--json", "script", "-"}, &m_server, "where\nexpect-screen " + m_reference);
    waiting.waitForOutput();
    m_connection.fill(0, 10, 20, 4, 3);
    EXPECT_THAT(waiting.outcome().output,
        testing::EndsWith(
            "{\"command\":\"expect-screen\",\"differing\":0,\"height\":90,\"line\":2,\"reference\":\""
            + m_reference + "\",\"width\":120}\n"));
    EXPECT_FALSE(std::filesystem::exists(path("a-actual.png")));
    EXPECT_FALSE(std::filesystem::exists(path("a-difference.png")));
}

TEST_F(ExpectScreen, ComparesWithinAreaAndTolerance)
{
    m_connection.fill(0x080300, 119, 89, 1, 1);
    expectFailure(expectation("--tolerance", "7"), 1, "in one pixel, within 119,89,1,1");
    expectDone(expectation("--tolerance", "8"));

    QImage reference = picture("a.png").convertToFormat(QImage::Format_ARGB32);
    reference.setPixel(119, 89, 0);
    reference.save(QString::fromStdString(m_reference));
    expectDone(expectation());

    expectFailure(
        expectation("--area", "100,80,50,50"), 1, "has 120x90 pixels, but the area on the screen has 20x10");
    expectDone(zendra(m_server, {"screenshot", m_reference, "--area", "100,80,50,50"}));
    m_connection.fill(0xffffff, 99, 79, 1, 11);
    expectDone(expectation("--area", "100,80,50,50"));
    m_connection.fill(0xffffff, 110, 85, 1, 1);
    expectFailure(expectation("--area", "100,80,50,50"), 1, "in one pixel, within 110,85,1,1");
}

TEST_F(ExpectScreen, ReportsAWrongReferenceBeforeADisplayIsOpened)
{
    expectFailure(zendra({"expect-screen", "none.png", "--area", "1,2,3,4"}), 1,
        "There is no reference 'none.png'; create it with 'zendra screenshot --area 1,2,3,4 none.png'");
    std::filesystem::resize_file(m_reference, 60);
    expectFailure(zendra({"expect-screen", m_reference}), 1, "is not a PNG picture, or not a whole one: ");
}

} // namespace

} // namespace Zendra::Tests
