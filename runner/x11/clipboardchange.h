#pragma once

#include "connection.h"

namespace Zendra::Runner
{

/// Watches for new owners of the clipboard.
class ClipboardWatch
{
public:
    explicit ClipboardWatch(const QByteArray& displayName);

    /// Whether there was a new owner since the last call.
    bool take() const;
    /// Readable when there may be a new one. Never without the extension XFIXES.
    int fileDescriptor() const;
    /// Whether the display has the extension.
    bool canTell() const { return m_canTell; }
    _XDisplay* display() const { return m_connection.get(); }

private:
    const ConnectionPointer m_connection;
    bool m_canTell = false;
};

/// Waits for a text that the program xsel puts on the clipboard.
class ClipboardChange
{
public:
    /// Create it before the program starts.
    explicit ClipboardChange(const QByteArray& displayName);

    /// Waits until the clipboard has a new owner. Throws a Failure if it has none after some seconds.
    ///
    /// xsel's child takes the clipboard only after its parent has ended, but a Ctrl+V that follows needs the
    /// new text. Without the extension XFIXES no change within a second is not a failure: a clipboard manager
    /// may have taken the clipboard back at once.
    void await() const;

private:
    unsigned long owner() const;

    const ClipboardWatch m_watch;
    unsigned long m_clipboard;
    unsigned long m_ownerBefore;
};

} // namespace Zendra::Runner
