// The wrapper of the plug-in's own connection: which listeners get which events, and when it is deleted.

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include <QPointer>

#include "eventwindow.h"
#include "wait.h"
#include "xdisplay_xlib.h"

#include <X11/Xlib.h>

using namespace Zendra::Tests;
using Zendra::Xlib::XDisplay;
using Zendra::Xlib::XEventListener;

namespace
{

/// Records its name with each event, and then runs its reaction.
class Listener final : public XEventListener
{
public:
    Listener(Lines& lines, const char* name)
        : m_lines(lines)
        , m_name(name)
    {
    }

    void xevent(XEvent* event) override
    {
        m_lines.push_back(m_name + std::to_string(event->xclient.data.l[0]));
        if (reaction)
            reaction();
    }

    std::function<void()> reaction;

private:
    Lines& m_lines;
    std::string m_name;
};

class DisplayWrapper : public ::testing::Test
{
protected:
    DisplayWrapper()
    {
        display->ref();
        m_window = XCreateSimpleWindow(
            display->display(), DefaultRootWindow(display->display()), 0, 0, 1, 1, 0, 0, 0);
    }

    ~DisplayWrapper() override
    {
        if (display)
            display->deref();
        runDeferredDeletions();
    }

    /// Sends a client message to the connection's own window. It is on its way then, but not read yet.
    void send(Display* sender, long number)
    {
        XEvent event {};
        event.xclient.type = ClientMessage;
        event.xclient.window = m_window;
        event.xclient.format = 32;
        event.xclient.data.l[0] = number;
        XSync(display->display(), False);
        XSendEvent(sender, m_window, False, NoEventMask, &event);
        XSync(sender, False);
    }

    /// The listeners' notes on events with these numbers, read into Xlib's queue and dispatched.
    Lines dispatch(const std::vector<long>& numbers)
    {
        for (const long number : numbers)
            send(display->display(), number);
        display->processQueuedEvents();
        return std::exchange(lines, {});
    }

    XServer server;
    Connection other {server};
    QPointer<XDisplay> display {new XDisplay(XOpenDisplay(server.displayName().c_str()))};
    Lines lines;
    Listener a {lines, "a"};
    Listener b {lines, "b"};
    Listener c {lines, "c"};

private:
    Window m_window;
};

} // namespace

TEST_F(DisplayWrapper, EachRegistrationCountsAndIsTakenBackOneByOne)
{
    for (Listener* listener : {&a, &b, &a})
        display->addListener(ClientMessage, listener);
    EXPECT_EQ(dispatch({1}), (Lines {"a1", "b1", "a1"}));
    display->removeListener(ClientMessage, &a); // the earliest
    EXPECT_EQ(dispatch({2}), (Lines {"b2", "a2"}));
    display->removeListener(ClientMessage, &a);
    display->removeListener(ClientMessage, &a);
    display->removeListener(ClientMessage, &c);
    display->removeListener(MapNotify, &b);
    EXPECT_EQ(dispatch({3}), (Lines {"b3"}));
    display->removeListener(ClientMessage, &b);
    EXPECT_EQ(dispatch({4}), Lines {});
    EXPECT_EQ(XEventsQueued(display->display(), QueuedAlready), 0);
}

TEST_F(DisplayWrapper, AListenerMayRemoveItselfAndOthers)
{
    for (Listener* listener : {&a, &b, &c})
        display->addListener(ClientMessage, listener);
    a.reaction = [this] { display->removeListener(ClientMessage, &b); };
    EXPECT_EQ(dispatch({1}), (Lines {"a1", "c1"}));

    display->addListener(ClientMessage, &b); // now a, c, b
    c.reaction = [this] {
        display->removeListener(ClientMessage, &b);
        display->removeListener(ClientMessage, &a);
        display->removeListener(ClientMessage, &c);
    };
    a.reaction = nullptr;
    EXPECT_EQ(dispatch({2, 3}), (Lines {"a2", "c2"}));
}

TEST_F(DisplayWrapper, AListenerThatIsAddedDuringADispatchHearsTheEventUnlessTheLastOneAddsIt)
{
    display->addListener(ClientMessage, &a);
    display->addListener(ClientMessage, &b);
    a.reaction = [this] {
        a.reaction = nullptr;
        display->addListener(ClientMessage, &c);
    };
    EXPECT_EQ(dispatch({1}), (Lines {"a1", "b1", "c1"}));

    display->removeListener(ClientMessage, &c);
    b.reaction = [this] {
        b.reaction = nullptr;
        display->addListener(ClientMessage, &c);
    };
    EXPECT_EQ(dispatch({2, 3}), (Lines {"a2", "b2", "a3", "b3", "c3"}));
}

TEST_F(DisplayWrapper, OnlyTheEventLoopReadsTheSocket)
{
    display->addListener(ClientMessage, &a);
    XSync(display->display(), False);
    send(other, 7);
    display->processQueuedEvents();
    EXPECT_EQ(lines, Lines {});
    EXPECT_TRUE(waitFor([this] { return !lines.empty(); }));
    EXPECT_EQ(lines, (Lines {"a7"}));
}
