#include "windowprobe.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "rootproperty.h"
#include "xcbreply.h"

#include <X11/Xlib-xcb.h>
#include <xcb/res.h>

namespace Zendra::Runner
{

namespace
{

constexpr std::size_t deepestWindow = 64;
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
    : m_displayName(displayName)
    , m_display(openConnection(displayName))
    , m_connection(XGetXCBConnection(m_display.get()))
    , m_clientMask(~xcb_get_setup(m_connection)->resource_id_mask)
{
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int screen = XDefaultScreen(m_display.get()); screen > 0; --screen)
        xcb_screen_next(&screens);
    m_screen = screens.data;
    m_stateAtom = static_cast<xcb_atom_t>(XInternAtom(m_display.get(), "WM_STATE", False));
    m_extentsAtom = static_cast<xcb_atom_t>(XInternAtom(m_display.get(), "_GTK_FRAME_EXTENTS", False));
    m_nameAtom = static_cast<xcb_atom_t>(XInternAtom(m_display.get(), "_NET_WM_NAME", False));
}

QByteArray WindowProbe::rootProperty(const char* name) const
{
    return readRootProperty(m_display.get(), name);
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

QRect WindowProbe::windowArea(qint64 process, const QString& title, const QSize& size)
{
    if (!m_desktop)
        m_desktop = std::make_unique<DesktopWindows>(m_displayName);
    const auto difference = [&](const DesktopWindow& window) {
        constexpr int otherTitle = 1 << 16;
        return std::abs(window.area.width - size.width()) + std::abs(window.area.height - size.height())
            + (window.title == title ? 0 : otherTitle);
    };
    std::optional<DesktopWindow> best;
    for (const DesktopWindow& window : m_desktop->read()) {
        if (window.process == process && window.isVisible
            && (!best || difference(window) < difference(*best)))
            best = window;
    }
    if (!best)
        return {};
    const QRect area(best->area.x, best->area.y, best->area.width, best->area.height);
    const auto extents = fetch(xcb_get_property_reply, m_connection,
        xcb_get_property(m_connection, 0, best->id, m_extentsAtom, XCB_ATOM_CARDINAL, 0, 4));
    if (!extents || extents->format != 32 || extents->length != 4)
        return area;
    const auto* sides = static_cast<const std::int32_t*>(xcb_get_property_value(extents.get()));
    return area.adjusted(sides[0], sides[2], -sides[1], -sides[3]);
}

QString WindowProbe::title(const Found& found) const
{
    for (auto window = found.windows.rbegin(); window != found.windows.rend(); ++window) {
        QByteArray name = textProperty(m_connection, *window, m_nameAtom);
        if (name.isEmpty())
            name = textProperty(m_connection, *window, XCB_ATOM_WM_NAME);
        if (!name.isEmpty())
            return QString::fromUtf8(name);
    }
    return {};
}

WindowProbe::Found WindowProbe::windowAt(const QPoint& place)
{
    Found found;
    xcb_window_t window = m_screen->root;
    while (found.windows.size() < deepestWindow) {
        const auto reply = fetch(xcb_translate_coordinates_reply, m_connection,
            xcb_translate_coordinates(m_connection, m_screen->root, window,
                static_cast<std::int16_t>(place.x()), static_cast<std::int16_t>(place.y())));
        if (!reply || reply->child == XCB_NONE)
            break;
        window = reply->child;
        found.windows.push_back(window);
    }
    if (found.windows.empty())
        return found;
    const auto attributes = fetch(xcb_get_window_attributes_reply, m_connection,
        xcb_get_window_attributes(m_connection, found.windows.front()));
    // The frames of window managers are like popups, but have managed windows in them.
    found.isPopup = attributes && attributes->override_redirect != 0
        && std::none_of(found.windows.begin(), found.windows.end(),
            [this](xcb_window_t inside) { return hasProperty(inside, m_stateAtom); });
    if (!m_clients.contains(window & m_clientMask))
        processes();
    found.process = m_clients.value(window & m_clientMask);
    return found;
}

} // namespace Zendra::Runner
