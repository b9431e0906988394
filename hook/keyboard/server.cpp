#include "server.h"

#include <algorithm>
#include <utility>

#include <poll.h>

#include "xkb.h"

#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace Zendra::Keyboard
{

std::unique_ptr<Server> Server::connect(const QByteArray& displayName)
{
    int screen = 0;
    xcb_connection_t* connection
        = xcb_connect(displayName.isEmpty() ? nullptr : displayName.constData(), &screen);
    std::unique_ptr<Server> server(new Server(connection));
    return server->isConnected() && server->initialize(screen) ? std::move(server) : nullptr;
}

Server::Server(xcb_connection_t* connection)
    : m_connection(connection)
    , m_ownKeyboard(XCB_XKB_ID_USE_CORE_KBD)
    , m_keyboards {XCB_XKB_ID_USE_CORE_KBD}
{
}

Server::~Server()
{
    xcb_disconnect(m_connection);
}

bool Server::initialize(int screen)
{
    xcb_prefetch_extension_data(m_connection, &xcb_xkb_id);
    xcb_prefetch_extension_data(m_connection, &xcb_test_id);
    xcb_prefetch_extension_data(m_connection, &xcb_input_id);
    const xcb_query_extension_reply_t* xkb = xcb_get_extension_data(m_connection, &xcb_xkb_id);
    const xcb_query_extension_reply_t* xtest = xcb_get_extension_data(m_connection, &xcb_test_id);
    if (xkb == nullptr || xkb->present == 0 || xtest == nullptr || xtest->present == 0)
        return false;
    m_xkbEvent = xkb->first_event;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (; screen > 0 && screens.rem > 1; --screen)
        xcb_screen_next(&screens);
    m_root = screens.data->root;
    const auto version = xcb_xkb_use_extension(m_connection, 1, 0);
    constexpr std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr std::uint16_t parts
        = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events(m_connection, XCB_XKB_ID_USE_CORE_KBD, events, 0,
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY, parts, parts, nullptr);
    const Reply<xcb_xkb_use_extension_reply_t> supported(
        xcb_xkb_use_extension_reply(m_connection, version, nullptr));
    if (supported == nullptr || supported->supported == 0)
        return false;
    findKeyboards();
    return true;
}

void Server::findKeyboards()
{
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(m_connection, &xcb_input_id);
    if (extension == nullptr || extension->present == 0)
        return;
    m_inputEvent = extension->first_event;
    const auto version = xcb_input_xi_query_version(m_connection, 2, 0);
    const auto list = xcb_input_xi_query_device(m_connection, XCB_INPUT_DEVICE_ALL);
    const auto core = xcb_xkb_get_state(m_connection, XCB_XKB_ID_USE_CORE_KBD);
    const Reply<xcb_input_xi_query_version_reply_t> unused(
        xcb_input_xi_query_version_reply(m_connection, version, nullptr));
    const Reply<xcb_input_xi_query_device_reply_t> devices(
        xcb_input_xi_query_device_reply(m_connection, list, nullptr));
    const Reply<xcb_xkb_get_state_reply_t> state(xcb_xkb_get_state_reply(m_connection, core, nullptr));
    if (devices == nullptr || state == nullptr)
        return;
    std::vector<std::uint16_t> found {state->deviceID};
    std::uint16_t ownKeyboard = XCB_XKB_ID_USE_CORE_KBD;
    auto next = xcb_input_xi_query_device_infos_iterator(devices.get());
    for (; next.rem > 0; xcb_input_xi_device_info_next(&next)) {
        if (next.data->type != XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD
            || next.data->attachment != state->deviceID)
            continue;
        const QByteArray name(xcb_input_xi_device_info_name(next.data), next.data->name_len);
        if (name.contains("XTEST"))
            ownKeyboard = next.data->deviceid;
        found.push_back(next.data->deviceid);
    }
    if (ownKeyboard == XCB_XKB_ID_USE_CORE_KBD)
        return;
    m_ownKeyboard = ownKeyboard;
    m_keyboards = found;
}

bool Server::isDown(std::uint16_t keyboard, xcb_keycode_t code)
{
    const auto cookie = xcb_input_query_device_state(m_connection, static_cast<std::uint8_t>(keyboard));
    const Reply<xcb_input_query_device_state_reply_t> state(
        xcb_input_query_device_state_reply(m_connection, cookie, nullptr));
    if (state == nullptr)
        return false;
    auto classes = xcb_input_query_device_state_classes_iterator(state.get());
    for (; classes.rem > 0; xcb_input_input_state_next(&classes)) {
        if (classes.data->class_id != XCB_INPUT_INPUT_CLASS_KEY)
            continue;
        const auto* keys = reinterpret_cast<const xcb_input_key_state_t*>(classes.data)->keys;
        return (keys[code / 8] & (1U << (code % 8))) != 0;
    }
    return false;
}

xcb_atom_t Server::atom(const QByteArray& name)
{
    xcb_atom_t& atom = m_atoms[name];
    if (atom == XCB_NONE) {
        const auto cookie
            = xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(name.size()), name.constData());
        const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
        if (reply != nullptr)
            atom = reply->atom;
    }
    return atom;
}

KeyboardState Server::state()
{
    const auto cookie = xcb_xkb_get_state(m_connection, XCB_XKB_ID_USE_CORE_KBD);
    const Reply<xcb_xkb_get_state_reply_t> reply(xcb_xkb_get_state_reply(m_connection, cookie, nullptr));
    if (reply == nullptr)
        return {};
    return {reply->baseMods, reply->latchedMods, reply->lockedMods, reply->lockedGroup, reply->group};
}

void Server::sendKey(xcb_keycode_t code, bool press)
{
    xcb_test_fake_input(m_connection, press ? XCB_KEY_PRESS : XCB_KEY_RELEASE, code, 0, XCB_NONE, 0, 0, 0);
}

void Server::sendKey(std::uint16_t keyboard, xcb_keycode_t code, bool press)
{
    const int type = m_inputEvent + (press ? XCB_INPUT_DEVICE_KEY_PRESS : XCB_INPUT_DEVICE_KEY_RELEASE);
    xcb_test_fake_input(m_connection, static_cast<std::uint8_t>(type), code, 0, XCB_NONE, 0, 0,
        static_cast<std::uint8_t>(keyboard));
}

void Server::lock(std::uint8_t modifiers, std::uint8_t group)
{
    constexpr std::uint8_t all = 0xFF;
    xcb_xkb_latch_lock_state(m_connection, XCB_XKB_ID_USE_CORE_KBD, all, modifiers, 1, group, all, 0, 0);
}

void Server::synchronize()
{
    const Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
}

Reply<xcb_generic_event_t> Server::takeEvent()
{
    Reply<xcb_generic_event_t> event(std::move(m_pending));
    if (event == nullptr)
        event.reset(xcb_poll_for_event(m_connection));
    for (; event != nullptr; event.reset(xcb_poll_for_event(m_connection))) {
        if ((event->response_type & 0x7F) != m_xkbEvent)
            return event;
        const bool isOwn
            = std::find(m_ownChanges.begin(), m_ownChanges.end(), event->sequence) != m_ownChanges.end();
        if (event->pad0 == XCB_XKB_NEW_KEYBOARD_NOTIFY || (event->pad0 == XCB_XKB_MAP_NOTIFY && !isOwn))
            ++m_mapChanges;
    }
    return nullptr;
}

bool Server::wait(int milliseconds, int interruption)
{
    xcb_flush(m_connection);
    if (m_pending == nullptr)
        m_pending = takeEvent();
    pollfd sources[] = {{interruption, POLLIN, 0}, {xcb_get_file_descriptor(m_connection), POLLIN, 0}};
    poll(sources, 2, m_pending != nullptr ? 0 : milliseconds);
    return sources[0].revents == 0;
}

bool Server::pause(int milliseconds, int interruption)
{
    xcb_flush(m_connection);
    pollfd source = {interruption, POLLIN, 0};
    return poll(&source, 1, milliseconds) <= 0;
}

int Server::mapChanges()
{
    while (takeEvent() != nullptr) { }
    m_ownChanges.clear();
    return m_mapChanges;
}

} // namespace Zendra::Keyboard
