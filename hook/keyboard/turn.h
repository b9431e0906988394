#pragma once

#include <memory>

#include <QString>

#include "journal.h"
#include "server.h"

namespace Zendra::Keyboard
{

/// The right to type and to change the keyboard, which one client has at a time.
///
/// Its beginning puts back what a client that was killed has left. Locked and pressed modifiers are lifted
/// for its time, unless they are to stay, and everything is as before at its end.
class Turn
{
public:
    enum class Modifiers { Lift, Keep };

    /// Waits for its turn. `interruption` is a file descriptor that ends all waiting when it is readable, or
    /// -1.
    Turn(Server& server, Modifiers modifiers, int interruption);
    ~Turn() { end(); }

    /// Why there is no turn; empty when there is one.
    const QString& errorText() const { return m_errorText; }
    /// The state before modifiers were lifted.
    const KeyboardState& stateBefore() const { return m_before; }

    /// Gives spare keys of `keymap` symbols. False when one is no longer as it was.
    bool bind(const Keymap& keymap, const KeyChanges& changes);
    /// Notes keys that will be pressed, for them to be released should this process be killed.
    void notePressed(const std::vector<xcb_keycode_t>& codes);
    /// Ends the turn: puts everything back.
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
