#include "turn.h"

#include <algorithm>

#include <QElapsedTimer>
#include <QStringList>

namespace Zendra::Keyboard
{

namespace
{

constexpr const char* atomName = "_ZENDRA_KEYBOARD";
/// How long to wait for another command that types, in milliseconds.
constexpr int turnTimeout = 60'000;
constexpr std::uint32_t longestJournal = 64 * 1024;

/// Grabs the server for its lifetime.
class ServerGrab
{
public:
    explicit ServerGrab(Server& server)
        : m_server(server)
    {
        xcb_grab_server(server);
    }
    ~ServerGrab()
    {
        xcb_ungrab_server(m_server);
        xcb_flush(m_server);
    }

private:
    Q_DISABLE_COPY(ServerGrab)

    Server& m_server;
};

QString modifierNames(unsigned int modifiers)
{
    constexpr const char* names[] = {"Shift", "Caps Lock", "Ctrl", "Alt", "Num Lock", "Mod3", "Win", "AltGr"};
    QStringList found;
    for (unsigned int index = 0; index < 8; ++index) {
        if ((modifiers & (1U << index)) != 0)
            found.append(QLatin1String(names[index]));
    }
    return found.join(QLatin1String(" and "));
}

} // namespace

Turn::Turn(Server& server, Modifiers modifiers, int interruption)
    : m_server(server)
    , m_interruption(interruption)
    , m_atom(server.atom(atomName))
{
    if (acquire() && modifiers == Modifiers::Lift)
        lift();
}

bool Turn::acquire()
{
    QElapsedTimer clock;
    clock.start();
    xcb_window_t owner = XCB_NONE;
    do {
        if (owner != XCB_NONE && !awaitEndOf(owner, turnTimeout - static_cast<int>(clock.elapsed())))
            return false;
        const ServerGrab grab(m_server);
        const auto ownerCookie = xcb_get_selection_owner(m_server, m_atom);
        const auto journalCookie
            = xcb_get_property(m_server, 0, m_server.root(), m_atom, m_atom, 0, longestJournal / 4);
        m_before = m_server.state();
        const Reply<xcb_get_selection_owner_reply_t> ownerReply(
            xcb_get_selection_owner_reply(m_server, ownerCookie, nullptr));
        const Reply<xcb_get_property_reply_t> journal(
            xcb_get_property_reply(m_server, journalCookie, nullptr));
        if (ownerReply == nullptr || journal == nullptr) {
            m_errorText = QStringLiteral("The connection to the display was lost");
            return false;
        }
        owner = ownerReply->owner;
        if (owner != XCB_NONE)
            continue;
        m_window = xcb_generate_id(m_server);
        xcb_create_window(m_server, XCB_COPY_FROM_PARENT, m_window, m_server.root(), -1, -1, 1, 1, 0,
            XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_set_selection_owner(m_server, m_window, m_atom, XCB_CURRENT_TIME);
        if (journal->type != XCB_NONE) {
            recover({static_cast<const char*>(xcb_get_property_value(journal.get())),
                xcb_get_property_value_length(journal.get())});
        }
    } while (owner != XCB_NONE);
    m_journal.locked = m_before.locked;
    m_journal.lockedGroup = m_before.lockedGroup;
    return true;
}

/// Waits until another client gives up its turn, or ends.
bool Turn::awaitEndOf(xcb_window_t owner, int milliseconds)
{
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    const auto selected = xcb_change_window_attributes_checked(m_server, owner, XCB_CW_EVENT_MASK, &events);
    if (Reply<xcb_generic_error_t>(xcb_request_check(m_server, selected)) != nullptr)
        return true; // the owner has ended
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < milliseconds && m_server.isConnected()) {
        if (!m_server.wait(milliseconds - static_cast<int>(clock.elapsed()), m_interruption)) {
            m_errorText = QStringLiteral("Interrupted");
            return false;
        }
        while (const Reply<xcb_generic_event_t> event = m_server.takeEvent()) {
            if ((event->response_type & 0x7F) == XCB_DESTROY_NOTIFY
                && reinterpret_cast<const xcb_destroy_notify_event_t*>(event.get())->window == owner)
                return true;
        }
    }
    m_errorText = QStringLiteral("Another zendra has been typing for %1 seconds").arg(turnTimeout / 1000);
    return false;
}

void Turn::recover(const QByteArray& bytes)
{
    xcb_delete_property(m_server, m_server.root(), m_atom);
    const std::optional<Journal> journal = Journal::fromBytes(bytes);
    if (!journal)
        return;
    for (const xcb_keycode_t code : journal->pressed)
        m_server.sendKey(code, false);
    replaceKeys(m_server, journal->bound, journal->before);
    m_server.noteRecovery();
    m_server.lock(journal->locked, journal->lockedGroup);
    m_before = m_server.state();
}

void Turn::lift()
{
    if (m_before.locked != 0 || m_before.latched != 0) {
        writeJournal();
        m_server.lock(0, m_before.lockedGroup);
    }
    if (m_before.pressed != 0)
        releaseKeys();
}

/// Releases the keys that hold modifiers, and records on which keyboards they were pressed.
void Turn::releaseKeys()
{
    const std::optional<Keymap> keymap = Keymap::read(m_server);
    const Reply<xcb_query_keymap_reply_t> down(
        xcb_query_keymap_reply(m_server, xcb_query_keymap(m_server), nullptr));
    if (!keymap || down == nullptr)
        return;
    for (int index = 0; index < 256; ++index) {
        const auto code = static_cast<xcb_keycode_t>(index);
        if ((down->keys[code / 8] & (1U << (code % 8))) == 0 || keymap->modifiersOf(code) == 0)
            continue;
        for (const std::uint16_t keyboard : m_server.keyboards()) {
            if (keyboard != m_server.keyboards().front() && m_server.isDown(keyboard, code))
                m_released.push_back({keyboard, code});
        }
        m_server.sendKey(code, false);
    }
    if (const unsigned int pressed = m_server.state().pressed)
        m_errorText = QStringLiteral("%1 is held down and cannot be lifted").arg(modifierNames(pressed));
}

/// A key that the user has released in the meantime stays up.
void Turn::pressKeysAgain()
{
    for (const HeldKey& key : m_released) {
        if (key.keyboard == m_server.ownKeyboard()) {
            m_server.sendKey(key.code, true);
        } else if (m_server.isDown(key.keyboard, key.code)) {
            // The keyboard itself counts the key as pressed, and would ignore another press.
            m_server.sendKey(key.keyboard, key.code, false);
            m_server.sendKey(key.keyboard, key.code, true);
        }
    }
}

bool Turn::bind(const Keymap& keymap, const KeyChanges& changes)
{
    const KeyChanges previous = m_journal.bound;
    for (auto key = changes.begin(); key != changes.end(); ++key) {
        if (!m_journal.before.contains(key.key()))
            m_journal.before.insert(key.key(), keymap.key(key.key()));
        m_journal.bound.insert(key.key(), *key);
    }
    KeyChanges present = m_journal.before;
    for (auto key = previous.begin(); key != previous.end(); ++key)
        present.insert(key.key(), *key);
    const ServerGrab grab(m_server);
    writeJournal();
    return replaceKeys(m_server, present, m_journal.bound);
}

void Turn::notePressed(const std::vector<xcb_keycode_t>& codes)
{
    m_journal.pressed = codes;
    writeJournal();
}

void Turn::writeJournal()
{
    const QByteArray bytes = m_journal.toBytes();
    xcb_change_property(m_server, XCB_PROP_MODE_REPLACE, m_server.root(), m_atom, m_atom, 8,
        static_cast<std::uint32_t>(bytes.size()), bytes.constData());
    m_isJournalWritten = true;
}

void Turn::end()
{
    if (m_window == XCB_NONE)
        return;
    if (!m_journal.bound.isEmpty()) {
        const ServerGrab grab(m_server);
        replaceKeys(m_server, m_journal.bound, m_journal.before);
    }
    if (m_isJournalWritten)
        m_server.lock(m_before.locked, m_before.lockedGroup);
    pressKeysAgain();
    if (m_isJournalWritten)
        xcb_delete_property(m_server, m_server.root(), m_atom);
    // Waiting clients are notified by the window's destruction.
    xcb_destroy_window(m_server, m_window);
    m_window = XCB_NONE;
    if (m_isJournalWritten || !m_released.empty())
        m_server.synchronize();
    else
        xcb_flush(m_server);
}

} // namespace Zendra::Keyboard
