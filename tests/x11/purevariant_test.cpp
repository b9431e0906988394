// The native interface on a connection of its own: its construction, flushing, waiting, and its copies.

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include <QElapsedTimer>

#include "puresession.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

/// A session with a window that others can send messages to.
class PureVariant : public ::testing::Test
{
protected:
    /// The requests that `operation` pushes out by itself.
    template <typename Operation>
    Lines pushedBy(Operation operation)
    {
        WireTap tap(server, session.display());
        operation();
        return tap.finishUnflushed();
    }

    XServer server;
    Connection other {server};
    PureSession session {server};
    Mailbox mailbox {session.wrapper()};
};

const std::string noOperation = "request 127";

} // namespace

TEST_F(PureVariant, OperationsFlushAndDispatch)
{
    // Operations without a round trip of their own, so that only the flush can push the request out.
    const std::function<void()> operations[]
        = {[this] { session->isValidSpecialKey(QStringLiteral("Escape")); },
            [this] { session->touch(TouchType::End, {}, 0, 0); },
            [this] { session->sendKeyEventToFocusWindow({}); },
            [this] { session->charToKeyStroke(QLatin1Char('a'), true); }};
    int expected = 0;
    for (const auto& operation : operations) {
        EXPECT_EQ(pushedBy([&] {
            mailbox.send();
            XNoOp(session.display());
            operation();
        }).back(),
            noOperation);
        EXPECT_EQ(mailbox.received, ++expected);
    }
}

TEST_F(PureVariant, ASuppressedFlushHoldsRequestsBackButDispatches)
{
    EXPECT_FALSE(session->supressFlush(true));
    EXPECT_TRUE(session->supressFlush(true));
    EXPECT_EQ(pushedBy([this] { session->pointerMove({3, 4, -1}); }), (Lines {"XTestGetVersion"}));
    EXPECT_EQ(pushedBy([this] {
        session->pointerMove({3, 4, -1});
        EXPECT_TRUE(session->supressFlush(false));
    }),
        (Lines {"XTestGetVersion", "FakeMotion 3,4 root=none", "GetInputFocus"}));
    EXPECT_EQ(pushedBy([this] { EXPECT_FALSE(session->supressFlush(false)); }), (Lines {"GetInputFocus"}));
    EXPECT_EQ(pushedBy([this] {
        session->pointerMove({5, 6, -1});
    }),
        (Lines {"XTestGetVersion", "FakeMotion 5,6 root=none"}));
}

TEST_F(PureVariant, AWaitOfZeroServesWhatIsThere)
{
    mailbox.sendFrom(other);
    EXPECT_EQ(pushedBy([&] {
        XNoOp(session.display());
        session->processEvents(0);
    }),
        (Lines {noOperation}));
    EXPECT_EQ(mailbox.received, 1);
}

TEST_F(PureVariant, AWaitServesWhatComesMeanwhile)
{
    std::thread sender([this] { mailbox.sendFrom(other); });
    QElapsedTimer clock;
    clock.start();
    EXPECT_TRUE(waitFor([this] {
        session->processEvents(120);
        return mailbox.received == 1;
    }));
    EXPECT_GE(clock.elapsed(), 120);
    sender.join();
}

TEST_F(PureVariant, ACopyWorksOnAnotherThread)
{
    EventWindow window(server);
    const std::unique_ptr<NativeInterface> copy(session->threadSafeCopy());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(session.requestsOf([&] {
        std::thread user([&copy] {
            copy->pointerMove({70, 80, -1});
            copy->sendKeyEventToFocusWindow(QStringLiteral("A"));
        });
        session->sendKeyEventToFocusWindow({});
        user.join();
    }),
        Lines {});
    EXPECT_EQ(window.take(5),
        (Lines {"Motion @70,80 state=0", "KeyPress Shift_L(50) state=0", "KeyPress A(38) state=1",
            "KeyRelease A(38) state=1", "KeyRelease Shift_L(50) state=1"}));
}

TEST_F(PureVariant, ReportsWhichModifiersAreDown)
{
    const auto pressed = [this] {
        std::string keys;
        for (int key = 0; key <= 8; ++key) {
            if (session->isModifierPressed(static_cast<ModifierKey>(key)))
                keys += std::to_string(key);
        }
        return keys;
    };
    EXPECT_EQ(pressed(), "");
    const std::pair<unsigned int, const char*> keys[] = {{50, "1"}, {37, "2"}, {64, "4"}, {92, ""}};
    for (const auto& [keyCode, answer] : keys) {
        XTestFakeKeyEvent(other, keyCode, True, 0);
        other.sync();
        EXPECT_EQ(pressed(), answer);
        XTestFakeKeyEvent(other, keyCode, False, 0);
        other.sync();
    }
}

TEST(ScaleFactor, IsTheLastReadableLineOfTheResources)
{
    const std::pair<std::string, double> resources[] = {{"", 1.0}, {"Xft.dpi:\t144\n", 1.5},
        {"Xft.dpi: 144\n", 1.0}, {"*font:\tfixed\n\nXft.dpi:\t72\nXft.hinting:\t1", 0.75},
        {"Xft.dpi:\t96\nXft.dpi:\t192\n", 2.0}, {"Xft.dpi:\t120\nXft.dpi:\tlots\n", 1.25}};
    const XServer server;
    const Connection writer(server);
    for (const auto& [text, scale] : resources) {
        XChangeProperty(writer, DefaultRootWindow(writer.get()), XA_RESOURCE_MANAGER, XA_STRING, 8,
            PropModeReplace, reinterpret_cast<const unsigned char*>(text.data()),
            static_cast<int>(text.size()));
        writer.sync();
        PureSession session(server);
        EXPECT_EQ(session->scaleFactor(), scale) << text;
        EXPECT_EQ(session->desktopScreenshot({0, 0, 1, 1}, 0).scale, scale) << text;
    }
}
