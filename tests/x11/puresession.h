#pragma once

#include <memory>

#include "eventwindow.h"
#include "nativeinterface_pure_xlib.h"
#include "wait.h"
#include "wiretap.h"
#include "xdisplay_xlib.h"

namespace Zendra::Tests
{

/// What the plug-in makes of a private connection: the wrapper round it, and the native interface on the
/// wrapper.
class PureSession
{
public:
    explicit PureSession(const XServer& server);
    ~PureSession();
    PureSession(const PureSession&) = delete;
    PureSession& operator=(const PureSession&) = delete;

    PureXlibNativeInterface* operator->() const { return m_interface.get(); }
    PureXlibNativeInterface& interface() const { return *m_interface; }
    Xlib::XDisplay& wrapper() const { return *m_wrapper; }
    Display* display() const { return m_wrapper->display(); }

    /// All requests that `operation` makes, pushed out by it or not.
    template <typename Operation>
    Lines requestsOf(Operation operation)
    {
        WireTap tap(m_server, display());
        operation();
        return tap.finish();
    }

private:
    const XServer& m_server;
    Xlib::XDisplay* m_wrapper;
    std::unique_ptr<PureXlibNativeInterface> m_interface;
};

/// A window of a wrapped connection, and the number of messages to it that were dispatched.
class Mailbox final : public Xlib::XEventListener
{
public:
    explicit Mailbox(Xlib::XDisplay& wrapper);
    ~Mailbox();
    void xevent(XEvent* event) override;

    /// Sends a message from the wrapped connection, or from another; it is with the receiver when this
    /// returns, but in Xlib's queue only in the first case.
    void send() { sendFrom(m_wrapper.display()); }
    void sendFrom(Display* sender) const;
    int received = 0;

private:
    Xlib::XDisplay& m_wrapper;
    XWindow m_window;
};

/// The error text for a keysym that the keyboard lacks.
std::string noKey(unsigned long keysym);

/// The keys that go down (+) and up (-) in requests, as "+50 -50"; other requests by name, but XTest's
/// version.
std::string keysOf(const Lines& requests);

/// The lines that begin with one of `beginnings`.
Lines only(const std::vector<std::string>& beginnings, const Lines& lines);

} // namespace Zendra::Tests
