#pragma once

#include <memory>

#include <QString>

#include "journal.h"
#include "server.h"

namespace Zendra::Keyboard
{

/// A lock for typing and changing the keyboard, held by one client at a time.
///
/// The constructor restores what a killed client has left, and releases locked and pressed modifiers unless
/// they are to be kept. The end of the turn restores everything.
class Turn
{
public:
    enum class Modifiers { Lift, Keep };

    /// Waits for the lock. `interruption` is a file descriptor that ends the wait when it becomes readable,
    /// or -1.
    Turn(Server& server, Modifiers modifiers, int interruption);
    ~Turn() { end(); }

    /// Why the lock could not be acquired; empty on success.
    const QString& errorText() const { return m_errorText; }
    /// The state before modifiers were released.
    const KeyboardState& stateBefore() const { return m_before; }

    /// Assigns symbols to spare keys of `keymap`. False if one has changed since.
    bool bind(const Keymap& keymap, const KeyChanges& changes);
    /// Records keys that will be pressed, so that they can be released if this process is killed.
    void notePressed(const std::vector<xcb_keycode_t>& codes);
    /// Ends the turn and restores everything.
    void end();

private:
    Q_DISABLE_COPY(Turn)

    struct HeldKey {
        std::uint16_t keyboard;
        xcb_keycode_t code;
    };

    bool acquire();
    bool awaitEndOf(xcb_window_t owner, int milliseconds);
    void recover(const QByteArray& bytes);
    void lift();
    void releaseKeys();
    void pressKeysAgain();
    void writeJournal();

    Server& m_server;
    int m_interruption;
    xcb_atom_t m_atom = XCB_NONE;
    xcb_window_t m_window = XCB_NONE;
    KeyboardState m_before;
    Journal m_journal;
    bool m_isJournalWritten = false;
    std::vector<HeldKey> m_released;
    QString m_errorText;
};

} // namespace Zendra::Keyboard
