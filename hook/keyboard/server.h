#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include <QByteArray>
#include <QHash>

#include <xcb/xcb.h>

namespace Zendra::Keyboard
{

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

/// Locked, latched and pressed modifiers as X masks, and the group.
struct KeyboardState {
    std::uint8_t pressed = 0;
    std::uint8_t latched = 0;
    std::uint8_t locked = 0;
    std::uint8_t lockedGroup = 0;
    std::uint8_t group = 0; ///< effective
};

/// A connection to an X server that has XKB and XTEST.
class Server
{
public:
    /// Null where the display cannot be opened or lacks an extension.
    static std::unique_ptr<Server> connect(const QByteArray& displayName);
    ~Server();

    xcb_connection_t* get() const { return m_connection; }
    operator xcb_connection_t*() const { return m_connection; }
    xcb_window_t root() const { return m_root; }
    bool isConnected() const { return xcb_connection_has_error(m_connection) == 0; }

    /// The XTEST keyboard, whose keymap applies to what is typed; the core keyboard without XInput.
    std::uint16_t ownKeyboard() const { return m_ownKeyboard; }
    /// The core keyboard and the devices attached to it. Each has its own keymap; the core keyboard adopts
    /// the one of the device that was used last.
    const std::vector<std::uint16_t>& keyboards() const { return m_keyboards; }
    /// Whether a key is down on this device.
    bool isDown(std::uint16_t keyboard, xcb_keycode_t code);
    xcb_atom_t atom(const QByteArray& name);
    KeyboardState state();
    void sendKey(xcb_keycode_t code, bool press);
    /// The same on another keyboard.
    void sendKey(std::uint16_t keyboard, xcb_keycode_t code, bool press);
    /// Sets the locked modifiers and the locked group, and unlatches all.
    void lock(std::uint8_t modifiers, std::uint8_t group);
    /// Waits until the server has processed all requests.
    void synchronize();

    /// The next event that has arrived, or null. XKB events are handled internally.
    Reply<xcb_generic_event_t> takeEvent();
    /// Waits for an event. False when `interruption` becomes readable.
    bool wait(int milliseconds, int interruption);
    /// Sleeps. False when `interruption` becomes readable.
    bool pause(int milliseconds, int interruption);

    /// Records a request of this connection that changes the map, so that its event is not counted below.
    void noteOwnChange(unsigned int sequence)
    {
        m_ownChanges.push_back(static_cast<std::uint16_t>(sequence));
    }
    /// Counts a change by this connection like one by another client.
    void noteRecovery() { ++m_mapChanges; }
    /// How often another client has changed the map.
    int mapChanges();

private:
    Q_DISABLE_COPY(Server)

    explicit Server(xcb_connection_t* connection);
    bool initialize(int screen);
    void findKeyboards();

    xcb_connection_t* m_connection;
    xcb_window_t m_root = XCB_NONE;
    std::uint8_t m_xkbEvent = 0;
    std::uint8_t m_inputEvent = 0;
    std::uint16_t m_ownKeyboard;
    std::vector<std::uint16_t> m_keyboards;
    std::vector<std::uint16_t> m_ownChanges;
    int m_mapChanges = 0;
    Reply<xcb_generic_event_t> m_pending;
    QHash<QByteArray, xcb_atom_t> m_atoms;
};

} // namespace Zendra::Keyboard
