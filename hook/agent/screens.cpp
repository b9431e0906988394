#include "screens.h"

#include <cstdlib>

#include <xcb/xcb.h>

namespace Zendra::Agent
{

void Screens::Disconnect::operator()(xcb_connection_t* connection) const
{
    xcb_disconnect(connection);
}

Screens::Screens(const QByteArray& displayName)
    : m_connection(xcb_connect(displayName.constData(), nullptr))
{
    if (xcb_connection_has_error(m_connection.get()) != 0)
        return;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection.get()));
    for (; screens.rem > 0; xcb_screen_next(&screens)) {
        const xcb_screen_t& screen = *screens.data;
        m_screens.push_back({screen.root, {screen.width_in_pixels, screen.height_in_pixels}});
        const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection.get(), screen.root, XCB_CW_EVENT_MASK, &events);
    }
    xcb_flush(m_connection.get());
}

QSize Screens::size(int screen)
{
    const auto next = [this] {
        return std::unique_ptr<xcb_generic_event_t, decltype(&std::free)>(
            xcb_poll_for_event(m_connection.get()), &std::free);
    };
    for (auto event = next(); event != nullptr; event = next()) {
        constexpr int sentFlag = 0x80;
        if ((event->response_type & ~sentFlag) != XCB_CONFIGURE_NOTIFY)
            continue;
        const auto& configured = *reinterpret_cast<xcb_configure_notify_event_t*>(event.get());
        for (Screen& changed : m_screens) {
            if (changed.root == configured.window)
                changed.size = {configured.width, configured.height};
        }
    }
    return m_screens.at(static_cast<std::size_t>(screen)).size;
}

} // namespace Zendra::Agent
