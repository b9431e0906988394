#include "wiretap.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include <poll.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/Xproto.h>
#include <X11/extensions/XKB.h>
#include <X11/extensions/record.h>
#include <X11/extensions/xtestproto.h>

namespace Zendra::Tests
{

namespace
{

constexpr int readTimeout = 10'000;
constexpr std::size_t longestFixedPart = sizeof(xXTestFakeInputReq);

template <typename Request>
Request as(const unsigned char* bytes)
{
    Request request;
    std::memcpy(&request, bytes, sizeof(request));
    return request;
}

template <typename Number>
std::string text(Number number)
{
    return std::to_string(number);
}

void intercept(XPointer closure, XRecordInterceptData* data)
{
    auto* tap = reinterpret_cast<WireTap*>(closure);
    if (data->category == XRecordFromClient)
        tap->append(data->data);
    else
        tap->setState(data->category);
    XRecordFreeData(data);
}

int majorOpcode(Display* display, const char* extension)
{
    int opcode = 0;
    int event = 0;
    int error = 0;
    return XQueryExtension(display, extension, &opcode, &event, &error) != False ? opcode : -1;
}

std::string describeFakeInput(const xXTestFakeInputReq& request, const std::string& root)
{
    static const std::map<int, const char*> names {{KeyPress, "FakeKeyPress "},
        {KeyRelease, "FakeKeyRelease "}, {ButtonPress, "FakeButtonPress "},
        {ButtonRelease, "FakeButtonRelease "}};
    std::string line;
    if (request.type == MotionNotify) {
        line = "FakeMotion " + text(request.rootX) + ',' + text(request.rootY) + " root=" + root
            + (request.detail != 0 ? " relative" : "");
    } else {
        line = names.at(request.type) + text(request.detail);
    }
    return request.time != 0 ? line + " after " + text(request.time) + " ms" : line;
}

/// The requests that are about one window.
const char* nameOf(int opcode)
{
    switch (opcode) {
    case X_CreateWindow:
        return "CreateWindow ";
    case X_MapWindow:
        return "MapWindow ";
    case X_UnmapWindow:
        return "UnmapWindow ";
    case X_ConfigureWindow:
        return "ConfigureWindow ";
    case X_QueryPointer:
        return "QueryPointer ";
    default:
        return nullptr;
    }
}

void require(bool hasReplied)
{
    if (!hasReplied)
        throw std::runtime_error("The RECORD extension does not reply");
}

} // namespace

WireTap::WireTap(const XServer& server, Display* client)
    : m_client(client)
    , m_control(server)
    , m_data(server)
    , m_xtest(majorOpcode(m_control, "XTEST"))
    , m_xkb(majorOpcode(m_control, "XKEYBOARD"))
    , m_genericEvents(majorOpcode(m_control, "Generic Event Extension"))
{
    for (int screen = 0; screen < ScreenCount(m_control.get()); ++screen)
        m_names[RootWindow(m_control.get(), screen)] = "root" + text(screen);

    int major = 0;
    int minor = 0;
    if (XRecordQueryVersion(m_control, &major, &minor) == 0)
        throw std::runtime_error("The test server has no RECORD extension");

    XRecordRange* range = XRecordAllocRange();
    range->core_requests = {1, 127};
    range->ext_requests = {{128, 255}, {0, 0xFFFF}};
    // Any resource of a client names the client.
    XRecordClientSpec resource = XCreatePixmap(client, DefaultRootWindow(client), 1, 1, 1);
    XSync(client, False);
    m_context = XRecordCreateContext(m_control, 0, &resource, 1, &range, 1);
    XFree(range);
    m_control.sync();
    XFreePixmap(client, resource);
    XSync(client, False);
    XRecordEnableContextAsync(m_data, m_context, &intercept, reinterpret_cast<XPointer>(this));
    require(waitForState(XRecordStartOfData));
}

WireTap::~WireTap()
{
    if (m_state == XRecordStartOfData)
        disable();
    XRecordFreeContext(m_control, m_context);
    m_control.sync();
}

void WireTap::append(const unsigned char* request)
{
    const std::size_t length = std::size_t {4} * as<xReq>(request).length;
    m_requests.emplace_back(request, request + length);
    // Short requests are padded, so that every one can be read as the longest of fixed length.
    m_requests.back().resize(std::max(length, longestFixedPart));
}

void WireTap::setState(int category)
{
    m_state = category;
}

bool WireTap::waitForState(int category)
{
    pollfd readable {ConnectionNumber(m_data.get()), POLLIN, 0};
    XFlush(m_data);
    XRecordProcessReplies(m_data);
    while (m_state != category) {
        if (poll(&readable, 1, readTimeout) <= 0)
            return false;
        XRecordProcessReplies(m_data);
    }
    return true;
}

bool WireTap::disable()
{
    XRecordDisableContext(m_control, m_context);
    m_control.sync();
    return waitForState(XRecordEndOfData);
}

Lines WireTap::finish()
{
    XSync(m_client, False);
    Lines lines = stop();
    lines.pop_back(); // the round trip of XSync
    return lines;
}

Lines WireTap::finishUnflushed()
{
    // What the client wrote is in its socket already. The server may prefer this connection to the client's
    // for a few rounds, but not while this one is silent.
    for (int round = 0; round < 10; ++round) {
        usleep(2'000);
        m_control.sync();
    }
    return stop();
}

Lines WireTap::stop()
{
    require(disable());
    Lines lines;
    for (const std::vector<unsigned char>& request : m_requests) {
        const bool isXlibsOwn = request.front() == X_QueryExtension || request.front() == m_genericEvents;
        if (!isXlibsOwn && !isSecondRun(request))
            lines.push_back(describe(request.data()));
    }
    m_requests.clear();
    return lines;
}

/// The server puts a request with a delay aside and runs it again, without the delay, when the time is up:
/// the recording then has it twice.
bool WireTap::isSecondRun(const std::vector<unsigned char>& request)
{
    if (request.front() != m_xtest || request[1] != X_XTestFakeInput)
        return false;
    const bool isSecond = m_isDelayPending;
    m_isDelayPending = !isSecond && as<xXTestFakeInputReq>(request.data()).time != 0;
    return isSecond;
}

std::string WireTap::windowName(unsigned long id)
{
    if (id == None)
        return "none";
    std::string& known = m_names[id];
    if (known.empty())
        known = "w" + text(++m_ownWindows);
    return known;
}

std::string WireTap::describe(const unsigned char* request)
{
    const auto header = as<xReq>(request);
    if (header.reqType == m_xtest && header.data == X_XTestGetVersion)
        return "XTestGetVersion";
    if (header.reqType == m_xtest && header.data == X_XTestFakeInput) {
        const auto input = as<xXTestFakeInputReq>(request);
        return describeFakeInput(input, windowName(input.root));
    }
    if (header.reqType == m_xkb && header.data == X_kbGetState)
        return "XkbGetState";
    if (header.reqType >= 128)
        return "extension " + text(header.reqType) + " request " + text(header.data);
    return describeCore(request);
}

std::string WireTap::describeCore(const unsigned char* request)
{
    const auto header = as<xResourceReq>(request);
    if (const char* name = nameOf(header.reqType); name != nullptr)
        return name + windowName(header.id);
    switch (header.reqType) {
    case X_WarpPointer: {
        const auto warp = as<xWarpPointerReq>(request);
        return "WarpPointer " + windowName(warp.srcWid) + " -> " + windowName(warp.dstWid) + ' '
            + text(warp.dstX) + ',' + text(warp.dstY);
    }
    case X_GetInputFocus:
        return "GetInputFocus";
    case X_GetKeyboardControl:
        return "GetKeyboardControl";
    default:
        return "request " + text(header.reqType);
    }
}

} // namespace Zendra::Tests
