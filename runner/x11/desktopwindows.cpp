#include "desktopwindows.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "cli/failure.h"
#include "xcbreply.h"

#include <X11/Xlib-xcb.h>
#include <X11/Xutil.h>

namespace Zendra::Runner
{

namespace
{

/// The longest title, in units of four bytes; longer ones are cut.
constexpr std::uint32_t titleWords = 4096;
constexpr std::uint32_t classWords = 64;
constexpr std::uint32_t sizeHintWords = 18;
/// Levels below a child of the root window that are searched for the application's window.
constexpr int frameLevels = 2;

} // namespace

/// The requests about one window, all of them sent before the first reply is awaited.
struct DesktopWindows::PendingRequests {
    xcb_window_t window;
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t place;
    xcb_get_property_cookie_t ewmhName;
    xcb_get_property_cookie_t name;
    xcb_get_property_cookie_t process;
    xcb_get_property_cookie_t classHint;
    xcb_get_property_cookie_t sizeHints;
    xcb_get_property_cookie_t state;
};

DesktopWindows::DesktopWindows(const QByteArray& displayName)
    : m_display(openConnection(displayName))
    , m_connection(XGetXCBConnection(m_display.get()))
{
    char names[3][20] = {"WM_STATE", "WM_CHANGE_STATE", "WM_DELETE_WINDOW"};
    char* pointers[] = {names[0], names[1], names[2]};
    Atom atoms[3];
    XInternAtoms(m_display.get(), pointers, 3, False, atoms);
    m_stateAtom = static_cast<xcb_atom_t>(atoms[0]);
    m_changeStateAtom = static_cast<xcb_atom_t>(atoms[1]);
    m_deleteAtom = static_cast<xcb_atom_t>(atoms[2]);
    XSetEventQueueOwner(m_display.get(), XCBOwnsEventQueue);
    if (xcb_ewmh_init_atoms_replies(&m_ewmh, xcb_ewmh_init_atoms(m_connection, &m_ewmh), nullptr) == 0) {
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral("Display '%1' does not answer").arg(QString::fromUtf8(displayName)));
    }
    for (int screen = 0; screen < screenCount(); ++screen)
        select(m_ewmh.screens[screen]->root,
            XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
}

DesktopWindows::~DesktopWindows()
{
    xcb_ewmh_connection_wipe(&m_ewmh);
}

int DesktopWindows::defaultScreen() const
{
    return DefaultScreen(m_display.get());
}

void DesktopWindows::select(xcb_window_t window, std::uint32_t events) const
{
    xcb_change_window_attributes(m_connection, window, XCB_CW_EVENT_MASK, &events);
}

std::vector<DesktopWindow> DesktopWindows::read()
{
    std::vector<DesktopWindow> windows;
    for (int screen = 0; screen < screenCount(); ++screen) {
        const xcb_window_t root = m_ewmh.screens[screen]->root;
        const std::optional<std::vector<xcb_window_t>> managed = managedWindows(screen);
        std::vector<PendingRequests> pending;
        for (const xcb_window_t window : managed ? *managed : shownWindows(root))
            pending.push_back(sendRequests(window, root));
        for (const PendingRequests& requests : pending) {
            if (std::optional<DesktopWindow> window = collectReplies(requests, screen))
                windows.push_back(*std::move(window));
        }
    }
    throwIfLost();
    return windows;
}

std::optional<DesktopWindow> DesktopWindows::read(const DesktopWindow& window)
{
    const int screen = window.area.screen;
    std::optional<DesktopWindow> present
        = collectReplies(sendRequests(window.id, m_ewmh.screens[screen]->root), screen);
    throwIfLost();
    return present;
}

void DesktopWindows::throwIfLost() const
{
    if (xcb_connection_has_error(m_connection) != 0)
        throw Failure(ExitStatus::ConnectionLost, QStringLiteral("The connection to the display was lost"));
}

bool DesktopWindows::hasChanged()
{
    bool changed = false;
    for (;;) {
        const Reply<xcb_generic_event_t> event(xcb_poll_for_event(m_connection));
        if (!event)
            return changed;
        // Errors are about destroyed windows, for which there is an event, too.
        changed = changed || event->response_type != 0;
    }
}

int DesktopWindows::fileDescriptor() const
{
    return xcb_get_file_descriptor(m_connection);
}

std::vector<xcb_window_t> DesktopWindows::children(xcb_window_t window) const
{
    const auto tree = fetch(xcb_query_tree_reply, m_connection, xcb_query_tree(m_connection, window));
    if (!tree)
        return {};
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
}

/// None for a root window and for a destroyed one.
xcb_window_t DesktopWindows::parent(xcb_window_t window) const
{
    const auto tree = fetch(xcb_query_tree_reply, m_connection, xcb_query_tree(m_connection, window));
    return tree ? tree->parent : XCB_NONE;
}

bool DesktopWindows::hasProperty(xcb_window_t window, xcb_atom_t property) const
{
    const auto found = fetch(xcb_get_property_reply, m_connection,
        xcb_get_property(m_connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 0));
    return found && found->type != XCB_NONE;
}

/// Whether an EWMH window manager runs. One that has ended may have left its property on the root window, but
/// not the window in it.
bool DesktopWindows::isManaged(int screen)
{
    xcb_window_t window = XCB_NONE;
    xcb_window_t same = XCB_NONE;
    const auto check = [this](xcb_window_t of, xcb_window_t* named) {
        return xcb_ewmh_get_supporting_wm_check_reply(
                   &m_ewmh, xcb_ewmh_get_supporting_wm_check(&m_ewmh, of), named, nullptr)
            != 0;
    };
    return check(m_ewmh.screens[screen]->root, &window) && check(window, &same) && same == window;
}

std::optional<std::vector<xcb_window_t>> DesktopWindows::managedWindows(int screen)
{
    xcb_ewmh_get_windows_reply_t list = {};
    if (!isManaged(screen)
        || xcb_ewmh_get_client_list_reply(&m_ewmh, xcb_ewmh_get_client_list(&m_ewmh, screen), &list, nullptr)
            == 0)
        return std::nullopt;
    std::vector<xcb_window_t> windows(list.windows, list.windows + list.windows_len);
    xcb_ewmh_get_windows_reply_wipe(&list);
    return windows;
}

/// The window with WM_STATE: `window` or one a few levels below; None if there is none.
xcb_window_t DesktopWindows::findClientWindow(xcb_window_t window, int levels) const
{
    if (hasProperty(window, m_stateAtom))
        return window;
    if (levels == 0)
        return XCB_NONE;
    for (const xcb_window_t child : children(window)) {
        if (const xcb_window_t holder = findClientWindow(child, levels - 1); holder != XCB_NONE)
            return holder;
    }
    return XCB_NONE;
}

/// The windows of applications where no EWMH window manager lists them.
std::vector<xcb_window_t> DesktopWindows::shownWindows(xcb_window_t root) const
{
    std::vector<xcb_window_t> shown;
    for (const xcb_window_t window : children(root)) {
        select(window, XCB_EVENT_MASK_PROPERTY_CHANGE);
        const auto attributes = fetch(
            xcb_get_window_attributes_reply, m_connection, xcb_get_window_attributes(m_connection, window));
        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE)
            continue;
        if (const xcb_window_t holder = findClientWindow(window, frameLevels); holder != XCB_NONE)
            shown.push_back(holder);
        else if (attributes->override_redirect == 0
            && (hasProperty(window, m_ewmh._NET_WM_NAME) || hasProperty(window, XCB_ATOM_WM_NAME)
                || hasProperty(window, XCB_ATOM_WM_CLASS)))
            shown.push_back(window);
    }
    return shown;
}

DesktopWindows::PendingRequests DesktopWindows::sendRequests(xcb_window_t window, xcb_window_t root)
{
    // First, so that no change between replies and events is missed.
    select(window,
        XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_FOCUS_CHANGE);
    return {window, xcb_get_window_attributes(m_connection, window), xcb_get_geometry(m_connection, window),
        xcb_translate_coordinates(m_connection, window, root, 0, 0), xcb_ewmh_get_wm_name(&m_ewmh, window),
        xcb_get_property(m_connection, 0, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, titleWords),
        xcb_ewmh_get_wm_pid(&m_ewmh, window),
        xcb_get_property(m_connection, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, classWords),
        xcb_get_property(
            m_connection, 0, window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 0, sizeHintWords),
        xcb_ewmh_get_wm_state(&m_ewmh, window)};
}

/// Collects all replies, as xcb keeps the others in memory; nothing when the window was destroyed.
std::optional<DesktopWindow> DesktopWindows::collectReplies(const PendingRequests& requests, int screen)
{
    const auto attributes = fetch(xcb_get_window_attributes_reply, m_connection, requests.attributes);
    const auto geometry = fetch(xcb_get_geometry_reply, m_connection, requests.geometry);
    const auto place = fetch(xcb_translate_coordinates_reply, m_connection, requests.place);
    DesktopWindow window;
    window.id = requests.window;
    window.title = title(requests);
    std::uint32_t process = 0;
    xcb_ewmh_get_wm_pid_reply(&m_ewmh, requests.process, &process, nullptr);
    window.process = static_cast<int>(process);
    readState(window, requests);
    if (!attributes || !geometry || !place)
        return std::nullopt;
    window.isVisible = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    window.area = {place->dst_x, place->dst_y, geometry->width, geometry->height, screen};
    return window;
}

/// Reads the properties that most windows have; others keep the defaults.
void DesktopWindows::readState(DesktopWindow& window, const PendingRequests& requests)
{
    // Two texts, each with a null byte: the instance and the class.
    if (const auto hint = fetch(xcb_get_property_reply, m_connection, requests.classHint);
        hint && hint->format == 8) {
        const QByteArray names(static_cast<const char*>(xcb_get_property_value(hint.get())),
            xcb_get_property_value_length(hint.get()));
        window.className = QString::fromLatin1(names.split('\0').value(1));
    }
    if (const auto hints = fetch(xcb_get_property_reply, m_connection, requests.sizeHints);
        hints && hints->format == 32 && hints->value_len == sizeHintWords) {
        std::uint32_t values[sizeHintWords];
        std::memcpy(values, xcb_get_property_value(hints.get()), sizeof values);
        constexpr int increments = 9; // ICCCM: flags, then 17 numbers
        constexpr int mostStep = 1000;
        if ((values[0] & PResizeInc) != 0) {
            window.sizeStep = {qBound(1, static_cast<int>(values[increments]), mostStep),
                qBound(1, static_cast<int>(values[increments + 1]), mostStep)};
        }
    }
    xcb_ewmh_get_atoms_reply_t state = {};
    if (xcb_ewmh_get_wm_state_reply(&m_ewmh, requests.state, &state, nullptr) == 0)
        return;
    const auto has = [&state](xcb_atom_t atom) {
        return std::find(state.atoms, state.atoms + state.atoms_len, atom) != state.atoms + state.atoms_len;
    };
    window.isMinimized = has(m_ewmh._NET_WM_STATE_HIDDEN);
    window.isMaximized = has(m_ewmh._NET_WM_STATE_MAXIMIZED_VERT) && has(m_ewmh._NET_WM_STATE_MAXIMIZED_HORZ);
    xcb_ewmh_get_atoms_reply_wipe(&state);
}

QString DesktopWindows::title(const PendingRequests& requests)
{
    const auto name = fetch(xcb_get_property_reply, m_connection, requests.name);
    xcb_ewmh_get_utf8_strings_reply_t text = {};
    if (xcb_ewmh_get_wm_name_reply(&m_ewmh, requests.ewmhName, &text, nullptr) != 0) {
        const QString title
            = QString::fromUtf8(text.strings, static_cast<int>(qstrnlen(text.strings, text.strings_len)));
        xcb_ewmh_get_utf8_strings_reply_wipe(&text);
        return title;
    }
    return name ? legacyTitle(*name) : QString();
}

/// WM_NAME (ICCCM): Latin-1, or compound text.
QString DesktopWindows::legacyTitle(const xcb_get_property_reply_t& name) const
{
    const int length = xcb_get_property_value_length(&name);
    if (name.format != 8 || length == 0)
        return {};
    // Xlib needs a null byte after the text.
    QByteArray bytes(static_cast<const char*>(xcb_get_property_value(&name)), length);
    const XTextProperty property
        = {reinterpret_cast<unsigned char*>(bytes.data()), name.type, 8, static_cast<unsigned long>(length)};
    char** list = nullptr;
    int count = 0;
    const int status = Xutf8TextPropertyToTextList(m_display.get(), &property, &list, &count);
    const std::unique_ptr<char*, decltype(&XFreeStringList)> owner(list, &XFreeStringList);
    return status >= Success && count > 0 ? QString::fromUtf8(list[0]) : QString::fromLatin1(bytes);
}

void DesktopWindows::activate(const DesktopWindow& window)
{
    if (isManaged(window.area.screen)) {
        // Source indication 2 (pager): not refused for an old timestamp.
        xcb_ewmh_request_change_active_window(&m_ewmh, window.area.screen, window.id,
            XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, XCB_CURRENT_TIME, XCB_NONE);
    } else {
        xcb_window_t outermost = window.id;
        const xcb_window_t root = m_ewmh.screens[window.area.screen]->root;
        for (xcb_window_t above = parent(outermost); above != root && above != XCB_NONE;
             above = parent(above))
            outermost = above;
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(m_connection, outermost, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_POINTER_ROOT, window.id, XCB_CURRENT_TIME);
    }
    xcb_flush(m_connection);
}

bool DesktopWindows::hasFocus(const DesktopWindow& window) const
{
    const auto focus = fetch(xcb_get_input_focus_reply, m_connection, xcb_get_input_focus(m_connection));
    // None and PointerRoot are not windows.
    xcb_window_t candidate = focus ? focus->focus : XCB_NONE;
    while (candidate != window.id && candidate > XCB_INPUT_FOCUS_POINTER_ROOT)
        candidate = parent(candidate);
    return candidate == window.id;
}

/// Whether an EWMH window manager names a request in _NET_SUPPORTED.
bool DesktopWindows::supports(int screen, xcb_atom_t request)
{
    xcb_ewmh_get_atoms_reply_t list = {};
    if (!isManaged(screen)
        || xcb_ewmh_get_supported_reply(&m_ewmh, xcb_ewmh_get_supported(&m_ewmh, screen), &list, nullptr)
            == 0)
        return false;
    const bool found
        = std::find(list.atoms, list.atoms + list.atoms_len, request) != list.atoms + list.atoms_len;
    xcb_ewmh_get_atoms_reply_wipe(&list);
    return found;
}

/// Sends a message about a window to whoever manages it.
void DesktopWindows::sendToRoot(const DesktopWindow& window, xcb_atom_t type, std::uint32_t data) const
{
    xcb_client_message_event_t event = {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window.id;
    event.type = type;
    event.data.data32[0] = data;
    xcb_send_event(m_connection, 0, m_ewmh.screens[window.area.screen]->root,
        XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
        reinterpret_cast<const char*>(&event));
    xcb_flush(m_connection);
}

bool DesktopWindows::close(const DesktopWindow& window)
{
    if (supports(window.area.screen, m_ewmh._NET_CLOSE_WINDOW)) {
        xcb_ewmh_request_close_window(
            &m_ewmh, window.area.screen, window.id, XCB_CURRENT_TIME, XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
        xcb_flush(m_connection);
        return true;
    }
    constexpr std::uint32_t mostProtocols = 64;
    const auto property = fetch(xcb_get_property_reply, m_connection,
        xcb_get_property(m_connection, 0, window.id, m_ewmh.WM_PROTOCOLS, XCB_ATOM_ATOM, 0, mostProtocols));
    if (!property || property->format != 32)
        return false;
    const auto* protocols = static_cast<const xcb_atom_t*>(xcb_get_property_value(property.get()));
    const xcb_atom_t* end = protocols + property->value_len;
    if (std::find(protocols, end, m_deleteAtom) == end)
        return false;
    xcb_client_message_event_t event = {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window.id;
    event.type = m_ewmh.WM_PROTOCOLS;
    event.data.data32[0] = m_deleteAtom;
    event.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(
        m_connection, 0, window.id, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(m_connection);
    return true;
}

void DesktopWindows::move(const DesktopWindow& window, int x, int y)
{
    if (requestMoveResize(window, XCB_EWMH_MOVERESIZE_WINDOW_X | XCB_EWMH_MOVERESIZE_WINDOW_Y, {x, y, 0, 0}))
        return;
    const std::uint32_t values[] = {static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
    xcb_configure_window(m_connection, window.id, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
    xcb_flush(m_connection);
}

void DesktopWindows::resize(const DesktopWindow& window, const QSize& size)
{
    if (requestMoveResize(window, XCB_EWMH_MOVERESIZE_WINDOW_WIDTH | XCB_EWMH_MOVERESIZE_WINDOW_HEIGHT,
            {0, 0, size.width(), size.height()}))
        return;
    const std::uint32_t values[]
        = {static_cast<std::uint32_t>(size.width()), static_cast<std::uint32_t>(size.height())};
    xcb_configure_window(m_connection, window.id, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
    xcb_flush(m_connection);
}

/// False without a window manager that supports it; others receive the requests to configure the window.
bool DesktopWindows::requestMoveResize(const DesktopWindow& window, int flags, const Rect& area)
{
    if (!supports(window.area.screen, m_ewmh._NET_MOVERESIZE_WINDOW))
        return false;
    // Static gravity: the place is that of the window without its frame.
    xcb_ewmh_request_moveresize_window(&m_ewmh, window.area.screen, window.id, XCB_GRAVITY_STATIC,
        XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, static_cast<xcb_ewmh_moveresize_window_opt_flags_t>(flags),
        static_cast<std::uint32_t>(area.x), static_cast<std::uint32_t>(area.y),
        static_cast<std::uint32_t>(area.width), static_cast<std::uint32_t>(area.height));
    xcb_flush(m_connection);
    return true;
}

bool DesktopWindows::setMaximized(const DesktopWindow& window, bool maximized)
{
    if (!supports(window.area.screen, m_ewmh._NET_WM_STATE_MAXIMIZED_VERT))
        return false;
    xcb_ewmh_request_change_wm_state(&m_ewmh, window.area.screen, window.id,
        maximized ? XCB_EWMH_WM_STATE_ADD : XCB_EWMH_WM_STATE_REMOVE, m_ewmh._NET_WM_STATE_MAXIMIZED_VERT,
        m_ewmh._NET_WM_STATE_MAXIMIZED_HORZ, XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
    xcb_flush(m_connection);
    return true;
}

bool DesktopWindows::minimize(const DesktopWindow& window)
{
    // Every window manager gives its windows a WM_STATE.
    if (!hasProperty(window.id, m_stateAtom))
        return false;
    sendToRoot(window, m_changeStateAtom, IconicState);
    return true;
}

} // namespace Zendra::Runner
