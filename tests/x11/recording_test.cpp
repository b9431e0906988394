// Screen recordings: what a receiver decodes is what screenshots show, and nothing is left behind.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>

#include <dlfcn.h>

#include <QThread>
#include <QtEndian>

#include "h264screenrecording_xlib.h"
#include "puresession.h"
#include "receiver.h"
#include "rlescreenrecording_xlib.h"

#include <X11/Xlib.h>
#include <X11/extensions/XShm.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

/// Runs once, before pixels are fetched.
std::function<void()> beforeGrab;

constexpr unsigned int rle = 1;
constexpr unsigned int h264 = 2;

/// A screen of odd size, a client that draws on it, and the plug-in.
class Recording : public ::testing::Test
{
protected:
    void fill(const QRect& area, unsigned long colour)
    {
        painter.fill(colour, area.x(), area.y(), static_cast<unsigned int>(area.width()),
            static_cast<unsigned int>(area.height()));
    }

    /// Single pixels, and windows that overlap and move.
    void scribble()
    {
        const Window root = DefaultRootWindow(painter.get());
        GC context = DefaultGC(painter.get(), 0);
        for (unsigned int i = 0; i < 30000; ++i) {
            XSetForeground(painter, context, i * 0x030507UL);
            XDrawPoint(
                painter, root, context, static_cast<int>(i * 31 % 803), static_cast<int>(i * 17 % 607));
        }
        for (unsigned int i = 0; i < 5; ++i) {
            const int x = static_cast<int>(i) * 171 - 20;
            const Window window
                = XCreateSimpleWindow(painter, root, x, 90, 201, 77, 3, i * 90UL, i * 0x12345UL);
            XMapWindow(painter, window);
            XMoveWindow(painter, window, x, 530);
        }
        painter.sync();
    }

    bool eventuallyShowsTheScreen(Receiver& receiver)
    {
        // Without the unused byte of each pixel.
        const auto colours = [](const QImage& image) { return image.convertToFormat(QImage::Format_RGB888); };
        return waitFor([&] {
            return colours(receiver.decoded())
                == colours(session->desktopScreenshot({0, 0, -1, -1}, 0).image);
        });
    }

    void resizeScreen(const char* size) const
    {
        ASSERT_EQ(std::system(
                      ("xrandr -d " + server.displayName() + " --output screen --off --fb " + size).c_str()),
            0);
    }

    XServer server {withScreens({"801x601x24"})};
    PureSession session {server};
    Connection painter {server};
};

} // namespace

// In place of the library's function, for all of this program.
extern "C" Q_DECL_EXPORT Bool XShmGetImage(
    Display* display, Drawable drawable, XImage* image, int x, int y, unsigned long planes)
{
    static const auto original = reinterpret_cast<decltype(&XShmGetImage)>(dlsym(RTLD_NEXT, "XShmGetImage"));
    if (const auto action = std::exchange(beforeGrab, nullptr))
        action();
    return original(display, drawable, image, x, y, planes);
}

TEST(RecordingRequest, IsRefusedWithAReason)
{
    const std::string lacks = "The X server does not support the ";
    const std::string noFormat = "None of the allowed formats is supported";
    const std::tuple<XServer::Options, unsigned int, std::string> requests[] = {
        {withoutExtension("DAMAGE"), rle, lacks + "XDamage extension"},
        {withoutExtension("XFIXES"), rle, lacks + "XFixes extension"},
        {withoutExtension("MIT-SHM"), h264, lacks + "XShm extension"},
        {withScreens({"80x60x16"}), rle, "Recording needs a screen with 32 bits a pixel, this one has 16"},
        {withScreens({"80x60x30"}), rle,
            "Recording needs 8 bits for each of red, green and blue, in this order; this screen of depth 30 has others"},
        {{}, 0, noFormat}, {{}, 4, noFormat}};
    for (const auto& [options, formats, reason] : requests) {
        const XServer server(options);
        PureSession session(server);
        const Receiver receiver(session.interface(), formats);
        EXPECT_EQ(receiver.stream, nullptr);
        EXPECT_EQ(receiver.errorText, reason);
    }
    EXPECT_EQ(ownSegments(), ShmSegments {});
}

TEST(MilisecondsBetween, TruncatesTheDifferenceOfTheFractions)
{
    EXPECT_EQ(Xlib::milisecondsBetween({1, 999'999'999}, {2, 0}), 1);
    EXPECT_EQ(Xlib::milisecondsBetween({2, 500'000'000}, {1, 0}), -1500);
}

TEST_F(Recording, ShowsEveryPixelOfTheScreen)
{
    Receiver first(session.interface(), rle | h264);
    EXPECT_NE(dynamic_cast<Xlib::RleScreenRecording*>(first.stream.get()), nullptr);
    EXPECT_TRUE(eventuallyShowsTheScreen(first));
    scribble();
    Receiver second(session.interface(), rle);
    EXPECT_TRUE(eventuallyShowsTheScreen(second));
    EXPECT_TRUE(eventuallyShowsTheScreen(first));

    // Three changes at once are three rectangles.
    XGrabServer(painter);
    for (const QRect& area : {QRect(10, 20, 30, 5), QRect(700, 300, 101, 3), QRect(1, 400, 1, 1)})
        fill(area, 0xABCDEF);
    XUngrabServer(painter);
    painter.sync();
    for (Receiver* receiver : {&first, &second}) {
        ASSERT_TRUE(waitFor([&] { return !receiver->segments.empty(); }));
        const QByteArray header = receiver->segments.front().left(64).toHex();
        EXPECT_EQ(header.left(24), "000000020000000000000003");
        EXPECT_EQ(header.mid(32),
            "0000000a000000140000002800000019000002bc0000012c000003210000012f"
            "00000001000001900000000200000191");
        EXPECT_TRUE(eventuallyShowsTheScreen(*receiver));
        EXPECT_TRUE(receiver->ends.empty());
    }
    // A still screen is silent.
    runEventLoop(200);
    EXPECT_TRUE(first.segments.empty());
}

TEST_F(Recording, WaitsForItsReceiver)
{
    Receiver receiver(session.interface(), rle);
    ASSERT_TRUE(eventuallyShowsTheScreen(receiver));
    EXPECT_EQ(text(receiver.stream->configure({{QStringLiteral("window"), 1}})), "");
    fill({0, 0, 400, 400}, 0xFF);
    runEventLoop(150);
    EXPECT_TRUE(receiver.segments.empty());
    receiver.stream->bytesReceived(dynamic_cast<BinaryStreamProducer&>(*receiver.stream).bytesOnTheWay());
    EXPECT_TRUE(eventuallyShowsTheScreen(receiver));

    // Ended in the middle of an update.
    receiver.stream->configure({{QStringLiteral("window"), 1 << 20}});
    QObject::connect(receiver.stream.get(), &BinaryStream::nextSegment, [&] { receiver.stream->stop(); });
    scribble();
    ASSERT_TRUE(waitFor([&] { return !receiver.segments.empty(); }));
    fill({0, 0, 40, 40}, 0xFF00);
    runEventLoop(100);
    EXPECT_EQ(receiver.segments.size(), 1U);
    EXPECT_EQ(receiver.ends.size(), 1U);
}

TEST_F(Recording, FollowsTheSizeOfTheScreen)
{
    resizeScreen("400x300");
    Receiver receiver(session.interface(), rle);
    ASSERT_TRUE(eventuallyShowsTheScreen(receiver));
    resizeScreen("801x601");
    EXPECT_TRUE(eventuallyShowsTheScreen(receiver));
    scribble();
    EXPECT_TRUE(eventuallyShowsTheScreen(receiver));
    // Larger now, and still to go with its last user.
    const ShmSegments segments = ownSegments();
    ASSERT_EQ(segments.size(), 1U);
    EXPECT_EQ(segments.front(), std::make_tuple(std::get<0>(segments.front()), 801UL * 601 * 4, 01600U));

    // What changed before the screen shrank lies outside when it is taken.
    receiver.stream->pause();
    fill({0, 0, 801, 601}, 0x876543);
    resizeScreen("300x200");
    runEventLoop(100);
    EXPECT_TRUE(receiver.segments.empty());
    receiver.stream->resume();
    EXPECT_TRUE(eventuallyShowsTheScreen(receiver));
    EXPECT_TRUE(receiver.ends.empty());
}

TEST_F(Recording, GoesOnWhenTheScreenShrinksJustBeforeItsPixelsAreFetched)
{
    Receiver receiver(session.interface(), rle);
    ASSERT_TRUE(eventuallyShowsTheScreen(receiver));
    const XErrorHandler handler = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    beforeGrab = [this] { resizeScreen("300x200"); };
    fill({0, 0, 801, 601}, 0x876543);
    EXPECT_TRUE(waitFor([] { return !beforeGrab; }));
    EXPECT_TRUE(eventuallyShowsTheScreen(receiver));
    EXPECT_TRUE(receiver.ends.empty());
    XSetErrorHandler(handler);
}

TEST_F(Recording, LeavesNothingBehind)
{
    // File descriptors, and resident memory in pages.
    const auto usage = [] {
        long pages = 0;
        std::ifstream("/proc/self/statm") >> pages >> pages;
        return std::pair(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}), pages);
    };
    auto before = usage();
    for (int i = 0; i < 500; ++i) {
        if (i == 50)
            before = usage();
        Receiver receiver(session.interface(), rle);
        receiver.stream->configure({{QStringLiteral("fps"), 60}});
        if (i % 5 == 0)
            ASSERT_TRUE(waitFor([&] { return !receiver.segments.empty(); }));
        else if (i % 2 == 0)
            QCoreApplication::sendPostedEvents();
    }
    EXPECT_EQ(usage().first, before.first);
#ifndef __SANITIZE_ADDRESS__ // which keeps what was freed for a while
    EXPECT_LT(usage().second - before.second, 300);
#endif
    XSync(session.display(), False);
    EXPECT_EQ(ownSegments(), ShmSegments {});
}

TEST_F(Recording, RunsOnAThreadOfItsOwnAndLeavesTheCopyItsConnection)
{
    const std::unique_ptr<NativeInterface> copy(session->threadSafeCopy());
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        for (int i = 0; i < 2; ++i) {
            Receiver receiver(*copy, rle);
            EXPECT_TRUE(eventuallyShowsTheScreen(receiver));
            receiver.stream.reset();
            runDeferredDeletions();
            EXPECT_EQ(text(copy->pointerMove({1, 1, -1})), "");
        }
    }));
    thread->start();
    thread->wait();
    const Receiver elsewhere(*copy, rle);
    EXPECT_EQ(elsewhere.errorText,
        "This interface records in another thread; make a thread-safe copy for this one");
}

TEST_F(Recording, InH264IsAStartPacketsAndOneFinish)
{
    Receiver receiver(session.interface(), h264);
    ASSERT_EQ(receiver.errorText, "");
    EXPECT_NE(dynamic_cast<Xlib::H264StreamScreenRecording*>(receiver.stream.get()), nullptr);
    EXPECT_TRUE(receiver.segments.empty());
    ASSERT_TRUE(waitFor([&] { return receiver.segments.size() >= 2; }));
    for (unsigned int i = 0; i < 6; ++i) {
        const std::size_t before = receiver.segments.size();
        fill({10, 10, 300, 300}, i * 0x305070UL);
        ASSERT_TRUE(waitFor([&] { return receiver.segments.size() > before; }));
    }
    // A receiver that has enough of a packet.
    QObject::connect(receiver.stream.get(), &BinaryStream::nextSegment, [&] { receiver.stream->stop(); });
    fill({20, 20, 300, 300}, 0);
    ASSERT_TRUE(waitFor([&] { return !receiver.ends.empty(); }));
    runEventLoop(60);

    std::string types;
    for (const QByteArray& segment : receiver.segments) {
        types += std::to_string(segment.at(3));
        EXPECT_EQ(qFromBigEndian<quint32>(segment.constData() + 8), segment.size() - 12);
    }
    EXPECT_EQ(types, '0' + std::string(types.size() - 2, '1') + '2');
    EXPECT_GE(types.size(), 7U);
    // Even sizes, and what that makes of the scale.
    EXPECT_EQ(receiver.segments[0].mid(12, 8).toHex(), "3f8000003f8028e9");
    EXPECT_EQ(receiver.segments[0].mid(24).toHex(), "000003220000025a");
    EXPECT_EQ(receiver.segments[1].at(7), 2); // a key frame comes first
    EXPECT_EQ(receiver.segments.back().mid(4).toHex(), "0000000100000000");
    EXPECT_EQ(receiver.ends.size(), 1U);

    // Ended before it has begun: nothing but the finish.
    Receiver early(session.interface(), h264);
    early.stream->stop();
    EXPECT_TRUE(waitFor([&] { return !early.ends.empty(); }));
    QCoreApplication::processEvents();
    ASSERT_EQ(early.segments.size(), 1U);
    EXPECT_EQ(early.segments[0].toHex(), "000000020000000100000000");
}
