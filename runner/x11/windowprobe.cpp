#include "windowprobe.h"

#include <cstdlib>
#include <memory>

#include "cli/failure.h"
#include "rootproperty.h"

#include <X11/Xlib-xcb.h>
#include <xcb/res.h>

namespace Zendra::Runner
{

namespace
{

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/// The reply; null when the window was destroyed.
template <typename Answer, typename Cookie>
std::unique_ptr<Answer, FreeMemory> fetch(
    Answer* (*function)(xcb_connection_t*, Cookie, xcb_generic_error_t**), xcb_connection_t* connection,
    Cookie cookie)
{
    return std::unique_ptr<Answer, FreeMemory>(function(connection, cookie, nullptr));
}

constexpr int deepestWindow = 64;
constexpr std::uint32_t textWords = 1024; ///< of four bytes; longer texts are cut

QByteArray textProperty(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t name)
{
    const auto reply = fetch(xcb_get_property_reply, connection,
        xcb_get_property(connection, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, textWords));
    if (!reply || reply->format != 8)
        return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
        xcb_get_property_value_length(reply.get())};
}

} // namespace

WindowProbe::WindowProbe(const QByteArray& displayName)
    : m_display(openConnection(displayName))
    , m_connection(XGetXCBConnection(m_display.get()))
    , m_clientMask(~xcb_get_setup(m_connection)->resource_id_mask)
{
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int screen = XDefaultScreen(m_display.get()); screen > 0; --screen)
        xcb_screen_next(&screens);
    m_screen = screens.data;
}

xcb_atom_t WindowProbe::atom(const char* name) const
{
    const auto reply = fetch(xcb_intern_atom_reply, m_connection,
        xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(qstrlen(name)), name));
    return reply ? reply->atom : xcb_atom_t {XCB_ATOM_NONE};
}

QByteArray WindowProbe::rootProperty(const char* name) const
{
    return readRootProperty(m_display, name);
}

QSize WindowProbe::screenSize() const
{
    const auto reply
        = fetch(xcb_get_geometry_reply, m_connection, xcb_get_geometry(m_connection, m_screen->root));
    return reply ? QSize(reply->width, reply->height) : QSize();
}

QSet<qint64> WindowProbe::processes()
{
    m_clients.clear();
    const xcb_res_client_id_spec_t all {XCB_NONE, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(m_connection, &xcb_res_id);
    const auto reply = extension == nullptr || extension->present == 0
        ? nullptr
        : fetch(
            xcb_res_query_client_ids_reply, m_connection, xcb_res_query_client_ids(m_connection, 1, &all));
    if (!reply)
        return {};
    QSet<qint64> processes;
    for (auto ids = xcb_res_query_client_ids_ids_iterator(reply.get()); ids.rem > 0;
         xcb_res_client_id_value_next(&ids)) {
        if (xcb_res_client_id_value_value_length(ids.data) != 1)
            continue;
        const qint64 process = *xcb_res_client_id_value_value(ids.data);
        m_clients.insert(ids.data->spec.client & m_clientMask, process);
        processes.insert(process);
    }
    return processes;
}

bool WindowProbe::hasProperty(xcb_window_t window, xcb_atom_t name) const
{
    const auto reply = fetch(xcb_get_property_reply, m_connection,
        xcb_get_property(m_connection, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, 0));
    return reply && reply->type != XCB_NONE;
}

QString WindowProbe::title(xcb_window_t window) const
{
    const QByteArray name = textProperty(m_connection, window, atom("_NET_WM_NAME"));
    return QString::fromUtf8(name.isEmpty() ? textProperty(m_connection, window, XCB_ATOM_WM_NAME) : name);
}

WindowProbe::Found WindowProbe::windowAt(const QPoint& place)
{
    Found found;
    xcb_window_t window = m_screen->root;
    for (int depth = 0; depth < deepestWindow; ++depth) {
        const auto reply = fetch(xcb_translate_coordinates_reply, m_connection,
            xcb_translate_coordinates(m_connection, m_screen->root, window,
                static_cast<std::int16_t>(place.x()), static_cast<std::int16_t>(place.y())));
        if (!reply || reply->child == XCB_NONE)
            break;
        window = reply->child;
        if (depth == 0) {
            const auto attributes = fetch(xcb_get_window_attributes_reply, m_connection,
                xcb_get_window_attributes(m_connection, window));
            found.isPopup = attributes && attributes->override_redirect != 0;
        }
        // The frames of window managers are like popups, but have managed windows in them.
        if (found.isPopup && hasProperty(window, atom("WM_STATE")))
            found.isPopup = false;
        if (const QString name = title(window); !name.isEmpty())
            found.title = name;
    }
    if (window == m_screen->root)
        return found;
    if (!m_clients.contains(window & m_clientMask))
        processes();
    found.process = m_clients.value(window & m_clientMask);
    return found;
}

} // namespace Zendra::Runner
