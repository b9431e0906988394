#include "puresession.h"

#include <algorithm>
#include <iterator>

#include <X11/Xlib.h>

namespace Zendra::Tests
{

PureSession::PureSession(const XServer& server)
    : m_server(server)
    , m_wrapper(new Xlib::XDisplay(XOpenDisplay(server.displayName().c_str())))
{
    m_wrapper->ref();
    m_interface = std::make_unique<PureXlibNativeInterface>(m_wrapper);
}

PureSession::~PureSession()
{
    m_interface.reset();
    m_wrapper->deref();
    runDeferredDeletions();
}

Mailbox::Mailbox(Xlib::XDisplay& wrapper)
    : m_wrapper(wrapper)
    , m_window(
          XCreateSimpleWindow(wrapper.display(), DefaultRootWindow(wrapper.display()), 0, 0, 1, 1, 0, 0, 0))
{
    XSync(wrapper.display(), False);
    wrapper.addListener(ClientMessage, this);
}

Mailbox::~Mailbox()
{
    m_wrapper.removeListener(ClientMessage, this);
}

void Mailbox::xevent(XEvent*)
{
    ++received;
}

void Mailbox::sendFrom(Display* sender) const
{
    XEvent event {};
    event.xclient.type = ClientMessage;
    event.xclient.window = m_window;
    event.xclient.format = 32;
    XSendEvent(sender, m_window, False, NoEventMask, &event);
    XSync(sender, False);
}

std::string noKey(unsigned long keysym)
{
    return "Could not translate the symbol " + std::to_string(keysym) + " into a keycode";
}

std::string keysOf(const Lines& requests)
{
    const std::string press = "FakeKeyPress ";
    const std::string release = "FakeKeyRelease ";
    std::string keys;
    for (const std::string& request : requests) {
        if (request == "XTestGetVersion")
            continue;
        keys += keys.empty() ? "" : " ";
        if (request.rfind(press, 0) == 0)
            keys += '+' + request.substr(press.size());
        else if (request.rfind(release, 0) == 0)
            keys += '-' + request.substr(release.size());
        else
            keys += request;
    }
    return keys;
}

Lines only(const std::vector<std::string>& beginnings, const Lines& lines)
{
    Lines chosen;
    std::copy_if(
        lines.begin(), lines.end(), std::back_inserter(chosen), [&beginnings](const std::string& line) {
            return std::any_of(beginnings.begin(), beginnings.end(),
                [&line](const std::string& beginning) { return line.rfind(beginning, 0) == 0; });
        });
    return chosen;
}

} // namespace Zendra::Tests
