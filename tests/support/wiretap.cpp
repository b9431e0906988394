#include "wiretap.h"

#include <algorithm>
#include <array>
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

constexpr int patience = 10'000;
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
    std::string line;
    switch (request.type) {
    case KeyPress:
        line = "FakeKeyPress " + text(request.detail);
        break;
    case KeyRelease:
        line = "FakeKeyRelease " + text(request.detail);
        break;
    case ButtonPress:
        line = "FakeButtonPress " + text(request.detail);
        break;
    case ButtonRelease:
        line = "FakeButtonRelease " + text(request.detail);
        break;
    case MotionNotify:
        line = "FakeMotion " + text(request.rootX) + ',' + text(request.rootY) + " root=" + root
            + (request.detail != 0 ? " relative" : "");
        break;
    default:
        line = "FakeInput type " + text(request.type);
    }
    return request.time != 0 ? line + " after " + text(request.time) + " ms" : line;
}

std::string describeXkb(unsigned char minor)
{
    switch (minor) {
    case X_kbUseExtension:
        return "XkbUseExtension";
    case X_kbGetState:
        return "XkbGetState";
    case X_kbGetMap:
        return "XkbGetMap";
    default:
        return "Xkb request " + text(minor);
    }
}

std::string describeConfigure(const unsigned char* bytes)
{
    static constexpr std::array<const char*, 7> names {
        "x", "y", "width", "height", "border", "sibling", "stack"};
    const auto request = as<xConfigureWindowReq>(bytes);
    const unsigned char* values = bytes + sz_xConfigureWindowReq;
    std::string line;
    for (unsigned int bit = 0; bit < names.size(); ++bit) {
        if ((request.mask & (1U << bit)) == 0)
            continue;
        const auto value = as<std::int32_t>(values);
        line += bit == 6 && value == Above ? " stack=above"
                                           : std::string(" ") + names[bit] + '=' + text(value);
        values += 4;
    }
    return line;
}

/// A counted string that follows a request's fixed part.
std::string trailing(const unsigned char* bytes, std::size_t offset, std::size_t length)
{
    return std::string(reinterpret_cast<const char*>(bytes) + offset, length);
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
    waitForState(XRecordStartOfData);
}

WireTap::~WireTap()
{
    if (m_state == XRecordStartOfData)
        stop();
    XRecordFreeContext(m_control, m_context);
    m_control.sync();
}

void WireTap::append(const unsigned char* request)
{
    const std::size_t length = as<xReq>(request).length * 4U;
    m_requests.emplace_back(request, request + length);
    // Short requests are padded, so that every one can be read as the longest of fixed length.
    m_requests.back().resize(std::max(length, longestFixedPart));
}

void WireTap::setState(int category)
{
    m_state = category;
}

void WireTap::waitForState(int category)
{
    pollfd readable {ConnectionNumber(m_data.get()), POLLIN, 0};
    XFlush(m_data);
    XRecordProcessReplies(m_data);
    while (m_state != category) {
        if (poll(&readable, 1, patience) <= 0)
            throw std::runtime_error("The RECORD extension does not answer");
        XRecordProcessReplies(m_data);
    }
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
    XRecordDisableContext(m_control, m_context);
    m_control.sync();
    waitForState(XRecordEndOfData);

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
    if (header.reqType == m_xkb)
        return describeXkb(header.data);
    if (header.reqType >= 128)
        return "extension " + text(header.reqType) + " request " + text(header.data);
    return describeCore(request);
}

std::string WireTap::describeCore(const unsigned char* request)
{
    switch (const auto header = as<xResourceReq>(request); header.reqType) {
    case X_CreateWindow: {
        const auto create = as<xCreateWindowReq>(request);
        return "CreateWindow " + windowName(create.wid) + " in " + windowName(create.parent) + ' '
            + text(create.x) + ',' + text(create.y) + ' ' + text(create.width) + 'x' + text(create.height)
            + " border=" + text(create.borderWidth);
    }
    case X_MapWindow:
        return "MapWindow " + windowName(header.id);
    case X_UnmapWindow:
        return "UnmapWindow " + windowName(header.id);
    case X_ConfigureWindow:
        return "ConfigureWindow " + windowName(header.id) + describeConfigure(request);
    case X_WarpPointer: {
        const auto warp = as<xWarpPointerReq>(request);
        return "WarpPointer " + windowName(warp.srcWid) + " -> " + windowName(warp.dstWid) + ' '
            + text(warp.dstX) + ',' + text(warp.dstY);
    }
    case X_QueryPointer:
        return "QueryPointer " + windowName(header.id);
    case X_GetInputFocus:
        return "GetInputFocus";
    case X_GetKeyboardControl:
        return "GetKeyboardControl";
    case X_GetKeyboardMapping:
        return "GetKeyboardMapping";
    case X_OpenFont: {
        const auto open = as<xOpenFontReq>(request);
        return "OpenFont " + trailing(request, sz_xOpenFontReq, open.nbytes);
    }
    case X_AllocNamedColor: {
        const auto alloc = as<xAllocNamedColorReq>(request);
        return "AllocNamedColor " + trailing(request, sz_xAllocNamedColorReq, alloc.nbytes);
    }
    default:
        return "request " + text(header.reqType);
    }
}

} // namespace Zendra::Tests
