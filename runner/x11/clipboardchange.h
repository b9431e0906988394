#pragma once

#include "connection.h"

namespace Zendra::Runner
{

/// Waits for a text that the program xsel puts on the clipboard.
class ClipboardChange
{
public:
    /// Create it before the program starts.
    explicit ClipboardChange(const QByteArray& displayName);

    /// Waits until the clipboard has a new owner, a second at the most.
    /// xsel's child takes the clipboard only after its parent has ended, but a Ctrl+V that follows needs the
    /// new text. No change is not a failure: a clipboard manager may take the clipboard back at once.
    void await() const;

private:
    unsigned long owner() const;

    const ConnectionPointer m_connection;
    unsigned long m_clipboard;
    unsigned long m_ownerBefore;
};

/// Watches for new owners of the clipboard.
class ClipboardWatch
{
public:
    explicit ClipboardWatch(const QByteArray& displayName);

    /// Whether there was a new owner since the last call.
    bool take() const;
    /// Readable when there may be a new one. Never without the extension XFIXES.
    int fileDescriptor() const;

private:
    const ConnectionPointer m_connection;
};

} // namespace Zendra::Runner
